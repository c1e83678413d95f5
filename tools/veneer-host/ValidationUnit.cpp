#include "ValidationUnit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "StreamFormat.h"

namespace host {

namespace {

// The input: a sine at A4, which a pitch-correction unit leaves in tune.
constexpr double kToneHz = 440.0;

}  // namespace

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
  const OSStatus status = AudioUnitInitialize(unit_);
  Float64 latency = 0;
  UInt32 size = sizeof latency;
  if (AudioUnitGetProperty(unit_, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &latency, &size) == noErr &&
      latency > 0 && latency < 1) {
    latencyFrames_ = static_cast<UInt32>(std::lround(latency * sampleRate));
  }
  return status;
}

OSStatus ValidationUnit::Provide(void* refCon, AudioUnitRenderActionFlags* /*flags*/,
                                 const AudioTimeStamp* /*timeStamp*/, UInt32 /*bus*/, UInt32 frames,
                                 AudioBufferList* data) {
  auto* self = static_cast<ValidationUnit*>(refCon);
  const double step = 2.0 * std::numbers::pi * kToneHz / self->sampleRate_;
  self->pulled_ = true;
  for (UInt32 b = 0; b < data->mNumberBuffers; ++b) {
    auto* samples = static_cast<float*>(data->mBuffers[b].mData);
    if (samples == nullptr || data->mBuffers[b].mDataByteSize < frames * sizeof(float)) {
      return kAudio_ParamError;
    }
    for (UInt32 i = 0; i < frames; ++i) {
      samples[i] = static_cast<float>(0.5 * std::sin(self->phase_ + step * i));
    }
  }
  if (data->mNumberBuffers > 0) {
    const auto* first = static_cast<const float*>(data->mBuffers[0].mData);
    self->given_.insert(self->given_.end(), first, first + frames);
    self->held_.Read(first, frames);
  }
  self->phase_ = std::fmod(self->phase_ + step * frames, 2.0 * std::numbers::pi);
  return noErr;
}

double ValidationUnit::Follows(const std::vector<float>& output) const {
  const std::size_t n = output.size();
  const std::size_t given = given_.size();
  // Within the latency the output may still be silent; a few samples say nothing of a 440 Hz tone.
  constexpr std::size_t kShortest = 16;
  if (given < n + latencyFrames_ || n < kShortest) {
    return 1.0;
  }
  double outputEnergy = 0;
  for (const float sample : output) {
    outputEnergy += static_cast<double>(sample) * sample;
  }
  if (outputEnergy == 0) {
    return 0;
  }
  const auto period = static_cast<std::size_t>(std::ceil(sampleRate_ / kToneHz));
  const std::size_t newest = given - n;  // the input segment of a unit without latency
  const std::size_t oldest = newest > latencyFrames_ + period ? newest - latencyFrames_ - period : 0;
  double best = 0;
  for (std::size_t start = oldest; start <= newest; ++start) {
    double dot = 0;
    double inputEnergy = 0;
    for (std::size_t i = 0; i < n; ++i) {
      dot += static_cast<double>(output[i]) * given_[start + i];
      inputEnergy += static_cast<double>(given_[start + i]) * given_[start + i];
    }
    if (inputEnergy > 0) {
      best = std::max(best, dot / std::sqrt(outputEnergy * inputEnergy));
    }
  }
  return best;
}

bool ValidationUnit::Plays(const float* expected, UInt32 frames) const {
  const auto* list = reinterpret_cast<const AudioBufferList*>(listStorage_.data());
  for (UInt32 c = 0; c < list->mNumberBuffers; ++c) {
    const auto* samples = static_cast<const float*>(list->mBuffers[c].mData);
    if (samples == nullptr || !std::equal(expected, expected + frames, samples)) {
      return false;
    }
  }
  return true;
}

OSStatus ValidationUnit::Render(UInt32 frames, BlockFacts* facts) {
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
  pulled_ = false;
  const OSStatus status = AudioUnitRender(unit_, &flags, &stamp, 0, frames, list);
  sampleTime_ += frames;
  *facts = BlockFacts{true, pulled_, renders_++ == 0, 0, false, false};
  for (UInt32 c = 0; c < channels_; ++c) {
    const auto* samples = static_cast<const float*>(list->mBuffers[c].mData);
    for (UInt32 i = 0; samples != nullptr && i < frames; ++i) {
      facts->finite = facts->finite && std::isfinite(samples[i]);
    }
  }
  if (status != noErr) {
    return status;  // refused before it played anything
  }
  const auto* first = static_cast<const float*>(list->mBuffers[0].mData);
  if (facts->finite && first != nullptr) {
    facts->follows = Follows(std::vector<float>(first, first + frames));
  }
  if (pulled_) {
    facts->passed = given_.size() >= frames && Plays(given_.data() + given_.size() - frames, frames);
  } else {
    const bool holds = held_.Holds();
    const std::vector<float> again = held_.Replay(frames);
    facts->replayed = holds && Plays(again.data(), frames);
  }
  return status;
}

}  // namespace host
