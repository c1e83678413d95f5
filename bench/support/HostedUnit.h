// A unit hosted as a DAW hosts it, through the component API only: float
// formats on both sides, a maximum block, the host's input callback, and
// blocks rendered into the host's own output buffers at advancing sample times.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstddef>
#include <vector>

#include "AudioFormats.h"

namespace bench {

inline constexpr UInt32 kMaxFrames = 4096;
inline constexpr Float64 kSampleRate = 48000.0;

// [main thread] Veneer registered in this process through its exported factory
// (the module's own entry point), once.
AudioComponent VeneerComponent();
// [main thread] The Auto-Tune Pro stand-in registered in this process, once.
AudioComponent ProductComponent();

// The host's track: a prepared signal that the render callback copies into the
// buffers the unit pulls with, as a host copies from its own track buffers.
class HostInput {
 public:
  HostInput(UInt32 channels, UInt32 maxFrames);
  [[nodiscard]] AURenderCallbackStruct Callback() { return {Provide, this}; }
  [[nodiscard]] float Sample(UInt32 channel, UInt32 frame) const { return signal_[channel][frame]; }
  // A list over the first `frames` samples of every channel, as the shell's
  // own input list holds a block; for readers only.
  [[nodiscard]] std::vector<std::byte> BufferList(UInt32 frames) const;

 private:
  // [render thread]
  static OSStatus Provide(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* stamp, UInt32 bus,
                          UInt32 frames, AudioBufferList* ioData);

  std::vector<std::vector<float>> signal_;
};

class HostedUnit {
 public:
  // [main thread] Opens `component`, sets the formats, the maximum block and
  // the input callback, and initialises it; Status() tells the first failure.
  HostedUnit(AudioComponent component, UInt32 channels, UInt32 maxFrames = kMaxFrames);
  // [main thread] Uninitialises and disposes it, in that order, as a host does.
  ~HostedUnit();
  HostedUnit(const HostedUnit&) = delete;
  HostedUnit& operator=(const HostedUnit&) = delete;

  [[nodiscard]] OSStatus Status() const { return status_; }
  [[nodiscard]] AudioUnit Unit() const { return unit_; }
  // [any thread] Veneer's inner unit as its view reaches it; null when it has none.
  [[nodiscard]] AudioUnit InnerUnit() const;

  // [render thread] One block of `frames` at the next sample time, into the host's output buffers.
  OSStatus Render(UInt32 frames);
  // [any thread] The host's bypass switch.
  OSStatus SetBypass(bool on) const;

  [[nodiscard]] const HostInput& Input() const { return input_; }
  [[nodiscard]] float OutputSample(UInt32 channel, UInt32 frame) const { return output_[channel][frame]; }
  // Whether the last block of `frames` is the input at sample 0 of the block times `gain`.
  [[nodiscard]] bool OutputIsInputTimes(float gain, UInt32 frames) const;

 private:
  AudioUnit unit_ = nullptr;
  OSStatus status_ = noErr;
  UInt32 channels_;
  HostInput input_;
  std::vector<std::vector<float>> output_;
  std::vector<std::byte> outputList_;
  Float64 sampleTime_ = 0;
};

}  // namespace bench
