// The audio path: the host's input into the shell's own buffers, then through
// the inner unit into the host's output, or straight across when bypassed.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

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

// [render thread] Pulls input element 0 and copies what the source delivered
// into `destination` (null: pull only). The element renders into its own
// memory, so the pull allocates nothing; the copy keeps the byte sizes the
// source reported, up to `frames`.
OSStatus PullInputInto(ausdk::AUInputElement& input, AudioUnitRenderActionFlags& ioActionFlags,
                       const AudioTimeStamp& inTimeStamp, UInt32 frames, AudioBufferList* destination) {
  if (const OSStatus status = input.PullInput(ioActionFlags, inTimeStamp, 0, frames); status != noErr) {
    return status;
  }
  const AudioBufferList* pulled = input.GetBufferList();
  if (pulled == nullptr) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  // A source that left a buffer without memory delivered no audio.
  for (UInt32 i = 0; i < pulled->mNumberBuffers; ++i) {
    if (pulled->mBuffers[i].mData == nullptr) {
      return kAudioUnitErr_InvalidPropertyValue;
    }
  }
  if (destination == nullptr) {
    return noErr;
  }
  const UInt32 wanted = frames * kBytesPerSample;
  for (UInt32 i = 0; i < destination->mNumberBuffers && i < pulled->mNumberBuffers; ++i) {
    AudioBuffer& target = destination->mBuffers[i];
    if (target.mData == nullptr) {
      continue;
    }
    const UInt32 bytes = std::min(pulled->mBuffers[i].mDataByteSize, wanted);
    std::memmove(target.mData, pulled->mBuffers[i].mData, bytes);
    target.mDataByteSize = bytes;
  }
  return noErr;
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

  ausdk::AUOutputElement& outputElement = *Output(0);
  if (!outputElement.IOBuffer().IsValid()) {
    return -1;
  }
  AudioBufferList& output = *outputElement.GetBufferList();
  // Once built, the list keeps its channel count whatever the host's format does later.
  const UInt32 channels =
      inputBufferChannels_ != 0 ? inputBufferChannels_ : outputElement.GetStreamFormat().mChannelsPerFrame;
  ausdk::AUInputElement& input = *Input(0);

  if (bypass_.load(std::memory_order_relaxed) || appState_.load().appBypass_ || !innerPresent) {
    // Only the first render ever pulls here; later ones play the last pulled
    // block again, read through the list it was pulled into.
    AudioBufferList* const previous = inputBuffers_;
    const UInt32 previousFrames = inputBufferFrames_;
    PrepareInputBuffers(channels, inNumberFrames);
    const AudioBufferList* source = previous;
    UInt32 sourceFrames = previousFrames;
    if (previous == nullptr) {
      if (const OSStatus pulled = PullInputInto(input, ioActionFlags, inTimeStamp, inNumberFrames, inputBuffers_);
          pulled != noErr) {
        return pulled;
      }
      source = inputBuffers_;
      sourceFrames = inputBufferFrames_;
    }
    const AudioBufferList empty{};
    const AudioBufferList& metered = source != nullptr ? *source : empty;
    CopyToOutput(metered, sourceFrames, output, inNumberFrames);
    UpdateAudioLevel(metered, inNumberFrames);
    return noErr;
  }

  PrepareInputBuffers(channels, inNumberFrames);
  if (const OSStatus pulled = PullInputInto(input, ioActionFlags, inTimeStamp, inNumberFrames, inputBuffers_);
      pulled != noErr) {
    return pulled;
  }
  const AudioBufferList empty{};
  const AudioBufferList& dry = inputBuffers_ != nullptr ? *inputBuffers_ : empty;
  // The meter shows the dry input, not the corrected output.
  UpdateAudioLevel(dry, inNumberFrames);

  AudioUnitRenderActionFlags innerFlags = 0;
  AudioTimeStamp innerStamp = inTimeStamp;
  const auto started = std::chrono::steady_clock::now();
  const OSStatus innerStatus = AudioUnitRender(inner, &innerFlags, &innerStamp, 0, inNumberFrames, &output);
  const auto finished = std::chrono::steady_clock::now();
  const double elapsedMs =
      static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(finished - started).count()) / 1e6;

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
  // A pass-through may still read the replaced list this cycle, so it is kept
  // (with its blocks) until the instance goes.
  if (inputBuffers_ != nullptr) {
    retiredInputBuffers_.push_back(inputBuffers_);
    inputBuffers_ = nullptr;
  }
  if (channels == 0) {
    return;
  }
  auto* list = static_cast<AudioBufferList*>(
      std::calloc(1, offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * channels));
  if (list == nullptr) {
    return;
  }
  list->mNumberBuffers = channels;
  for (UInt32 i = 0; i < channels; ++i) {
    AudioBuffer& buffer = list->mBuffers[i];
    buffer.mNumberChannels = 1;
    buffer.mData = std::calloc(frames, sizeof(float));
    buffer.mDataByteSize = buffer.mData != nullptr ? frames * kBytesPerSample : 0;
  }
  inputBuffers_ = list;
  inputBufferChannels_ = channels;
  inputBufferFrames_ = frames;
}

}  // namespace veneer
