// A small component written as a plug-in author would, straight on the
// platform's plug-in interface, that records what reaches it.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace test_unit {

struct Call {
  std::string name;
  std::vector<uint64_t> args;
};

// What the next instances do; tests set these before creating instances.
struct Behaviour {
  OSStatus openStatus = noErr;
  OSStatus closeStatus = noErr;
  bool factoryReturnsNull = false;
  bool servesRender = true;
};

struct Instance {
  AudioComponentPlugInInterface interface;  // first, so the interface pointer is the instance
  AudioComponentInstance handle = nullptr;
  AudioComponent componentSeenInOpen = nullptr;
  std::vector<Call> calls;
};

Behaviour& NextBehaviour();
// Instances currently opened and not yet closed, across the process.
int LiveInstances();
// Calls seen by the instance behind `unit`.
const std::vector<Call>& CallsOf(AudioUnit unit);

AudioComponentPlugInInterface* Factory(const AudioComponentDescription* description);

// Registers the test unit under `description` with `name` and `version`.
AudioComponent Register(const AudioComponentDescription& description, const char* name, UInt32 version);

}  // namespace test_unit
