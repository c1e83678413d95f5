#include "support/HostedUnit.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <numbers>

#include "harness/ObservedVeneer.h"
#include "shell/Veneer.h"
#include "standin/StandIn.h"

namespace bench {
namespace {

constexpr AudioComponentDescription kVeneerDescription{kAudioUnitType_Effect, 'Vnr1', 'Tnvl', 0, 0};

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

}  // namespace

AudioComponent VeneerComponent() {
  static const AudioComponent component =
      AudioComponentRegister(&kVeneerDescription, CFSTR("Tonvale: Veneer"), 0x00010000, VeneerFactory);
  return component;
}

AudioComponent ObservedVeneerComponent() {
  static const AudioComponent component = harness::RegisterObservedVeneer('VnrB', CFSTR("Tonvale: Veneer (observed)"));
  return component;
}

AudioComponent ProductComponent() {
  static const AudioComponent component = standin::Register(standin::Variant::kPro);
  return component;
}

HostedUnit::HostedUnit(AudioComponent component, UInt32 channels, UInt32 maxFrames)
    : channels_(channels), input_(channels, maxFrames, kSampleRate), output_(channels, maxFrames) {
  // The host's buffers are made before the clock starts: only the host's calls are timed.
  const auto started = Clock::now();
  status_ = AudioComponentInstanceNew(component, &unit_);
  if (status_ != noErr) {
    unit_ = nullptr;
    return;
  }
  const AudioStreamBasicDescription format = host::FloatFormat(kSampleRate, channels);
  const AURenderCallbackStruct callback = input_.Callback();
  const OSStatus steps[] = {
      AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &format, sizeof format),
      AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &format, sizeof format),
      AudioUnitSetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &maxFrames,
                           sizeof maxFrames),
      AudioUnitSetProperty(unit_, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                           sizeof callback),
      AudioUnitInitialize(unit_),
  };
  openSeconds_ = Seconds(Clock::now() - started);
  for (const OSStatus step : steps) {
    if (step != noErr) {
      status_ = step;
      break;
    }
  }
}

HostedUnit::~HostedUnit() { Close(); }

double HostedUnit::Close() {
  if (unit_ == nullptr) {
    return 0.0;
  }
  const auto started = Clock::now();
  AudioUnitUninitialize(unit_);
  AudioComponentInstanceDispose(unit_);
  const double seconds = Seconds(Clock::now() - started);
  unit_ = nullptr;
  return seconds;
}

AudioUnit HostedUnit::InnerUnit() const {
  AudioUnit inner = nullptr;
  UInt32 size = sizeof inner;
  if (AudioUnitGetProperty(unit_, veneer::Veneer::kInnerUnitProperty, kAudioUnitScope_Global, 0, &inner, &size) !=
      noErr) {
    return nullptr;
  }
  return inner;
}

OSStatus HostedUnit::Render(UInt32 frames) { return output_.Render(unit_, frames); }

OSStatus HostedUnit::SetBypass(bool on) const {
  const UInt32 value = on ? 1 : 0;
  return AudioUnitSetProperty(unit_, kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &value, sizeof value);
}

bool HostedUnit::OutputIsInputTimes(float gain, UInt32 frames) const {
  for (UInt32 c = 0; c < channels_; ++c) {
    for (UInt32 f = 0; f < frames; ++f) {
      if (output_.Sample(c, f) != input_.Sample(c, f) * gain) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace bench
