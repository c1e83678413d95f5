// Veneer registered so that the object behind an instance handle can be found:
// a benchmark can then play the link thread, or call one step of the render
// path on its own, as the shell's tests do.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include "shell/Veneer.h"

namespace bench {

class ObservedVeneer : public veneer::Veneer {
 public:
  explicit ObservedVeneer(AudioComponentInstance instance);
  ~ObservedVeneer() override;
  ObservedVeneer(const ObservedVeneer&) = delete;
  ObservedVeneer& operator=(const ObservedVeneer&) = delete;

  // [any thread] The live object behind `handle`, or null.
  static ObservedVeneer* Find(AudioUnit handle);
};

// [main thread] Registered once, under its own subtype.
AudioComponent ObservedVeneerComponent();

}  // namespace bench
