// The host's track on a unit's input bus: a prepared signal that the render
// callback copies into the buffers the unit pulls with, as a host copies from
// its own track buffers; or, to try a unit, a track that delivers half a
// block, fails, or leaves the buffers without memory.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace harness {

class HostInput {
 public:
  enum class Mode : uint8_t { kFull, kShort, kFails, kNoData };
  static constexpr uint32_t kModes = 4;

  // `frames` of a voice-like level (RMS about -15 dBFS), a different tone in
  // each of `channels` (at least one) channels; a longer pull gets silence after.
  HostInput(UInt32 channels, UInt32 frames, Float64 sampleRate);

  void SetMode(Mode mode) { mode_ = mode; }
  [[nodiscard]] AURenderCallbackStruct Callback() { return {Provide, this}; }
  [[nodiscard]] float Sample(UInt32 channel, UInt32 frame) const { return track_[channel][frame]; }
  // A list over the first `frames` samples of every channel, as a unit's own
  // input list holds a block; for readers only.
  [[nodiscard]] std::vector<std::byte> BufferList(UInt32 frames) const;

  // [render thread] Allocates only for a unit that pulls into buffers without
  // memory, which the host then lends.
  static OSStatus Provide(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* stamp, UInt32 bus,
                          UInt32 frames, AudioBufferList* ioData);

 private:
  std::vector<std::vector<float>> track_;
  std::vector<float> lent_;
  Mode mode_ = Mode::kFull;
};

}  // namespace harness
