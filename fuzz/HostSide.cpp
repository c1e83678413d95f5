#include "HostSide.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

#include "FuzzSupport.h"

namespace fuzzing {
namespace {

constexpr UInt32 kMostChannels = 16;
constexpr UInt32 kMostBytesPerFrame = 256;

OSStatus BeatAndTempo(void* /*userData*/, Float64* beat, Float64* tempo) {
  if (beat != nullptr) {
    *beat = 4.0;
  }
  if (tempo != nullptr) {
    *tempo = 120.0;
  }
  return noErr;
}

OSStatus MusicalTime(void* /*userData*/, UInt32* toNextBeat, Float32* numerator, UInt32* denominator,
                     Float64* downBeat) {
  if (toNextBeat != nullptr) {
    *toNextBeat = 0;
  }
  if (numerator != nullptr) {
    *numerator = 4.0F;
  }
  if (denominator != nullptr) {
    *denominator = 4;
  }
  if (downBeat != nullptr) {
    *downBeat = 0.0;
  }
  return noErr;
}

OSStatus Transport(void* /*userData*/, Boolean* playing, Boolean* changed, Float64* sample, Boolean* cycling,
                   Float64* cycleStart, Float64* cycleEnd) {
  for (Boolean* flag : {playing, changed, cycling}) {
    if (flag != nullptr) {
      *flag = false;
    }
  }
  for (Float64* value : {sample, cycleStart, cycleEnd}) {
    if (value != nullptr) {
      *value = 0.0;
    }
  }
  return noErr;
}

OSStatus Transport2(void* userData, Boolean* playing, Boolean* recording, Boolean* changed, Float64* sample,
                    Boolean* cycling, Float64* cycleStart, Float64* cycleEnd) {
  if (recording != nullptr) {
    *recording = false;
  }
  return Transport(userData, playing, changed, sample, cycling, cycleStart, cycleEnd);
}

// Reads `bytes` bytes at `data`; the sum keeps the reads from being dropped.
void ReadBack(const void* data, UInt32 bytes) {
  const auto* from = static_cast<const volatile std::byte*>(data);
  unsigned sum = 0;
  for (UInt32 i = 0; i < bytes; ++i) {
    sum += static_cast<unsigned>(from[i]);
  }
  static_cast<void>(sum);
}

class OtherThread {
 public:
  OtherThread() : thread_([this] { Serve(); }) { thread_.detach(); }

  void Run(const std::function<void()>& job) {
    std::unique_lock lock(mutex_);
    job_ = &job;
    wake_.notify_all();
    wake_.wait(lock, [this] { return job_ == nullptr; });
  }

 private:
  void Serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
      wake_.wait(lock, [this] { return job_ != nullptr; });
      (*job_)();
      job_ = nullptr;
      wake_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  const std::function<void()>* job_ = nullptr;
  std::thread thread_;
};

}  // namespace

HostCallbackInfo HostCallbacks(uint32_t present, void* userData) {
  HostCallbackInfo info{};
  info.hostUserData = userData;
  info.beatAndTempoProc = (present & 1U) != 0 ? BeatAndTempo : nullptr;
  info.musicalTimeLocationProc = (present & 2U) != 0 ? MusicalTime : nullptr;
  info.transportStateProc = (present & 4U) != 0 ? Transport : nullptr;
  info.transportStateProc2 = (present & 8U) != 0 ? Transport2 : nullptr;
  return info;
}

OSStatus RenderBlock(AudioUnit unit, UInt32 bus, UInt32 frames, Float64 sampleTime, bool lendNothing) {
  AudioStreamBasicDescription format{};
  UInt32 size = sizeof format;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, bus, &format, &size) !=
      noErr) {
    format.mChannelsPerFrame = 2;
    format.mBytesPerFrame = 4;
    format.mFormatFlags = kAudioFormatFlagIsNonInterleaved;
  }
  const UInt32 channels = std::min(format.mChannelsPerFrame, kMostChannels);
  const bool nonInterleaved = (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0;
  const UInt32 streams = nonInterleaved ? channels : 1;
  const size_t bytes = size_t{frames} * std::min(format.mBytesPerFrame, kMostBytesPerFrame);

  std::vector<std::byte> listStorage(offsetof(AudioBufferList, mBuffers) +
                                     sizeof(AudioBuffer) * std::max<UInt32>(streams, 1));
  auto* list = reinterpret_cast<AudioBufferList*>(listStorage.data());
  std::vector<std::vector<std::byte>> blocks(streams, std::vector<std::byte>(lendNothing ? 0 : bytes));
  list->mNumberBuffers = streams;
  for (UInt32 i = 0; i < streams; ++i) {
    list->mBuffers[i] = {nonInterleaved ? 1 : channels, static_cast<UInt32>(bytes),
                         lendNothing ? nullptr : blocks[i].data()};
  }

  AudioTimeStamp stamp{};
  stamp.mSampleTime = sampleTime;
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  AudioUnitRenderActionFlags flags = 0;
  const OSStatus status = AudioUnitRender(unit, &flags, &stamp, bus, frames, list);
  if (status != noErr) {
    return status;
  }
  if (list->mNumberBuffers > std::max<UInt32>(streams, 1)) {
    Fail("the unit grew the host's buffer list");
  }
  for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
    const AudioBuffer& buffer = list->mBuffers[i];
    if (buffer.mData == nullptr) {
      continue;
    }
    if (!lendNothing && i < blocks.size() && buffer.mData == blocks[i].data() &&
        buffer.mDataByteSize > blocks[i].size()) {
      Fail("the unit reports more bytes than the host's buffer holds");
    }
    ReadBack(buffer.mData, buffer.mDataByteSize);
  }
  return status;
}

void OnOtherThread(const std::function<void()>& job) {
  static auto* const thread = new OtherThread();  // lives as long as the process
  thread->Run(job);
}

}  // namespace fuzzing
