#include "harness/HostOutput.h"

#include <algorithm>

namespace harness {

HostOutput::HostOutput(UInt32 channels, UInt32 maxFrames)
    : channels_(channels, std::vector<float>(maxFrames)),
      listStorage_(offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * std::max<UInt32>(channels, 1)) {}

void HostOutput::Fill(float value, UInt32 frames) {
  for (auto& channel : channels_) {
    std::fill_n(channel.begin(), std::min<size_t>(frames, channel.size()), value);
  }
}

OSStatus HostOutput::Render(AudioUnit unit, UInt32 frames) {
  if (channels_.empty() || frames > channels_[0].size()) {
    return kAudio_ParamError;  // more than the host's own buffers hold
  }
  auto* list =
      reinterpret_cast<AudioBufferList*>(listStorage_.data());  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
  // Set anew each time: a unit may point the buffers at its own memory.
  list->mNumberBuffers = Channels();
  for (UInt32 c = 0; c < Channels(); ++c) {
    list->mBuffers[c] = {1, frames * UInt32{sizeof(float)}, channels_[c].data()};
  }
  AudioTimeStamp stamp{};
  stamp.mSampleTime = sampleTime_;
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  sampleTime_ += frames;
  AudioUnitRenderActionFlags flags = 0;
  return AudioUnitRender(unit, &flags, &stamp, 0, frames, list);
}

}  // namespace harness
