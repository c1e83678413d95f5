// The audio path: the host's input into the shell's own buffers, then through
// the inner unit into the host's output, or straight across when bypassed.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "audio/InputBlocks.h"
#include "ausdk/AUInputElement.h"
#include "ausdk/AUOutputElement.h"
#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr UInt32 kBytesPerSample = sizeof(float);
// An inner render longer than this counts as slow.
constexpr double kSlowRenderMs = 8.0;
// "Render called" lines written unconditionally at the start of the process.
constexpr int32_t kLoggedFirstRenders = 5;

// [render thread] Pulls input element 0 straight into the shell's `list` (a
// list from inputblocks::New), or into the element's own memory when the shell
// has none. A source may answer with memory of its own instead: its samples are
// then copied into the shell's blocks, and the list gets its blocks back either
// way. Byte sizes are what the source reported, up to `frames`.
OSStatus PullInputInto(ausdk::AUInputElement& input, AudioUnitRenderActionFlags& ioActionFlags,
                       const AudioTimeStamp& inTimeStamp, UInt32 frames, AudioBufferList* list) {
  if (list == nullptr) {
    if (const OSStatus status = input.PullInput(ioActionFlags, inTimeStamp, 0, frames); status != noErr) {
      return status;
    }
    const AudioBufferList* pulled = input.GetBufferList();
    if (pulled == nullptr) {
      return kAudioUnitErr_InvalidPropertyValue;
    }
    for (UInt32 i = 0; i < pulled->mNumberBuffers; ++i) {
      if (pulled->mBuffers[i].mData == nullptr) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
    }
    return noErr;
  }
  if (!input.IsActive()) {
    return kAudioUnitErr_NoConnection;
  }
  OSStatus status = input.PullInputInto(ioActionFlags, inTimeStamp, 0, frames, *list);
  const UInt32 wanted = frames * kBytesPerSample;
  for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
    AudioBuffer& buffer = list->mBuffers[i];
    void* const own = inputblocks::Block(*list, i);
    if (status == noErr && buffer.mData == nullptr) {
      status = kAudioUnitErr_InvalidPropertyValue;  // a source that left a buffer without memory delivered no audio
    }
    if (status == noErr) {
      const UInt32 bytes = std::min(buffer.mDataByteSize, wanted);
      if (buffer.mData != own && own != nullptr) {
        std::memmove(own, buffer.mData, bytes);
      }
      buffer.mDataByteSize = own != nullptr ? bytes : 0;
    }
    buffer.mData = own;
  }
  return status;
}

// [render thread] The monotonic clock, read directly: the standard library's
// wrapper costs as much again as the read, twice a block.
int64_t MonotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// [render thread] Copies `source` buffer by buffer into `output`, at most
// `frames` samples and the output's byte size; `sourceCapacity` is the frame
// room of the source's blocks. What the source cannot supply is silence.
void CopyToOutput(const AudioBufferList& source, UInt32 sourceCapacity, AudioBufferList& output, UInt32 frames) {
  const UInt32 wanted = frames * kBytesPerSample;
  const UInt32 available = sourceCapacity * kBytesPerSample;
  for (UInt32 i = 0; i < output.mNumberBuffers && i < source.mNumberBuffers; ++i) {
    AudioBuffer& target = output.mBuffers[i];
    const void* from = source.mBuffers[i].mData;
    if (target.mData == nullptr || from == nullptr) {
      continue;
    }
    const UInt32 bytes = std::min(wanted, target.mDataByteSize);
    const UInt32 copied = std::min(bytes, available);
    std::memmove(target.mData, from, copied);
    std::memset(static_cast<std::byte*>(target.mData) + copied, 0, bytes - copied);
  }
}

}  // namespace

