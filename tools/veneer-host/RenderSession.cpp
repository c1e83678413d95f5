#include "RenderSession.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "Components.h"
#include "StreamFormat.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

std::string Failure(const char* what, OSStatus status) {
  return std::string(what) + " failed with " + std::to_string(status);
}

}  // namespace

RenderSession::RenderSession(AudioUnit unit, const AudioShape& shape, UInt32 blockFrames)
    : unit_(unit),
      shape_(shape),
      blockFrames_(blockFrames),
      blockInput_(shape.channels, std::vector<float>(blockFrames)),
      blockOutput_(shape.channels, std::vector<float>(blockFrames)),
      outputList_(static_cast<AudioBufferList*>(
                      std::calloc(1, offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * shape.channels)),
                  std::free) {
  for (std::size_t c = 0; c < shape.channels; ++c) {
    blockInputChannels_.push_back(blockInput_[c].data());
    blockOutputChannels_.push_back(blockOutput_[c].data());
  }
  outputList_->mNumberBuffers = static_cast<UInt32>(shape.channels);
}

std::unique_ptr<RenderSession> RenderSession::Open(AudioComponent component, const AudioShape& shape,
                                                   UInt32 blockFrames, UInt32 maxFrames, std::string* error) {
  AudioUnit unit = nullptr;
  if (const OSStatus status = AudioComponentInstanceNew(component, &unit); status != noErr) {
    *error = Failure("opening the unit", status);
    return nullptr;
  }
  std::unique_ptr<RenderSession> session(new RenderSession(unit, shape, blockFrames));
  const AudioStreamBasicDescription format = FloatFormat(shape.sampleRate, static_cast<UInt32>(shape.channels));
  for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output}) {
    if (const OSStatus status =
            AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, scope, 0, &format, sizeof format);
        status != noErr) {
      *error =
          Failure(scope == kAudioUnitScope_Input ? "setting the input format" : "setting the output format", status);
      return nullptr;
    }
  }
  const UInt32 maximum = std::max(maxFrames, blockFrames);
  if (const OSStatus status = AudioUnitSetProperty(unit, kAudioUnitProperty_MaximumFramesPerSlice,
                                                   kAudioUnitScope_Global, 0, &maximum, sizeof maximum);
      status != noErr) {
    *error = Failure("setting the maximum frames per slice", status);
    return nullptr;
  }
  const AURenderCallbackStruct callback{ProvideInput, session.get()};
  if (const OSStatus status = AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0,
                                                   &callback, sizeof callback);
      status != noErr) {
    *error = Failure("setting the render callback", status);
    return nullptr;
  }
  return session;
}

RenderSession::~RenderSession() {
  if (initialized_) {
    AudioUnitUninitialize(unit_);
  }
  AudioComponentInstanceDispose(unit_);
  // Let work the unit posted on its way out run, as a host's main loop would.
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.05, false);
}

OSStatus RenderSession::Initialize(bool onWorkerThread) {
  OSStatus status = noErr;
  if (onWorkerThread) {
    std::thread worker([&] { status = AudioUnitInitialize(unit_); });
    worker.join();
  } else {
    status = AudioUnitInitialize(unit_);
  }
  initialized_ = status == noErr;
  return status;
}

OSStatus RenderSession::ProvideInput(void* refCon, AudioUnitRenderActionFlags* /*flags*/,
                                     const AudioTimeStamp* /*timeStamp*/, UInt32 /*bus*/, UInt32 frames,
                                     AudioBufferList* data) {
  auto* self = static_cast<RenderSession*>(refCon);
  if (data == nullptr || frames > self->blockFrames_) {
    return kAudio_ParamError;
  }
  ++self->pulls_;
  const std::size_t available = std::min<std::size_t>(frames, self->blockInputFrames_);
  for (UInt32 b = 0; b < data->mNumberBuffers; ++b) {
    AudioBuffer& buffer = data->mBuffers[b];
    if (buffer.mData == nullptr || buffer.mDataByteSize < frames * sizeof(float)) {
      return kAudio_ParamError;
    }
    const std::vector<float>& channel = self->blockInput_[std::min<std::size_t>(b, self->blockInput_.size() - 1)];
    auto* samples = static_cast<float*>(buffer.mData);
    std::copy_n(channel.data(), available, samples);
    std::fill(samples + available, samples + frames, 0.0F);
    buffer.mDataByteSize = frames * sizeof(float);
  }
  return noErr;
}

