#include "ValidationUnit.h"

#include <cmath>
#include <cstddef>
#include <numbers>

#include "StreamFormat.h"

namespace host {

ValidationUnit::ValidationUnit(AudioComponent component) {
  openStatus_ = AudioComponentInstanceNew(component, &unit_);
  if (openStatus_ != noErr) {
    unit_ = nullptr;
  }
}

ValidationUnit::~ValidationUnit() {
  if (unit_ != nullptr) {
    AudioUnitUninitialize(unit_);
    AudioComponentInstanceDispose(unit_);
  }
}

OSStatus ValidationUnit::Configure(double sampleRate, UInt32 channels, UInt32 maxFrames, std::string* step) {
  sampleRate_ = sampleRate;
  channels_ = channels;
  AudioUnitUninitialize(unit_);
  const AudioStreamBasicDescription format = FloatFormat(sampleRate, channels);
  for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output}) {
    if (const OSStatus status =
            AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat, scope, 0, &format, sizeof format);
        status != noErr) {
      *step = scope == kAudioUnitScope_Input ? "input format" : "output format";
      return status;
    }
  }
  if (const OSStatus status = AudioUnitSetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice,
                                                   kAudioUnitScope_Global, 0, &maxFrames, sizeof maxFrames);
      status != noErr) {
    *step = "maximum frames";
    return status;
  }
  const AURenderCallbackStruct callback{Provide, this};
  if (const OSStatus status = AudioUnitSetProperty(unit_, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input,
                                                   0, &callback, sizeof callback);
      status != noErr) {
    *step = "render callback";
    return status;
  }
  *step = "initialize";
  return AudioUnitInitialize(unit_);
}

OSStatus ValidationUnit::Provide(void* refCon, AudioUnitRenderActionFlags* /*flags*/,
                                 const AudioTimeStamp* /*timeStamp*/, UInt32 /*bus*/, UInt32 frames,
                                 AudioBufferList* data) {
  auto* self = static_cast<ValidationUnit*>(refCon);
  const double step = 2.0 * std::numbers::pi * 440.0 / self->sampleRate_;
  for (UInt32 b = 0; b < data->mNumberBuffers; ++b) {
    auto* samples = static_cast<float*>(data->mBuffers[b].mData);
    if (samples == nullptr || data->mBuffers[b].mDataByteSize < frames * sizeof(float)) {
      return kAudio_ParamError;
    }
    for (UInt32 i = 0; i < frames; ++i) {
      samples[i] = static_cast<float>(0.5 * std::sin(self->phase_ + step * i));
    }
  }
  self->phase_ = std::fmod(self->phase_ + step * frames, 2.0 * std::numbers::pi);
  return noErr;
}

OSStatus ValidationUnit::Render(UInt32 frames, bool* finite) {
  output_.assign(channels_, std::vector<float>(frames, 0.0F));
  listStorage_.assign(offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * channels_, 0);
  auto* list = reinterpret_cast<AudioBufferList*>(listStorage_.data());
  list->mNumberBuffers = channels_;
  for (UInt32 c = 0; c < channels_; ++c) {
    list->mBuffers[c] = {1, frames * static_cast<UInt32>(sizeof(float)), output_[c].data()};
  }
  AudioTimeStamp stamp{};
  stamp.mSampleTime = sampleTime_;
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  AudioUnitRenderActionFlags flags = 0;
  const OSStatus status = AudioUnitRender(unit_, &flags, &stamp, 0, frames, list);
  sampleTime_ += frames;
  *finite = true;
  for (UInt32 c = 0; c < channels_; ++c) {
    const auto* samples = static_cast<const float*>(list->mBuffers[c].mData);
    for (UInt32 i = 0; samples != nullptr && i < frames; ++i) {
      *finite = *finite && std::isfinite(samples[i]);
    }
  }
  return status;
}

}  // namespace host