OSStatus Veneer::Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                        UInt32 inNumberFrames) {
  const RenderingThread::Scope rendering(renderingThread_);
  // Shared by every instance in the process: the log shows the first renders
  // and then only changes in the presence of an inner unit.
  static std::atomic<int32_t> renderLogCount{0};
  static std::atomic<bool> renderLogStarted{false};
  static std::atomic<bool> lastLoggedInnerPresent{false};

  const AudioUnit inner = innerUnit_.load(std::memory_order_acquire);
  const bool innerPresent = inner != nullptr;
  const bool stateChange = !renderLogStarted.load(std::memory_order_relaxed) ||
                           innerPresent != lastLoggedInnerPresent.load(std::memory_order_relaxed);
  // The count stops where it no longer matters, so that it never wraps round
  // into the logged range again.
  const int32_t callsBefore = renderLogCount.load(std::memory_order_relaxed);
  if (callsBefore < kLoggedFirstRenders) {
    renderLogCount.fetch_add(1, std::memory_order_relaxed);
  }
  const bool logThis = stateChange || callsBefore < kLoggedFirstRenders;
  if (logThis) {
    lastLoggedInnerPresent.store(innerPresent, std::memory_order_relaxed);
    renderLogStarted.store(true, std::memory_order_relaxed);
    DebugLog(logtext::kRenderCalled + std::to_string(inNumberFrames) + " inner=" + (innerPresent ? "yes" : "no") +
             (stateChange ? logtext::kRenderStateChange : ""));
  }

  ausdk::AUOutputElement& outputElement = *renderOutput_;
  if (!outputElement.IOBuffer().IsValid()) {
    return -1;
  }
  AudioBufferList& output = *outputElement.GetBufferList();
  // Once built, the list keeps its channel count whatever the host's format does later.
  const UInt32 channels =
      inputBufferChannels_ != 0 ? inputBufferChannels_ : outputElement.GetStreamFormat().mChannelsPerFrame;
  ausdk::AUInputElement& input = *renderInput_;

  if (bypass_.load(std::memory_order_relaxed) || appState_.load().appBypass_ || !innerPresent) {
    // Only the first render ever pulls here; later ones play the last pulled
    // block again, read through the list it was pulled into.
    AudioBufferList* const previous = inputBuffers_;
    const UInt32 previousFrames = inputBufferFrames_;
    PrepareInputBuffers(channels, inNumberFrames);
    const AudioBufferList* source = previous;
    UInt32 sourceFrames = previousFrames;
    if (previous == nullptr) {
      ++pullCount_;
      if (const OSStatus pulled = PullInputInto(input, ioActionFlags, inTimeStamp, inNumberFrames, inputBuffers_);
          pulled != noErr) {
        return pulled;
      }
      source = inputBuffers_;
      sourceFrames = inputBufferFrames_;
    }
    const AudioBufferList empty{};
    const AudioBufferList& replayed = source != nullptr ? *source : empty;
    CopyToOutput(replayed, sourceFrames, output, inNumberFrames);
    Meter(replayed, inNumberFrames);
    return noErr;
  }

  PrepareInputBuffers(channels, inNumberFrames);
  ++pullCount_;
  if (const OSStatus pulled = PullInputInto(input, ioActionFlags, inTimeStamp, inNumberFrames, inputBuffers_);
      pulled != noErr) {
    return pulled;
  }
  const AudioBufferList empty{};
  const AudioBufferList& dry = inputBuffers_ != nullptr ? *inputBuffers_ : empty;
  // The meter shows the dry input, not the corrected output; a block just
  // pulled is always measured afresh.
  UpdateAudioLevel(dry, inNumberFrames);

  AudioUnitRenderActionFlags innerFlags = 0;
  AudioTimeStamp innerStamp = inTimeStamp;
  const int64_t started = MonotonicNanoseconds();
  const OSStatus innerStatus = AudioUnitRender(inner, &innerFlags, &innerStamp, 0, inNumberFrames, &output);
  const double elapsedMs = static_cast<double>(MonotonicNanoseconds() - started) / 1e6;

  // Only this thread writes the counters; the link thread reads them.
  renderCount_.fetch_add(1, std::memory_order_relaxed);
  if (elapsedMs > kSlowRenderMs) {
    slowRenderCount_.fetch_add(1, std::memory_order_relaxed);
  }
  if (elapsedMs > maxRenderMs_.load(std::memory_order_relaxed)) {
    maxRenderMs_.store(elapsedMs, std::memory_order_relaxed);
  }

  if (logThis) {
    DebugLog(logtext::kInnerRenderStatus + std::to_string(innerStatus));
  }
  // A failing inner unit is not the host's problem: it hears the dry signal.
  if (innerStatus != noErr) {
    CopyToOutput(dry, inputBufferFrames_, output, inNumberFrames);
  }
  return noErr;
}

void Veneer::PrepareInputBuffers(UInt32 channels, UInt32 frames) {
  if (inputBuffers_ != nullptr && inputBufferChannels_ == channels && inputBufferFrames_ >= frames) {
    for (UInt32 i = 0; i < inputBuffers_->mNumberBuffers; ++i) {
      inputBuffers_->mBuffers[i].mDataByteSize = frames * kBytesPerSample;
    }
    return;
  }
  RebuildInputBuffers(channels, frames);
}

void Veneer::RebuildInputBuffers(UInt32 channels, UInt32 frames) {
  // A pass-through may still read the replaced list this cycle, so it is kept
  // (with its blocks) until the instance goes.
  if (inputBuffers_ != nullptr) {
    retiredInputBuffers_.push_back(inputBuffers_);
    inputBuffers_ = nullptr;
  }
  if (channels == 0) {
    return;
  }
  AudioBufferList* list = inputblocks::New(channels, frames);
  if (list == nullptr) {
    return;
  }
  inputBuffers_ = list;
  inputBufferChannels_ = channels;
  inputBufferFrames_ = frames;
}

void Veneer::ReleaseInputBuffers() {
  retiredInputBuffers_.push_back(inputBuffers_);
  inputBuffers_ = nullptr;
  for (AudioBufferList* list : retiredInputBuffers_) {
    inputblocks::Free(list);
  }
  retiredInputBuffers_.clear();
}

void Veneer::Meter(const AudioBufferList& buffers, UInt32 frames) {
  MeteredBlock block{&buffers, frames, pullCount_};
  const bool describable = buffers.mNumberBuffers <= block.data.size();
  if (describable) {
    for (UInt32 i = 0; i < buffers.mNumberBuffers; ++i) {
      block.data[i] = buffers.mBuffers[i].mData;
      block.bytes[i] = buffers.mBuffers[i].mDataByteSize;
    }
  }
  // The same list, samples and sizes as last time: the same value.
  if (describable && block.list == metered_.list && block.frames == metered_.frames && block.pulls == metered_.pulls &&
      block.data == metered_.data && block.bytes == metered_.bytes) {
    HoldLevel(metered_.value);
    return;
  }
  block.value = MeterValue(buffers, frames);
  HoldLevel(block.value);
  metered_ = describable ? block : MeteredBlock{};
}

}  // namespace veneer