std::size_t RenderSession::AwaitBlock(std::size_t wanted, DiskStream& disk) const {
  for (;;) {
    if (stop_.load(std::memory_order_relaxed) || disk.Failed()) {
      return 0;
    }
    // Whether the input has ended is read before what it holds, so no frame is missed.
    const bool ended = disk.InputEnded();
    const std::size_t frames = std::min(wanted, disk.Input().Available());
    if ((frames == wanted || ended) && disk.Output().Space() >= frames) {
      return frames;
    }
    // The disk thread is behind: a DAW would drop out here; a file render waits.
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

void RenderSession::NoteBlock(bool pulledInput, bool innerRefused) {
  const std::size_t block = stats_.blocks;
  if (span_ && span_->pulledInput == pulledInput && span_->innerRefused == innerRefused) {
    span_->lastBlock = block;
    return;
  }
  if (span_) {
    // The main thread takes them in about 50 times a second.
    while (!spans_.TryPush(*span_) && !stop_.load(std::memory_order_relaxed)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  span_ = BlockSpan{block, block, pulledInput, innerRefused};
}

void RenderSession::RenderAll(std::size_t total, DiskStream& disk, bool realTime, RenderGate& gate) {
  const Clock::time_point start = Clock::now();
  AudioTimeStamp timeStamp{};
  timeStamp.mFlags = kAudioTimeStampSampleTimeValid;
  Clock::duration held{};
  while (renderPosition_ < total && !stop_.load(std::memory_order_relaxed)) {
    const Clock::time_point holding = Clock::now();
    gate.Pass(renderPosition_);
    const auto frames =
        static_cast<UInt32>(AwaitBlock(std::min<std::size_t>(blockFrames_, total - renderPosition_), disk));
    held += Clock::now() - holding;  // real-time pacing resumes after a hold
    if (frames == 0) {
      break;
    }
    disk.Input().Peek(blockInputChannels_.data(), frames);
    blockInputFrames_ = frames;
    for (UInt32 c = 0; c < outputList_->mNumberBuffers; ++c) {
      outputList_->mBuffers[c] = {1, frames * static_cast<UInt32>(sizeof(float)), blockOutput_[c].data()};
    }
    timeStamp.mSampleTime = static_cast<Float64>(renderPosition_);
    AudioUnitRenderActionFlags flags = 0;
    const std::size_t pullsBefore = pulls_;
    const std::uint64_t failuresBefore = innerFailures_.load(std::memory_order_relaxed);
    const Clock::time_point before = Clock::now();
    const OSStatus status = AudioUnitRender(unit_, &flags, &timeStamp, 0, frames, outputList_.get());
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - before).count();
    NoteBlock(pulls_ != pullsBefore, innerFailures_.load(std::memory_order_relaxed) != failuresBefore);

    ++stats_.blocks;
    stats_.totalMs += ms;
    stats_.longestMs = std::max(stats_.longestMs, ms);
    if (ms > 1000.0 * frames / shape_.sampleRate) {
      ++stats_.slowBlocks;
    }
    // The unit may have pointed the buffers at its own memory.
    for (UInt32 c = 0; c < outputList_->mNumberBuffers; ++c) {
      const AudioBuffer& buffer = outputList_->mBuffers[c];
      if (buffer.mData != nullptr && buffer.mData != blockOutput_[c].data()) {
        std::copy_n(static_cast<const float*>(buffer.mData), frames, blockOutput_[c].data());
      }
    }
    if (status != noErr) {
      // A failed block is silence, as a host plays it.
      ++stats_.failedBlocks;
      stats_.firstFailure = stats_.firstFailure == noErr ? status : stats_.firstFailure;
      for (std::vector<float>& channel : blockOutput_) {
        std::fill_n(channel.data(), frames, 0.0F);
      }
    }
    disk.Input().Drop(frames);
    disk.Output().Push(blockOutputChannels_.data(), frames);
    renderPosition_ += frames;
    framesDone_.store(renderPosition_, std::memory_order_release);
    if (realTime) {
      std::this_thread::sleep_until(start + held +
                                    std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                                        static_cast<double>(renderPosition_) / shape_.sampleRate)));
    }
  }
  if (span_) {
    while (!spans_.TryPush(*span_) && !stop_.load(std::memory_order_relaxed)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  disk.EndOutput();
  finished_.store(true, std::memory_order_release);
}

void RenderSession::CollectSpans(RenderOutcome& outcome) {
  while (const std::optional<BlockSpan> span = spans_.TryPop()) {
    outcome.spans.push_back(*span);
  }
}

OSStatus RenderSession::InnerRendered(void* refCon, AudioUnitRenderActionFlags* flags,
                                      const AudioTimeStamp* /*timeStamp*/, UInt32 /*bus*/, UInt32 /*frames*/,
                                      AudioBufferList* /*data*/) {
  if (flags != nullptr && (*flags & kAudioUnitRenderAction_PostRenderError) != 0) {
    auto* self = static_cast<RenderSession*>(refCon);
    self->innerFailures_.fetch_add(1, std::memory_order_relaxed);
  }
  return noErr;
}

void RenderSession::Observe(RenderOutcome& outcome, const std::function<BypassCause()>& companionCause) {
  const std::size_t frame = framesDone_.load(std::memory_order_acquire);
  AudioUnit inner = nullptr;
  UInt32 size = sizeof inner;
  const bool reportsInner =
      AudioUnitGetProperty(unit_, kVeneerInnerUnitProperty, kAudioUnitScope_Global, 0, &inner, &size) == noErr;
  outcome.reportsInner = outcome.reportsInner || reportsInner;
  if (inner != nullptr && !outcome.innerSeenAtFrame) {
    outcome.innerSeenAtFrame = frame;
    outcome.innerTitle = ComponentTitle(AudioComponentInstanceGetComponent(inner));
  }
  UInt32 hostBypass = 0;
  size = sizeof hostBypass;
  BypassCause cause = BypassCause::kNone;
  if (AudioUnitGetProperty(unit_, kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &hostBypass, &size) ==
          noErr &&
      hostBypass != 0) {
    cause = BypassCause::kHost;
  } else if (reportsInner && inner == nullptr) {
    cause = BypassCause::kNoProduct;
  } else {
    cause = companionCause();
  }
  if (outcome.causes.empty() || outcome.causes.back().cause != cause) {
    outcome.causes.push_back({frame, cause, lastLook_});
  }
  lastLook_ = frame;
}

RenderOutcome RenderSession::Run(AudioSource& source, AudioSink& sink, bool realTime, RenderGate& gate,
                                 const std::function<void(std::size_t)>& tick, const std::function<bool()>& keepWaiting,
                                 const std::function<BypassCause()>& companionCause) {
  RenderOutcome outcome;
  Observe(outcome, companionCause);
  // Whether Veneer's product renders each block, as the product itself tells it.
  AudioUnit inner = nullptr;
  UInt32 size = sizeof inner;
  if (AudioUnitGetProperty(unit_, kVeneerInnerUnitProperty, kAudioUnitScope_Global, 0, &inner, &size) != noErr ||
      (inner != nullptr && AudioUnitAddRenderNotify(inner, InnerRendered, this) != noErr)) {
    inner = nullptr;
  }
  DiskStream disk(source, sink);
  std::thread renderThread(
      [this, total = source.Frames(), &disk, realTime, &gate] { RenderAll(total, disk, realTime, gate); });
  const auto look = [&] {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.02, false);
    Observe(outcome, companionCause);
    CollectSpans(outcome);
    tick(framesDone_.load(std::memory_order_acquire));
  };
  while (!finished_.load(std::memory_order_acquire)) {
    look();
  }
  renderThread.join();
  if (inner != nullptr) {
    AudioUnitRemoveRenderNotify(inner, InnerRendered, this);
  }
  while (!stop_.load(std::memory_order_relaxed) && !disk.Failed() && keepWaiting()) {
    look();
  }
  CollectSpans(outcome);
  outcome.stopped = stop_.load(std::memory_order_relaxed);
  if (outcome.stopped) {
    disk.Stop();
  } else if (std::string error; !disk.Finish(&error)) {
    outcome.diskFailure = error;
  }
  outcome.stats = stats_;
  outcome.framesRendered = renderPosition_;
  outcome.inputLevel = disk.InputLevel();
  outcome.outputLevel = disk.OutputLevel();
  return outcome;
}

}  // namespace host
