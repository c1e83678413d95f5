// A unit hosted as a DAW hosts it, through the component API only: float
// formats on both sides, a maximum block, the host's input callback, and
// blocks rendered into the host's own output buffers at advancing sample times.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include "harness/HostInput.h"
#include "harness/HostOutput.h"
#include "tools/veneer-host/StreamFormat.h"

namespace bench {

inline constexpr UInt32 kMaxFrames = 4096;
inline constexpr Float64 kSampleRate = 48000.0;

// [main thread] Veneer registered in this process through its exported factory
// (the module's own entry point), once.
AudioComponent VeneerComponent();
// [main thread] The Auto-Tune Pro stand-in registered in this process, once.
AudioComponent ProductComponent();

// [main thread] Veneer whose object a benchmark can reach (harness::ObservedVeneer::Find),
// registered once under its own subtype.
AudioComponent ObservedVeneerComponent();

class HostedUnit {
 public:
  // [main thread] Opens `component`, sets the formats, the maximum block and
  // the input callback, and initialises it; Status() tells the first failure.
  HostedUnit(AudioComponent component, UInt32 channels, UInt32 maxFrames = kMaxFrames);
  // [main thread] Uninitialises and disposes it, in that order, as a host does.
  ~HostedUnit();
  HostedUnit(const HostedUnit&) = delete;
  HostedUnit& operator=(const HostedUnit&) = delete;

  // [main thread] Uninitialises and disposes it now (the destructor then has
  // nothing left to do); the wall time of those two calls, in seconds.
  double Close();

  [[nodiscard]] OSStatus Status() const { return status_; }
  // The wall time of the host's calls in the constructor, from
  // AudioComponentInstanceNew to AudioUnitInitialize, in seconds.
  [[nodiscard]] double OpenSeconds() const { return openSeconds_; }
  [[nodiscard]] AudioUnit Unit() const { return unit_; }
  // [any thread] Veneer's inner unit as its view reaches it; null when it has none.
  [[nodiscard]] AudioUnit InnerUnit() const;

  // [render thread] One block of `frames` at the next sample time, into the host's output buffers.
  OSStatus Render(UInt32 frames);
  // [any thread] The host's bypass switch.
  OSStatus SetBypass(bool on) const;

  [[nodiscard]] const harness::HostInput& Input() const { return input_; }
  [[nodiscard]] float OutputSample(UInt32 channel, UInt32 frame) const { return output_.Sample(channel, frame); }
  // Whether the last block of `frames` is the input at sample 0 of the block times `gain`.
  [[nodiscard]] bool OutputIsInputTimes(float gain, UInt32 frames) const;

 private:
  AudioUnit unit_ = nullptr;
  OSStatus status_ = noErr;
  double openSeconds_ = 0.0;
  UInt32 channels_;
  harness::HostInput input_;
  harness::HostOutput output_;
};

}  // namespace bench
