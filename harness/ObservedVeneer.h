// Veneer registered so that the object behind an instance handle can be found:
// a test or benchmark can then look at its fields, play its link thread, or
// call one step of its render path on its own.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include "shell/Veneer.h"

namespace harness {

class ObservedVeneer : public veneer::Veneer {
 public:
  explicit ObservedVeneer(AudioComponentInstance instance);
  ~ObservedVeneer() override;
  ObservedVeneer(const ObservedVeneer&) = delete;
  ObservedVeneer& operator=(const ObservedVeneer&) = delete;

  // [any thread] The live object behind `handle`, or null.
  static ObservedVeneer* Find(AudioUnit handle);
};

// [main thread] Registers the observed Veneer as an effect from Veneer's maker,
// under `subtype` and `name`; null when the registry refuses it.
AudioComponent RegisterObservedVeneer(OSType subtype, CFStringRef name);

}  // namespace harness
