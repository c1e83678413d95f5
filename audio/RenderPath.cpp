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
// An inner render longer than this (8 ms) counts as slow.
constexpr int64_t kSlowRenderNanoseconds = 8'000'000;
// "Render called" lines written unconditionally at the start of the process.
constexpr int32_t kLoggedFirstRenders = 5;

// [render thread] After a pull that did not simply fill the shell's blocks:
// the list counts the buffers the source answered, up to the shell's own;
// samples a source left in memory of its own are copied into the blocks; byte
// sizes are what the source reported, up to `wanted`; and every buffer gets
// its block back. Whatever the source did, the list then points only at the
// shell's blocks and says no more than they hold. A buffer left without memory
// means no audio was delivered.
[[gnu::noinline]] OSStatus TakeBackInputBlocks(AudioBufferList& list, OSStatus status, UInt32 wanted) {
  const UInt32 capacity = inputblocks::Capacity(list);
  const UInt32 answered = std::min(list.mNumberBuffers, capacity);
  for (UInt32 i = 0; i < capacity; ++i) {
    AudioBuffer& buffer = list.mBuffers[i];
    void* const own = inputblocks::Block(list, i);
    const bool delivered = i < answered && status == noErr;
    if (delivered && buffer.mData == nullptr) {
      status = kAudioUnitErr_InvalidPropertyValue;
    }
    UInt32 bytes = std::min(buffer.mDataByteSize, wanted);
    if (delivered && status == noErr && buffer.mData != own && own != nullptr) {
      std::memmove(own, buffer.mData, bytes);
    }
    buffer.mNumberChannels = 1;
    buffer.mDataByteSize = own != nullptr ? bytes : 0;
    buffer.mData = own;
  }
  list.mNumberBuffers = answered;
  return status;
}

// [render thread] Pulls input element 0 straight into the shell's `list` (a
// list from inputblocks::New), or into the element's own memory when the shell
// has none. A source may answer with memory of its own instead, or with fewer
// or more buffers: the list is then put back to the shell's blocks by
// TakeBackInputBlocks. Byte sizes are what the source reported, up to `frames`.
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
    // Within the entries the element has room for, whatever count the source left.
    const UInt32 buffers = std::min(pulled->mNumberBuffers, input.IOBuffer().GetAllocatedStreams());
    for (UInt32 i = 0; i < buffers; ++i) {
      if (pulled->mBuffers[i].mData == nullptr) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
    }
    return noErr;
  }
  const OSStatus status = input.PullInputInto(ioActionFlags, inTimeStamp, 0, frames, *list);
  const UInt32 wanted = frames * kBytesPerSample;
  // The usual answer: every block of the shell's filled in place, in full.
  const UInt32 capacity = inputblocks::Capacity(*list);
  bool inPlace = status == noErr && list->mNumberBuffers == capacity;
  for (UInt32 i = 0; i < capacity; ++i) {
    const AudioBuffer& buffer = list->mBuffers[i];
    inPlace = inPlace && buffer.mData != nullptr && buffer.mData == inputblocks::Block(*list, i) &&
              buffer.mDataByteSize == wanted;
  }
  return inPlace ? noErr : TakeBackInputBlocks(*list, status, wanted);
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

// Shared by every instance in the process: the log shows the first renders
// and then only changes in the presence of an inner unit.
std::atomic<int32_t> renderLogCount{0};
// Whether the last logged render had an inner unit: kNotLoggedYet before the first.
constexpr int8_t kNotLoggedYet = -1;
std::atomic<int8_t> lastLoggedInnerPresent{kNotLoggedYet};
constexpr int8_t PresenceCode(bool innerPresent) { return innerPresent ? 1 : 0; }

// [render thread] Whether this render's "Render called" line is due, and if so
// whether it reports a state change.
struct RenderLogDecision {
  bool log;
  bool stateChange;
};
RenderLogDecision DecideRenderLog(bool innerPresent) {
  const bool stateChange = lastLoggedInnerPresent.load(std::memory_order_relaxed) != PresenceCode(innerPresent);
  // The count stops where it no longer matters, so that it never wraps round
  // into the logged range again.
  const int32_t callsBefore = renderLogCount.load(std::memory_order_relaxed);
  if (callsBefore < kLoggedFirstRenders) {
    renderLogCount.fetch_add(1, std::memory_order_relaxed);
  }
  return {stateChange || callsBefore < kLoggedFirstRenders, stateChange};
}

