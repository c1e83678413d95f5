// The host's output side: a buffer per channel that it owns, and render cycles
// into them at advancing sample times, as a host's audio thread makes them.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstddef>
#include <vector>

namespace harness {

class HostOutput {
 public:
  HostOutput(UInt32 channels, UInt32 maxFrames);

  // [render thread] One block of `frames` (at most the maximum) on bus 0 at
  // the next sample time; allocates nothing.
  OSStatus Render(AudioUnit unit, UInt32 frames);
  // Sets the first `frames` samples of every channel to `value`, so that what
  // a unit leaves unwritten shows.
  void Fill(float value, UInt32 frames);

  [[nodiscard]] UInt32 Channels() const { return static_cast<UInt32>(channels_.size()); }
  // The channel's samples; the last block fills the first frames of it.
  [[nodiscard]] const std::vector<float>& Channel(UInt32 channel) const { return channels_[channel]; }
  [[nodiscard]] float Sample(UInt32 channel, UInt32 frame) const { return channels_[channel][frame]; }

 private:
  std::vector<std::vector<float>> channels_;
  std::vector<std::byte> listStorage_;
  Float64 sampleTime_ = 0;
};

}  // namespace harness
