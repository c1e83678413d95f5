#include "harness/HostInput.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace harness {

HostInput::HostInput(UInt32 channels, UInt32 frames, Float64 sampleRate)
    : track_(std::max<UInt32>(channels, 1), std::vector<float>(frames)) {
  for (size_t c = 0; c < track_.size(); ++c) {
    for (UInt32 f = 0; f < frames; ++f) {
      const double phase = 2.0 * std::numbers::pi * (220.0 * static_cast<double>(c + 1)) * f / sampleRate;
      track_[c][f] = static_cast<float>(0.25 * std::sin(phase));
    }
  }
}

std::vector<std::byte> HostInput::BufferList(UInt32 frames) const {
  const auto channels = static_cast<UInt32>(track_.size());
  std::vector<std::byte> storage(offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * channels);
  auto* list =
      reinterpret_cast<AudioBufferList*>(storage.data());  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
  list->mNumberBuffers = channels;
  for (UInt32 c = 0; c < channels; ++c) {
    list->mBuffers[c] = {1, frames * UInt32{sizeof(float)}, const_cast<float*>(track_[c].data())};
  }
  return storage;
}

OSStatus HostInput::Provide(void* refCon, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* /*stamp*/,
                            UInt32 /*bus*/, UInt32 frames, AudioBufferList* ioData) {
  auto& self = *static_cast<HostInput*>(refCon);
  const bool reshaping = self.reshaping_;
  const Reshape& reshape = self.reshape_;
  if (self.mode_ == Mode::kFails || (reshaping && self.pulls_++ < reshape.answerFromPull)) {
    return kAudioUnitErr_NoConnection;
  }
  if (ioData == nullptr) {
    return kAudio_ParamError;
  }
  const UInt32 given = ioData->mNumberBuffers;
  if (reshaping) {
    const int64_t count = int64_t{given} + reshape.bufferCountChange;
    ioData->mNumberBuffers = static_cast<UInt32>(std::clamp<int64_t>(count, 0, UINT32_MAX));
  }
  const UInt32 buffers = std::min(given, ioData->mNumberBuffers);
  const bool foreign = reshaping && reshape.foreignData;
  size_t toLend = 0;
  for (UInt32 i = 0; i < buffers; ++i) {
    if (foreign || ioData->mBuffers[i].mData == nullptr) {
      toLend += size_t{frames} * ioData->mBuffers[i].mNumberChannels;
    }
  }
  if (toLend > self.lent_.size()) {
    self.lent_.resize(toLend);
  }
  float* lent = self.lent_.data();
  const UInt32 delivered = self.mode_ == Mode::kShort ? frames / 2 : frames;
  for (UInt32 i = 0; i < buffers; ++i) {
    AudioBuffer& buffer = ioData->mBuffers[i];
    if (self.mode_ == Mode::kNoData) {
      buffer.mData = nullptr;
      continue;
    }
    const size_t count = size_t{frames} * buffer.mNumberChannels;
    if (foreign || buffer.mData == nullptr) {
      buffer.mData = lent;
      lent += count;
    }
    // The whole block the unit asked for: a unit that lends less room than that is at fault.
    auto* samples = static_cast<float*>(buffer.mData);
    const std::vector<float>& channel = self.track_[i % self.track_.size()];
    const size_t copied = std::min(count, channel.size());
    if (copied > 0) {  // a block of no frames may have no memory at all
      std::memcpy(samples, channel.data(), copied * sizeof(float));
    }
    std::fill(samples + copied, samples + count, 0.0F);
    buffer.mDataByteSize = delivered * buffer.mNumberChannels * UInt32{sizeof(float)};
    if (reshaping && reshape.reportedBytes) {
      buffer.mDataByteSize = *reshape.reportedBytes;
    }
  }
  return reshaping && reshape.failAfter ? OSStatus{kAudioUnitErr_CannotDoInCurrentContext} : OSStatus{noErr};
}

}  // namespace harness
