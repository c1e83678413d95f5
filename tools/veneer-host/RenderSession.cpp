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

RenderSession::RenderSession(AudioUnit unit, const Audio& input, UInt32 blockFrames)
    : unit_(unit),
      input_(input),
      blockFrames_(blockFrames),
      outputList_(static_cast<AudioBufferList*>(std::calloc(
                      1, offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * input.channels.size())),
                  std::free) {
  output_.sampleRate = input.sampleRate;
  output_.fileFormat = input.fileFormat;
  output_.channels.assign(input.channels.size(), std::vector<float>(input.Frames()));
  outputList_->mNumberBuffers = static_cast<UInt32>(input.channels.size());
  pulledInput_.reserve((input.Frames() + blockFrames - 1) / blockFrames);
  innerRefused_.reserve(pulledInput_.capacity());
}

std::unique_ptr<RenderSession> RenderSession::Open(AudioComponent component, const Audio& input, UInt32 blockFrames,
                                                   UInt32 maxFrames, std::string* error) {
  AudioUnit unit = nullptr;
  if (const OSStatus status = AudioComponentInstanceNew(component, &unit); status != noErr) {
    *error = Failure("opening the unit", status);
    return nullptr;
  }
  std::unique_ptr<RenderSession> session(new RenderSession(unit, input, blockFrames));
  const AudioStreamBasicDescription format = FloatFormat(input.sampleRate, static_cast<UInt32>(input.channels.size()));
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
  if (data == nullptr) {
    return kAudio_ParamError;
  }
  ++self->pulls_;
  const std::size_t total = self->input_.Frames();
  const std::size_t start = std::min(self->renderPosition_, total);
  const std::size_t available = std::min<std::size_t>(frames, total - start);
  for (UInt32 b = 0; b < data->mNumberBuffers; ++b) {
    AudioBuffer& buffer = data->mBuffers[b];
    if (buffer.mData == nullptr || buffer.mDataByteSize < frames * sizeof(float)) {
      return kAudio_ParamError;
    }
    const std::vector<float>& channel =
        self->input_.channels[std::min<std::size_t>(b, self->input_.channels.size() - 1)];
    auto* samples = static_cast<float*>(buffer.mData);
    std::copy_n(channel.data() + start, available, samples);
    std::fill(samples + available, samples + frames, 0.0F);
    buffer.mDataByteSize = frames * sizeof(float);
  }
  return noErr;
}

void RenderSession::RenderAll(bool realTime, RenderGate& gate) {
  const std::size_t total = input_.Frames();
  const Clock::time_point start = Clock::now();
  AudioTimeStamp timeStamp{};
  timeStamp.mFlags = kAudioTimeStampSampleTimeValid;
  Clock::duration held{};
  while (renderPosition_ < total && !stop_.load(std::memory_order_relaxed)) {
    const Clock::time_point holding = Clock::now();
    gate.Pass(renderPosition_);
    held += Clock::now() - holding;  // real-time pacing resumes after a hold
    const auto frames = static_cast<UInt32>(std::min<std::size_t>(blockFrames_, total - renderPosition_));
    for (UInt32 c = 0; c < outputList_->mNumberBuffers; ++c) {
      outputList_->mBuffers[c] = {1, frames * static_cast<UInt32>(sizeof(float)),
                                  output_.channels[c].data() + renderPosition_};
    }
    timeStamp.mSampleTime = static_cast<Float64>(renderPosition_);
    AudioUnitRenderActionFlags flags = 0;
    const std::size_t pullsBefore = pulls_;
    const std::uint64_t failuresBefore = innerFailures_.load(std::memory_order_relaxed);
    const Clock::time_point before = Clock::now();
    const OSStatus status = AudioUnitRender(unit_, &flags, &timeStamp, 0, frames, outputList_.get());
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - before).count();
    pulledInput_.push_back(pulls_ != pullsBefore);
    innerRefused_.push_back(innerFailures_.load(std::memory_order_relaxed) != failuresBefore);

    ++stats_.blocks;
    stats_.totalMs += ms;
    stats_.longestMs = std::max(stats_.longestMs, ms);
    if (ms > 1000.0 * frames / input_.sampleRate) {
      ++stats_.slowBlocks;
    }
    if (status != noErr) {
      // A failed block is silence, as a host plays it.
      ++stats_.failedBlocks;
      stats_.firstFailure = stats_.firstFailure == noErr ? status : stats_.firstFailure;
      for (std::vector<float>& channel : output_.channels) {
        std::fill_n(channel.data() + renderPosition_, frames, 0.0F);
      }
    }
    renderPosition_ += frames;
    framesDone_.store(renderPosition_, std::memory_order_release);
    if (realTime) {
      std::this_thread::sleep_until(start + held +
                                    std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                                        static_cast<double>(renderPosition_) / input_.sampleRate)));
    }
  }
  finished_.store(true, std::memory_order_release);
}

void RenderSession::Observe(RenderOutcome& outcome, const std::function<BypassCause()>& companionCause) const {
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
    outcome.causes.push_back({frame, cause});
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

RenderOutcome RenderSession::Run(bool realTime, RenderGate& gate, const std::function<void(std::size_t)>& tick,
                                 const std::function<bool()>& keepWaiting,
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
  std::thread renderThread([this, realTime, &gate] { RenderAll(realTime, gate); });
  while (!finished_.load(std::memory_order_acquire)) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.02, false);
    Observe(outcome, companionCause);
    tick(framesDone_.load(std::memory_order_acquire));
  }
  renderThread.join();
  if (inner != nullptr) {
    AudioUnitRemoveRenderNotify(inner, InnerRendered, this);
  }
  while (!stop_.load(std::memory_order_relaxed) && keepWaiting()) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.02, false);
    Observe(outcome, companionCause);
    tick(framesDone_.load(std::memory_order_acquire));
  }
  outcome.stats = stats_;
  outcome.output = std::move(output_);
  outcome.pulledInput = std::move(pulledInput_);
  outcome.innerRefused = std::move(innerRefused_);
  outcome.stopped = stop_.load(std::memory_order_relaxed);
  outcome.framesRendered = renderPosition_;
  return outcome;
}

}  // namespace host
