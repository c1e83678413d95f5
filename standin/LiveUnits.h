// The live stand-in instances by handle, kept by the units themselves.
#pragma once

#include <AudioToolbox/AudioUnit.h>

namespace standin {

class Unit;

namespace live {
// [any thread]
void Add(AudioUnit handle, Unit* unit);
// [any thread]
void Remove(AudioUnit handle);
}  // namespace live

}  // namespace standin
