// An output bus: always has buffer space of its own.
#pragma once

#include "ausdk/AUScopeElement.h"

namespace ausdk {

class AUOutputElement : public AUIOElement {
 public:
  using AUIOElement::AUIOElement;

  OSStatus SetStreamFormat(const AudioStreamBasicDescription& format) override;
  [[nodiscard]] bool NeedsBufferSpace() const override { return true; }
};

}  // namespace ausdk
