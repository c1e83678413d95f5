// The settings Veneer takes from the companion's file as a render starts: what an
// earlier run or the application left there applies too, unless a render says otherwise.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <optional>
#include <string>

#include "PluginState.h"
#include "SupportFolder.h"

namespace host {

class SettingsInForce {
 public:
  // [main thread] As the settings file holds them now.
  static SettingsInForce Read(const companion::SupportFolder& folder);

  // "seq 4: key=9 retune=0.4", or why none apply.
  [[nodiscard]] std::string Describe() const;
  // The file's setting that Veneer applies over its own parameter `id` once it starts, as
  // "retune=0.4"; nothing when the file leaves that parameter alone.
  [[nodiscard]] std::optional<std::string> Overriding(AudioUnitParameterID id) const;

 private:
  // Whether Veneer applies the file at all: it needs a counter of 0 or more.
  [[nodiscard]] bool Applies() const { return state_ && state_->seq && *state_->seq >= 0; }

  std::optional<companion::PluginState> state_;  // none: no file
};

}  // namespace host