// [render thread] The "Render called" line. Out of line and cold: its strings
// would otherwise weigh on every block's frame.
[[gnu::noinline, gnu::cold]] void LogRenderCall(UInt32 frames, bool innerPresent, bool stateChange) {
  lastLoggedInnerPresent.store(PresenceCode(innerPresent), std::memory_order_relaxed);
  DebugLog(logtext::kRenderCalled + std::to_string(frames) + " inner=" + (innerPresent ? "yes" : "no") +
           (stateChange ? logtext::kRenderStateChange : ""));
}

// [render thread] The inner unit's status line, for the renders that logged their call.
[[gnu::noinline, gnu::cold]] void LogInnerRenderStatus(OSStatus status) {
  DebugLog(logtext::kInnerRenderStatus + std::to_string(status));
}

}  // namespace

OSStatus Veneer::Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                        UInt32 inNumberFrames) {
  const RenderingThread::Scope rendering(renderingThread_);
  const AudioUnit inner = innerUnit_.load(std::memory_order_acquire);
  const bool innerPresent = inner != nullptr;
  const RenderLogDecision logged = DecideRenderLog(innerPresent);
  if (logged.log) {
    LogRenderCall(inNumberFrames, innerPresent, logged.stateChange);
  }

  ausdk::AUOutputElement& outputElement = *renderOutput_;
  if (!outputElement.IOBuffer().IsValid()) {
    return -1;
  }
  AudioBufferList& output = *outputElement.GetBufferList();
  // Once built, the list keeps its channel count whatever the host's format does later.
  const UInt32 channels =
      inputBufferChannels_ != 0 ? inputBufferChannels_ : outputElement.GetStreamFormat().mChannelsPerFrame;
  const bool passThrough = bypass_.load(std::memory_order_relaxed) || appState_.load().appBypass_ || !innerPresent;

  // A pass-through pulls only on the first render ever; later ones play the
  // last pulled block again, read through the list it was pulled into.
  AudioBufferList* const previous = inputBuffers_;
  const UInt32 previousFrames = inputBufferFrames_;
  PrepareInputBuffers(channels, inNumberFrames);
  if (!passThrough || previous == nullptr) {
    ++pullCount_;
    if (const OSStatus pulled = PullInputInto(*renderInput_, ioActionFlags, inTimeStamp, inNumberFrames, inputBuffers_);
        pulled != noErr) {
      return pulled;
    }
  }
  static constexpr AudioBufferList kEmpty{};
  if (passThrough) {
    const bool replaying = previous != nullptr;
    const AudioBufferList* source = replaying ? previous : inputBuffers_;
    const AudioBufferList& replayed = source != nullptr ? *source : kEmpty;
    CopyToOutput(replayed, replaying ? previousFrames : inputBufferFrames_, output, inNumberFrames);
    Meter(replayed, inNumberFrames);
    return noErr;
  }

  const AudioBufferList& dry = inputBuffers_ != nullptr ? *inputBuffers_ : kEmpty;
  // The meter shows the dry input, not the corrected output; a block just
  // pulled is always measured afresh.
  UpdateAudioLevel(dry, inNumberFrames);

  // The inner unit gets flags and a time stamp of its own, so that nothing it
  // does to them reaches the host's.
  AudioUnitRenderActionFlags innerFlags = 0;
  const AudioTimeStamp innerStamp = inTimeStamp;
  const int64_t started = renderClock_();
  const OSStatus innerStatus = AudioUnitRender(inner, &innerFlags, &innerStamp, 0, inNumberFrames, &output);
  const int64_t elapsed = renderClock_() - started;

  // Only this thread writes the counters; the link thread reads them.
  renderCount_.store(renderCount_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  if (elapsed > kSlowRenderNanoseconds) {
    slowRenderCount_.store(slowRenderCount_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  if (elapsed > maxRenderNanoseconds_) {
    maxRenderNanoseconds_ = elapsed;
    maxRenderMs_.store(static_cast<double>(elapsed) / 1e6, std::memory_order_relaxed);
  }

  if (logged.log) {
    LogInnerRenderStatus(innerStatus);
  }
  // A failing inner unit is not the host's problem: it hears the dry signal.
  if (innerStatus != noErr) {
    CopyToOutput(dry, inputBufferFrames_, output, inNumberFrames);
  }
  return noErr;
}

// Read directly: the standard library's wrapper costs as much again as the
// read, twice a block.
int64_t Veneer::MonotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void Veneer::RebuildInputBuffers(UInt32 channels, UInt32 frames) {
  // A pass-through may still read the replaced list this cycle, so it is kept
  // (with its blocks) until the instance goes, whole again if its last pull
  // was answered with fewer buffers.
  if (inputBuffers_ != nullptr) {
    inputBuffers_->mNumberBuffers = inputblocks::Capacity(*inputBuffers_);
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
