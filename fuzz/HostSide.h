// The host's side of the component boundary: its audio input as a render
// callback, its transport callbacks, one render cycle into buffers it owns,
// and a second thread to call from, as hosts call from their audio threads.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace fuzzing {

// The host's audio input: the render callback on a unit's input bus.
class HostInput {
 public:
  // Fills what is asked, delivers half of it, fails, or leaves the buffers without memory.
  enum class Mode : uint8_t { kFull, kShort, kFails, kNoData };
  static constexpr uint32_t kModes = 4;

  void SetMode(Mode mode) { mode_ = mode; }
  [[nodiscard]] AURenderCallbackStruct Callback() { return {Provide, this}; }
  // [any thread]
  static OSStatus Provide(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* stamp, UInt32 bus,
                          UInt32 frames, AudioBufferList* ioData);

 private:
  Mode mode_ = Mode::kFull;
  std::vector<float> lent_;  // lent to a unit that asks with buffers that have no memory
};

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
