#include "support/HostedUnit.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "shell/Veneer.h"
#include "standin/StandIn.h"

namespace bench {
namespace {

constexpr AudioComponentDescription kVeneerDescription{kAudioUnitType_Effect, 'Vnr1', 'Tnvl', 0, 0};

AudioBufferList* ListIn(std::vector<std::byte>& storage) {
  return reinterpret_cast<AudioBufferList*>(storage.data());  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
}

}  // namespace

AudioComponent VeneerComponent() {
  static const AudioComponent component =
      AudioComponentRegister(&kVeneerDescription, CFSTR("Tonvale: Veneer"), 0x00010000, VeneerFactory);
  return component;
}

AudioComponent ProductComponent() {
  static const AudioComponent component = standin::Register(standin::Variant::kPro);
  return component;
}

HostInput::HostInput(UInt32 channels, UInt32 maxFrames) : signal_(channels, std::vector<float>(maxFrames)) {
  // A voice-like level (RMS about -15 dBFS), different in each channel.
  for (UInt32 c = 0; c < channels; ++c) {
    for (UInt32 f = 0; f < maxFrames; ++f) {
      const double phase = 2.0 * std::numbers::pi * (220.0 * (c + 1)) * f / kSampleRate;
      signal_[c][f] = static_cast<float>(0.25 * std::sin(phase));
    }
  }
}

OSStatus HostInput::Provide(void* refCon, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* /*stamp*/,
                            UInt32 /*bus*/, UInt32 frames, AudioBufferList* ioData) {
  auto& self = *static_cast<HostInput*>(refCon);
  const UInt32 count = std::min<UInt32>(ioData->mNumberBuffers, static_cast<UInt32>(self.signal_.size()));
  for (UInt32 c = 0; c < count; ++c) {
    AudioBuffer& buffer = ioData->mBuffers[c];
    std::vector<float>& channel = self.signal_[c];
    const UInt32 bytes = std::min<UInt32>(frames, static_cast<UInt32>(channel.size())) * sizeof(float);
    if (buffer.mData == nullptr) {
      buffer.mData = channel.data();  // a unit without its own memory reads the track in place
    } else {
      std::memcpy(buffer.mData, channel.data(), bytes);
    }
    buffer.mDataByteSize = bytes;
  }
  return noErr;
}

std::vector<std::byte> HostInput::BufferList(UInt32 frames) const {
  const auto channels = static_cast<UInt32>(signal_.size());
  std::vector<std::byte> storage(offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * channels);
  AudioBufferList* list = ListIn(storage);
  list->mNumberBuffers = channels;
  for (UInt32 c = 0; c < channels; ++c) {
    list->mBuffers[c] = {1, frames * UInt32{sizeof(float)}, const_cast<float*>(signal_[c].data())};
  }
  return storage;
}

HostedUnit::HostedUnit(AudioComponent component, UInt32 channels, UInt32 maxFrames)
    : channels_(channels),
      input_(channels, maxFrames),
      output_(channels, std::vector<float>(maxFrames)),
      outputList_(offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * channels) {
  ListIn(outputList_)->mNumberBuffers = channels;
  status_ = AudioComponentInstanceNew(component, &unit_);
  if (status_ != noErr) {
    unit_ = nullptr;
    return;
  }
  const AudioStreamBasicDescription format = testsupport::FloatFormat(kSampleRate, channels);
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
  for (const OSStatus step : steps) {
    if (step != noErr) {
      status_ = step;
      break;
    }
  }
}

HostedUnit::~HostedUnit() {
  if (unit_ != nullptr) {
    AudioUnitUninitialize(unit_);
    AudioComponentInstanceDispose(unit_);
  }
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

OSStatus HostedUnit::Render(UInt32 frames) {
  AudioBufferList* list = ListIn(outputList_);
  for (UInt32 c = 0; c < channels_; ++c) {
    list->mBuffers[c] = {1, frames * UInt32{sizeof(float)}, output_[c].data()};
  }
  AudioTimeStamp stamp{};
  stamp.mSampleTime = sampleTime_;
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  sampleTime_ += frames;
  AudioUnitRenderActionFlags flags = 0;
  return AudioUnitRender(unit_, &flags, &stamp, 0, frames, list);
}

OSStatus HostedUnit::SetBypass(bool on) const {
  const UInt32 value = on ? 1 : 0;
  return AudioUnitSetProperty(unit_, kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &value, sizeof value);
}

bool HostedUnit::OutputIsInputTimes(float gain, UInt32 frames) const {
  for (UInt32 c = 0; c < channels_; ++c) {
    for (UInt32 f = 0; f < frames; ++f) {
      if (output_[c][f] != input_.Sample(c, f) * gain) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace bench
