// Presets as hosts keep them (.aupreset): the unit's class-info dictionary as an
// XML property list.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <string>

namespace host {

// [main thread] Writes the unit's current state to `path`.
bool SavePreset(AudioUnit unit, const std::string& path, std::string* error);

// [main thread] Reads `path` and hands its dictionary to the unit.
bool LoadPreset(AudioUnit unit, const std::string& path, std::string* error);

}  // namespace host
