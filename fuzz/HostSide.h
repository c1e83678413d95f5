// The host's side of the component boundary: its audio input as a render
// callback, its transport callbacks, one render cycle into buffers it owns,
// and a second thread to call from, as hosts call from their audio threads.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstdint>
#include <functional>

#include "harness/HostInput.h"

namespace fuzzing {

// The host's audio input: a track of this many frames per channel (silence
// beyond), in the mode the input asks for.
using harness::HostInput;
inline constexpr UInt32 kTrackChannels = 2;
inline constexpr UInt32 kTrackFrames = 4096;

// Transport callbacks as a host hands them over; bit i of `present` keeps
// callback i, the others are null. The user data is `userData`.
HostCallbackInfo HostCallbacks(uint32_t present, void* userData);

// [any thread] One render cycle of `frames` on output bus `bus` at
// `sampleTime`, into buffers for the unit's current output format (buffers
// without memory when `lendNothing`: the unit then supplies its own). After a
// successful render every byte the unit reports is read back, so a buffer it
// hands out that is shorter than it says shows under ASan.
OSStatus RenderBlock(AudioUnit unit, UInt32 bus, UInt32 frames, Float64 sampleTime, bool lendNothing);

// [main thread] Runs `job` on another thread, one that is not the main one,
// and waits for it.
void OnOtherThread(const std::function<void()>& job);

}  // namespace fuzzing
