// Render and process dispatch through the component API, as a host calls it:
// argument checks and their log lines, the buffer hand-over, input pulling,
// render notifications, the last render error, scheduled parameters and the
// in-place process paths.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CaptureStderr.h"
#include "LogCapture.h"
#include "TestUnits.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RENDER_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define RENDER_TEST_SANITIZED 1
#endif
#endif

#ifndef RENDER_TEST_SANITIZED
// Counts heap allocations of the threads that ask for it; sanitizers bring their own operator new.
namespace {
thread_local bool tCountAllocations = false;
thread_local int tAllocations = 0;
}  // namespace

void* operator new(std::size_t size) {
  if (tCountAllocations) {
    ++tAllocations;
  }
  if (void* memory = std::malloc(size == 0 ? 1 : size)) {
    return memory;
  }
  throw std::bad_alloc();
}
// The replacement new above takes its memory from malloc, so free is the match
// the compiler cannot see.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
#pragma GCC diagnostic pop
#endif

namespace {

using testunits::BufferList;
using testunits::FeedInput;
using testunits::Instance;
using testunits::RenderAt;
using testunits::SampleTime;
using testunits::SchedulingUnit;
using testunits::TestEffect;
using testunits::ThrowingUnit;
using testunits::UnitFor;

constexpr UInt32 kMaxFrames = ausdk::AUBase::kDefaultMaxFramesPerSlice;

// Renders only with exactly the maximum number of frames.
class FixedBlockUnit : public TestEffect {
 public:
  explicit FixedBlockUnit(AudioComponentInstance instance) : TestEffect(instance) { SetUsesFixedBlockSize(true); }
};

// In place: each sample times the gain. Process multiple: output 0 = sum of the inputs times the gain.
class ProcessingUnit : public TestEffect {
 public:
  explicit ProcessingUnit(AudioComponentInstance instance) : TestEffect(instance, 2, 1) {}
  OSStatus ProcessBufferLists(AudioUnitRenderActionFlags& /*flags*/, const AudioBufferList& inBuffer,
                              AudioBufferList& outBuffer, UInt32 frames) override {
    ++processCalls;
    const float gain = Gain();
    for (UInt32 b = 0; b < outBuffer.mNumberBuffers; ++b) {
      const auto* in = static_cast<const float*>(inBuffer.mBuffers[b].mData);
      auto* out = static_cast<float*>(outBuffer.mBuffers[b].mData);
      for (UInt32 i = 0; i < frames; ++i) {
        out[i] = in[i] * gain;
      }
    }
    return noErr;
  }
  OSStatus ProcessMultipleBufferLists(AudioUnitRenderActionFlags& /*flags*/, UInt32 frames, UInt32 inputCount,
                                      const AudioBufferList** inputs, UInt32 /*outputCount*/,
                                      AudioBufferList** outputs) override {
    ++processCalls;
    const float gain = Gain();
    AudioBufferList& out = *outputs[0];
    for (UInt32 b = 0; b < out.mNumberBuffers; ++b) {
      auto* samples = static_cast<float*>(out.mBuffers[b].mData);
      for (UInt32 i = 0; i < frames; ++i) {
        float sum = 0;
        for (UInt32 n = 0; n < inputCount; ++n) {
          sum += inputs[n] != nullptr ? static_cast<const float*>(inputs[n]->mBuffers[b].mData)[i] : 0.0F;
        }
        samples[i] = sum * gain;
      }
    }
    return noErr;
  }
  float Gain() {
    AudioUnitParameterValue gain = 0;
    Globals()->GetParameter(0, gain);
    return gain;
  }
  int processCalls = 0;
};

AudioComponent EffectComponent() { return testunits::Component<TestEffect, 'rnd1'>(); }
AudioComponent ThrowingComponent() { return testunits::Component<ThrowingUnit, 'rnd3'>(); }
AudioComponent ProcessingComponent() {
  return testunits::Component<ProcessingUnit, 'rnd6', ausdk::AUBaseProcessAndMultipleLookup>();
}

OSStatus ReadLastRenderError(AudioUnit unit) {
  OSStatus value = 12345;
  UInt32 size = sizeof value;
  const OSStatus status =
      AudioUnitGetProperty(unit, kAudioUnitProperty_LastRenderError, kAudioUnitScope_Global, 0, &value, &size);
  return status == noErr ? value : status;
}

// "  from AU (<handle>): aufx/<subtype>/VnTs, <what> err: <status>"
std::string ErrorLine(AudioUnit unit, const char* subtype, OSStatus err, const char* what = "render") {
  char line[160];
  std::snprintf(line, sizeof line, "  from AU (%p): aufx/%s/VnTs, %s err: %d\n", static_cast<void*>(unit), subtype,
                what, static_cast<int>(err));
  return line;
}

// Records what each render notification saw.
struct NotifyLog {
  std::vector<AudioUnitRenderActionFlags> flags;
  UInt32 bus = 0;
  UInt32 frames = 0;
  Float64 sampleTime = 0;
  AudioBufferList* data = nullptr;
  AudioUnit removeOnPreRender = nullptr;
};

OSStatus RecordNotify(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                      UInt32 frames, AudioBufferList* data) {
  auto* log = static_cast<NotifyLog*>(refCon);
  log->flags.push_back(*flags);
  log->bus = bus;
  log->frames = frames;
  log->sampleTime = time->mSampleTime;
  log->data = data;
  if (log->removeOnPreRender != nullptr && (*flags & kAudioUnitRenderAction_PreRender) != 0) {
    AudioUnitRemoveRenderNotify(log->removeOnPreRender, RecordNotify, refCon);
  }
  return noErr;
}

OSStatus CountNotify(void* refCon, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* /*time*/,
                     UInt32 /*bus*/, UInt32 /*frames*/, AudioBufferList* /*data*/) {
  static_cast<std::atomic<int>*>(refCon)->fetch_add(1, std::memory_order_relaxed);
  return noErr;
}

constexpr AudioUnitRenderActionFlags kPre = kAudioUnitRenderAction_PreRender;
constexpr AudioUnitRenderActionFlags kPost = kAudioUnitRenderAction_PostRender;
constexpr AudioUnitRenderActionFlags kPostError =
    kAudioUnitRenderAction_PostRender | kAudioUnitRenderAction_PostRenderError;

// An initialized effect whose input is fed with `input` (0.5 unless changed).
class RenderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    FeedInput(unit_, &input_);
    ASSERT_EQ(AudioUnitInitialize(unit_), noErr);
  }
  Instance unit_{EffectComponent()};
  float input_ = 0.5F;
};

// ---- argument checks ----

TEST_F(RenderTest, MaximumFramesRenderOneMoreFailsWithTheMessageOncePerSecond) {
  BufferList buffers(2, kMaxFrames + 1);
  EXPECT_EQ(RenderAt(unit_, 0, kMaxFrames, buffers.get()), noErr);
  testsupport::LogCapture capture;
  EXPECT_EQ(RenderAt(unit_, kMaxFrames, kMaxFrames + 1, buffers.get()), kAudioUnitErr_TooManyFramesToProcess);
  EXPECT_EQ(RenderAt(unit_, kMaxFrames, kMaxFrames + 1, buffers.get()), kAudioUnitErr_TooManyFramesToProcess);
  const std::string err = ErrorLine(unit_, "rnd1", kAudioUnitErr_TooManyFramesToProcess);
  EXPECT_EQ(capture.Finish(),
            "kAudioUnitErr_TooManyFramesToProcess : inFramesToProcess=1157, "
            "mMaxFramesPerSlice=1156\n" +
                err + err);
  EXPECT_EQ(UnitFor<TestEffect>(unit_)->renderCalls, 1);
}

TEST(RenderChecks, FixedBlockSizeRendersOnlyTheMaximum) {
  Instance unit(testunits::Component<FixedBlockUnit, 'rnd5'>());
  float input = 1.0F;
  FeedInput(unit, &input);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  BufferList buffers(2, kMaxFrames);
  testsupport::LogCapture capture;
  EXPECT_EQ(RenderAt(unit, 0, 512, buffers.get()), kAudio_ParamError);
  EXPECT_EQ(capture.Finish(), ErrorLine(unit, "rnd5", kAudio_ParamError));
  EXPECT_EQ(RenderAt(unit, 0, kMaxFrames, buffers.get()), noErr);
}

TEST_F(RenderTest, BufferCountAndSizeAreChecked) {
  BufferList mono(1, 64);
  BufferList stereo(2, 128);
  stereo.get()->mBuffers[1].mDataByteSize = 252;
  testsupport::LogCapture capture;
  EXPECT_EQ(RenderAt(unit_, 0, 64, mono.get()), kAudio_ParamError);
  EXPECT_EQ(RenderAt(unit_, 0, 64, stereo.get()), kAudio_ParamError);
  const std::string err = ErrorLine(unit_, "rnd1", kAudio_ParamError);
  EXPECT_EQ(capture.Finish(),
            "ioData.mNumberBuffers=1, ASBD::NumberChannelStreams(output.GetStreamFormat())=2; kAudio_ParamError\n" +
                err +
                "64 frames, 4 bytes/frame, expected 256-byte buffer; ioData.mBuffers[1].mDataByteSize=252; "
                "kAudio_ParamError\n" +
                err);
  EXPECT_EQ(UnitFor<TestEffect>(unit_)->renderCalls, 0);
  // A refused list is left as it came: the longer buffer before the short one is not cut.
  EXPECT_EQ(stereo.get()->mBuffers[0].mDataByteSize, 512U);
}

TEST_F(RenderTest, ChecksRunInOrderUninitializedFirstAndAMissingBusIsRefusedQuietly) {
  BufferList mono(1, 2 * kMaxFrames);
  // The missing bus is found before the buffer count, and refused without the error exit.
  NotifyLog log;
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, RecordNotify, &log), noErr);
  testsupport::LogCapture quiet;
  EXPECT_EQ(RenderAt(unit_, 0, 64, mono.get(), 7), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(quiet.Finish(), "");
  EXPECT_TRUE(log.flags.empty());
  EXPECT_EQ(ReadLastRenderError(unit_), noErr);
  // Too many frames is found before the missing bus and the buffer count. A notification
  // added before any render has run hears of that refusal too.
  EXPECT_EQ(RenderAt(unit_, 0, kMaxFrames + 1, mono.get(), 7), kAudioUnitErr_TooManyFramesToProcess);
  EXPECT_EQ(log.flags, (std::vector<AudioUnitRenderActionFlags>{kPostError}));
  ASSERT_EQ(AudioUnitUninitialize(unit_), noErr);
  testsupport::LogCapture capture;
  EXPECT_EQ(RenderAt(unit_, 0, kMaxFrames + 1, mono.get(), 7), kAudioUnitErr_Uninitialized);
  EXPECT_EQ(capture.Finish(), ErrorLine(unit_, "rnd1", kAudioUnitErr_Uninitialized));
  EXPECT_EQ(UnitFor<TestEffect>(unit_)->renderCalls, 0);
}

// ---- buffer hand-over ----

TEST_F(RenderTest, LongerBuffersAreCutToTheFramesAndNullDataGetsTheUnitsOwnBuffers) {
  BufferList buffers(2, 256);
  ASSERT_EQ(RenderAt(unit_, 0, 128, buffers.get()), noErr);
  ASSERT_EQ(AudioUnitSetParameter(unit_, 0, kAudioUnitScope_Global, 0, 3.0F, 0), noErr);
  BufferList nullData(2, 64, false);
  ASSERT_EQ(RenderAt(unit_, 128, 64, nullData.get()), noErr);
  ausdk::AUOutputElement* output = UnitFor<TestEffect>(unit_)->Output(0);
  for (UInt32 c = 0; c < 2; ++c) {
    EXPECT_EQ(buffers.get()->mBuffers[c].mDataByteSize, 512U);
    EXPECT_FLOAT_EQ(buffers.channel(c)[127], 0.5F);
    EXPECT_FLOAT_EQ(buffers.channel(c)[128], 0.0F);  // only the frames are written
    const AudioBuffer& buffer = nullData.get()->mBuffers[c];
    EXPECT_EQ(buffer.mData, output->GetChannelData(c));
    EXPECT_EQ(buffer.mDataByteSize, 256U);
    ASSERT_NE(buffer.mData, nullptr);
    EXPECT_FLOAT_EQ(static_cast<float*>(buffer.mData)[63], 1.5F);  // the pulled input times the gain
  }
}

TEST_F(RenderTest, SameSampleTimeRendersOnceUntilReset) {
  auto* effect = UnitFor<TestEffect>(unit_);
  BufferList buffers(2, 64);
  ASSERT_EQ(RenderAt(unit_, 1000, 64, buffers.get()), noErr);
  input_ = 0.25F;
  BufferList again(2, 64);
  EXPECT_EQ(RenderAt(unit_, 1000, 64, again.get()), noErr);
  EXPECT_EQ(effect->renderCalls, 1);
  EXPECT_FLOAT_EQ(again.channel(0)[0], 0.0F);  // nothing was rendered into the caller's buffers
  EXPECT_EQ(RenderAt(unit_, 1064, 64, again.get()), noErr);
  EXPECT_EQ(effect->renderCalls, 2);
  EXPECT_FLOAT_EQ(again.channel(0)[0], 0.25F);
  ASSERT_EQ(AudioUnitReset(unit_, kAudioUnitScope_Global, 0), noErr);
  EXPECT_EQ(RenderAt(unit_, 1064, 64, again.get()), noErr);
  EXPECT_EQ(effect->renderCalls, 3);
}

TEST(RenderBuffers, SeveralOutputsCopyFromTheirOwnMemory) {
  Instance unit(testunits::Component<testunits::MultiBusUnit, 'rnd2'>());
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  BufferList bus1(2, 32);
  BufferList bus2(2, 32);
  ASSERT_EQ(RenderAt(unit, 0, 32, bus1.get(), 1), noErr);
  ASSERT_EQ(RenderAt(unit, 32, 32, bus2.get(), 2), noErr);
  EXPECT_FLOAT_EQ(bus1.channel(1)[31], 2.0F);
  EXPECT_FLOAT_EQ(bus2.channel(1)[31], 3.0F);
  // Same sample time: not rendered again, but bus 1's memory from that render is handed over.
  bus1.channel(1)[31] = -1.0F;
  ASSERT_EQ(RenderAt(unit, 32, 32, bus1.get(), 1), noErr);
  EXPECT_EQ(UnitFor<TestEffect>(unit)->renderCalls, 2);
  EXPECT_FLOAT_EQ(bus1.channel(1)[31], 2.0F);
  EXPECT_EQ(bus1.get()->mBuffers[1].mData, bus1.channel(1));
}

TEST_F(RenderTest, OutputThatDoesNotAllocateCannotServeNullData) {
  ASSERT_EQ(AudioUnitUninitialize(unit_), noErr);
  ASSERT_EQ(testunits::Set(unit_, kAudioUnitProperty_ShouldAllocateBuffer, kAudioUnitScope_Output, 0, UInt32{0}),
            noErr);
  ASSERT_EQ(AudioUnitInitialize(unit_), noErr);
  BufferList withData(2, 64);
  EXPECT_EQ(RenderAt(unit_, 0, 64, withData.get()), noErr);
  EXPECT_FLOAT_EQ(withData.channel(0)[10], 0.5F);
  BufferList noData(2, 64, false);
  testsupport::LogCapture capture;
  EXPECT_EQ(RenderAt(unit_, 64, 64, noData.get()), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(capture.Finish(), "");
}

// ---- input ----

TEST(RenderInput, NoInputIsNoConnectionWithoutErrorLine) {
  Instance unit(EffectComponent());
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  BufferList buffers(2, 64);
  testsupport::LogCapture capture;
  EXPECT_EQ(RenderAt(unit, 0, 64, buffers.get()), kAudioUnitErr_NoConnection);
  EXPECT_EQ(capture.Finish(), "");
  EXPECT_EQ(ReadLastRenderError(unit), kAudioUnitErr_NoConnection);
}

TEST(RenderInput, InputPulledFromAConnectedUnitInItsFormat) {
  Instance source(EffectComponent());
  Instance destination(EffectComponent());
  float input = 0.5F;
  FeedInput(source, &input);
  ASSERT_EQ(testunits::Set(source, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0,
                           testunits::FloatFormat(48000.0, 2)),
            noErr);
  ASSERT_EQ(AudioUnitSetParameter(source, 0, kAudioUnitScope_Global, 0, 2.0F, 0), noErr);
  ASSERT_EQ(AudioUnitSetParameter(destination, 0, kAudioUnitScope_Global, 0, 3.0F, 0), noErr);
  const AudioUnitConnection connection{source, 0, 0};
  ASSERT_EQ(testunits::Set(destination, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, 0, connection),
            noErr);
  EXPECT_EQ(
      testunits::Value<AudioStreamBasicDescription>(destination, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input)
          .mSampleRate,
      48000.0);
  ASSERT_EQ(AudioUnitInitialize(source), noErr);
  ASSERT_EQ(AudioUnitInitialize(destination), noErr);
  BufferList buffers(2, 64);
  ASSERT_EQ(RenderAt(destination, 0, 64, buffers.get()), noErr);
  EXPECT_FLOAT_EQ(buffers.channel(0)[0], 3.0F);
  EXPECT_FLOAT_EQ(buffers.channel(1)[63], 3.0F);
}

// ---- notifications ----

TEST_F(RenderTest, FailingRendersStillCallPostRenderWithTheErrorFlag) {
  NotifyLog log;
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, RecordNotify, &log), noErr);
  BufferList buffers(2, 64);
  ASSERT_EQ(RenderAt(unit_, 0, 64, buffers.get()), noErr);
  // Failed by the unit: both phases. Failed by a check: only the post-render call.
  UnitFor<TestEffect>(unit_)->renderStatus = -7;
  EXPECT_EQ(RenderAt(unit_, 64, 64, buffers.get()), -7);
  BufferList mono(1, 64);
  EXPECT_EQ(RenderAt(unit_, 128, 64, mono.get()), kAudio_ParamError);
  EXPECT_EQ(log.flags, (std::vector<AudioUnitRenderActionFlags>{kPre, kPost, kPre, kPostError, kPostError}));
}

TEST_F(RenderTest, NotificationsComeBeforeAndAfterWithTheRenderArgumentsOncePerEntryUntilRemoved) {
  NotifyLog log;
  NotifyLog other;
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, RecordNotify, &log), noErr);
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, RecordNotify, &log), noErr);  // the same entry again
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, RecordNotify, &other), noErr);
  const testunits::DirectUnit<ausdk::AUBaseLookup, TestEffect> direct(unit_);
  EXPECT_EQ(direct.Call(kAudioUnitAddRenderNotifySelect,
                        testunits::Absent<OSStatus(void*, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32,
                                                   UInt32, AudioBufferList*)>(),
                        static_cast<void*>(&log)),
            kAudio_ParamError);
  BufferList buffers(2, 64);
  ASSERT_EQ(RenderAt(unit_, 640, 48, buffers.get()), noErr);
  EXPECT_EQ(log.flags, (std::vector<AudioUnitRenderActionFlags>{kPre, kPost}));
  EXPECT_EQ(other.flags, (std::vector<AudioUnitRenderActionFlags>{kPre, kPost}));
  EXPECT_EQ(std::make_tuple(log.bus, log.frames, log.sampleTime, log.data),
            std::make_tuple(0U, 48U, 640.0, buffers.get()));
  // One removal takes away the single active entry; one during a render takes effect at the next.
  ASSERT_EQ(AudioUnitRemoveRenderNotify(unit_, RecordNotify, &log), noErr);
  other.removeOnPreRender = unit_;
  ASSERT_EQ(RenderAt(unit_, 64, 48, buffers.get()), noErr);
  ASSERT_EQ(RenderAt(unit_, 128, 48, buffers.get()), noErr);
  EXPECT_EQ(log.flags.size(), 2U);
  EXPECT_EQ(other.flags.size(), 4U);
}

TEST_F(RenderTest, NotificationsChangedFromAnotherThreadWhileRendering) {
  std::atomic<int> kept{0};
  std::atomic<int> churned{0};
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, CountNotify, &kept), noErr);
  std::atomic<bool> done{false};
  std::thread renderer([&] {
    BufferList buffers(2, 16);
    for (int i = 0; i < 2000; ++i) {
      RenderAt(unit_, 16.0 * i, 16, buffers.get());
    }
    done = true;
  });
  while (!done) {
    AudioUnitAddRenderNotify(unit_, CountNotify, &churned);
    AudioUnitRemoveRenderNotify(unit_, CountNotify, &churned);
  }
  renderer.join();
  EXPECT_EQ(kept, 4000);
  const int churnedBefore = churned;
  BufferList buffers(2, 16);
  ASSERT_EQ(RenderAt(unit_, 1e6, 16, buffers.get()), noErr);
  EXPECT_EQ(churned, churnedBefore);  // the last request was a removal
}

// ---- last render error and exceptions ----

TEST_F(RenderTest, LastRenderErrorKeepsTheFirstErrorUntilRead) {
  std::vector<AudioUnitPropertyID> announced;
  const auto listener = [](void* refCon, AudioUnit, AudioUnitPropertyID id, AudioUnitScope scope,
                           AudioUnitElement element) {
    if (scope == kAudioUnitScope_Global && element == 0) {
      static_cast<std::vector<AudioUnitPropertyID>*>(refCon)->push_back(id);
    }
  };
  ASSERT_EQ(AudioUnitAddPropertyListener(unit_, kAudioUnitProperty_LastRenderError, listener, &announced), noErr);
  BufferList buffers(2, 64);
  EXPECT_EQ(RenderAt(unit_, 0, kMaxFrames + 1, buffers.get()), kAudioUnitErr_TooManyFramesToProcess);
  EXPECT_EQ(RenderAt(unit_, 0, 64, buffers.get(), 3), kAudioUnitErr_InvalidElement);
  UnitFor<TestEffect>(unit_)->renderStatus = -7;
  EXPECT_EQ(RenderAt(unit_, 0, 64, buffers.get()), -7);
  EXPECT_EQ(announced.size(), 1U);
  EXPECT_EQ(ReadLastRenderError(unit_), kAudioUnitErr_TooManyFramesToProcess);
  EXPECT_EQ(ReadLastRenderError(unit_), noErr);
  EXPECT_EQ(RenderAt(unit_, 64, 64, buffers.get()), -7);
  EXPECT_EQ(announced.size(), 2U);
  EXPECT_EQ(ReadLastRenderError(unit_), -7);
}

TEST(RenderErrors, ExceptionsInRenderLeaveThroughTheErrorExit) {
  Instance unit(ThrowingComponent());
  float input = 1.0F;
  FeedInput(unit, &input);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  auto* throwing = UnitFor<ThrowingUnit>(unit);
  NotifyLog log;
  ASSERT_EQ(AudioUnitAddRenderNotify(unit, RecordNotify, &log), noErr);
  BufferList buffers(2, 64);
  const std::pair<ThrowingUnit::What, OSStatus> cases[] = {
      {ThrowingUnit::What::OSStatusValue, -12345},
      {ThrowingUnit::What::AUException, kAudioUnitErr_FailedInitialization},
      {ThrowingUnit::What::Other, -1},
  };
  Float64 time = 0;
  for (const auto& [what, status] : cases) {
    throwing->throwInRender = what;
    log.flags.clear();
    testsupport::LogCapture capture;
    EXPECT_EQ(RenderAt(unit, time += 64, 64, buffers.get()), status);
    EXPECT_EQ(capture.Finish(), ErrorLine(unit, "rnd3", status));
    EXPECT_EQ(log.flags, (std::vector<AudioUnitRenderActionFlags>{kPre, kPostError}));
  }
  EXPECT_EQ(ReadLastRenderError(unit), -12345);
}

// ---- render thread ----

TEST_F(RenderTest, InRenderThreadOnlyOnTheThreadThatRendered) {
  auto* effect = UnitFor<TestEffect>(unit_);
  const auto renderOnThread = [&](Float64 time) {
    bool inRenderThread = false;
    std::thread([&] {
      BufferList buffers(2, 16);
      RenderAt(unit_, time, 16, buffers.get());
      inRenderThread = effect->InRenderThread();
    }).join();
    return inRenderThread;
  };
  EXPECT_FALSE(renderOnThread(0));
  effect->SetWantsRenderThreadID(true);
  EXPECT_TRUE(renderOnThread(16));
  EXPECT_FALSE(effect->InRenderThread());
  effect->SetWantsRenderThreadID(false);
  EXPECT_FALSE(renderOnThread(32));
}

TEST_F(RenderTest, NoHeapAllocationOnTheRenderPathAfterTheFirstRender) {
#ifdef RENDER_TEST_SANITIZED
  GTEST_SKIP() << "sanitizers replace operator new";
#else
  std::atomic<int> calls{0};
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, CountNotify, &calls), noErr);
  BufferList buffers(2, 256);
  BufferList nullData(2, 256, false);
  BufferList mono(1, 256);
  ASSERT_EQ(RenderAt(unit_, 0, 256, buffers.get()), noErr);
  // Notification changes recycle their nodes once enough exist.
  ASSERT_EQ(AudioUnitRemoveRenderNotify(unit_, CountNotify, &calls), noErr);
  ASSERT_EQ(AudioUnitAddRenderNotify(unit_, CountNotify, &calls), noErr);
  // The failing renders below log, which must not allocate either: no log capture
  // (it would), their lines are only kept off the output.
  testsupport::CaptureStderr quiet;
  tAllocations = 0;
  tCountAllocations = true;
  for (int i = 1; i <= 50; ++i) {
    nullData.get()->mBuffers[0].mData = nullptr;  // the last render handed out the unit's pointers
    nullData.get()->mBuffers[1].mData = nullptr;
    RenderAt(unit_, 256.0 * i, 256, (i % 2) != 0 ? buffers.get() : nullData.get());
    RenderAt(unit_, 256.0 * i, kMaxFrames + 1, buffers.get());
    RenderAt(unit_, 256.0 * i, 256, mono.get());
  }
  tCountAllocations = false;
  quiet.Finish();
  EXPECT_EQ(tAllocations, 0);
  EXPECT_EQ(calls, 2 + 50 * 4);
#endif
}

// ---- scheduled parameters ----

AudioUnitParameterEvent Immediate(UInt32 offset, float value) {
  AudioUnitParameterEvent event{};
  event.scope = kAudioUnitScope_Global;
  event.parameter = 0;
  event.eventType = kParameterEvent_Immediate;
  event.eventValues.immediate.bufferOffset = offset;
  event.eventValues.immediate.value = value;
  return event;
}

AudioUnitParameterEvent Ramp(SInt32 start, UInt32 duration, float from, float to) {
  AudioUnitParameterEvent event{};
  event.scope = kAudioUnitScope_Global;
  event.parameter = 0;
  event.eventType = kParameterEvent_Ramped;
  event.eventValues.ramp.startBufferOffset = start;
  event.eventValues.ramp.durationInFrames = duration;
  event.eventValues.ramp.startValue = from;
  event.eventValues.ramp.endValue = to;
  return event;
}

std::string Slices(const SchedulingUnit& unit) {
  std::ostringstream text;
  for (const SchedulingUnit::Slice& slice : unit.slices) {
    text << slice.start << "+" << slice.frames << "/" << slice.total << "@" << slice.gain << " ";
  }
  return text.str();
}

class ScheduleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(AudioUnitInitialize(unit_), noErr);
    scheduler_ = UnitFor<SchedulingUnit>(unit_);
  }
  Instance unit_{testunits::Component<SchedulingUnit, 'rnd4'>()};
  SchedulingUnit* scheduler_ = nullptr;
  BufferList buffers_{2, 256};
};

TEST_F(ScheduleTest, ImmediateEventsSplitTheRenderAtTheirOffsets) {
  // Given out of order: both are applied at once in that order, and again each in its own slice.
  const AudioUnitParameterEvent events[] = {Immediate(128, 3.0F), Immediate(64, 2.0F)};
  ASSERT_EQ(AudioUnitScheduleParameters(unit_, events, 2), noErr);
  AudioUnitParameterValue now = 0;
  ASSERT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Global, 0, &now), noErr);
  EXPECT_FLOAT_EQ(now, 2.0F);
  ASSERT_EQ(RenderAt(unit_, 0, 256, buffers_.get()), noErr);
  EXPECT_EQ(Slices(*scheduler_), "0+64/256@2 64+64/256@2 128+128/256@3 ");
  // Events belong to one render only.
  scheduler_->slices.clear();
  ASSERT_EQ(RenderAt(unit_, 256, 256, buffers_.get()), noErr);
  EXPECT_EQ(Slices(*scheduler_), "0+256/256@3 ");
}

TEST_F(ScheduleTest, RampsEndSlicesAndAreIgnoredWithAWarningByPlainElements) {
  const AudioUnitParameterEvent events[] = {Ramp(32, 64, 0.0F, 1.0F), Immediate(160, 4.0F)};
  ASSERT_EQ(AudioUnitScheduleParameters(unit_, events, 2), noErr);
  testsupport::LogCapture capture;
  ASSERT_EQ(RenderAt(unit_, 0, 256, buffers_.get()), noErr);
  char warning[160];
  std::snprintf(warning, sizeof warning,
                "Warning: AU (%p): aufx/rnd4/VnTs was passed a ramped parameter event but does not implement them. "
                "Ignoring.\n",
                static_cast<void*>(unit_.get()));
  EXPECT_EQ(capture.Finish(), warning);  // only the slice inside the ramp
  EXPECT_EQ(Slices(*scheduler_), "0+32/256@4 32+64/256@4 96+64/256@4 160+96/256@4 ");
}

TEST_F(ScheduleTest, SliceErrorEndsTheRender) {
  const AudioUnitParameterEvent events[] = {Immediate(100, 2.0F)};
  ASSERT_EQ(AudioUnitScheduleParameters(unit_, events, 1), noErr);
  scheduler_->sliceStatus = -9;
  EXPECT_EQ(RenderAt(unit_, 0, 256, buffers_.get()), -9);
  EXPECT_EQ(Slices(*scheduler_), "0+100/256@2 ");
}

// A parameter comes into being only before initialization: on the render thread
// an insertion would allocate and move the array under lock-free readers.
TEST_F(ScheduleTest, UnknownParameterIsRefusedOnTheRenderThreadAsADirectSetRefusesIt) {
  AudioUnitParameterEvent unknown = Immediate(64, 5.0F);
  unknown.parameter = 7;
  char warning[160];
  std::snprintf(warning, sizeof warning,
                "Warning: AU (%p): aufx/rnd4/VnTs SetParameter for undefined param ID 7 while initialized. Ignoring.\n",
                static_cast<void*>(unit_.get()));
  testsupport::LogCapture atSchedule;
  ASSERT_EQ(AudioUnitScheduleParameters(unit_, &unknown, 1), noErr);
  EXPECT_EQ(atSchedule.Finish(), warning);

  testsupport::LogCapture atRender;
  ASSERT_EQ(RenderAt(unit_, 0, 256, buffers_.get()), noErr);
  EXPECT_EQ(atRender.Finish(), warning);
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitGetParameter(unit_, 7, kAudioUnitScope_Global, 0, &value), kAudioUnitErr_InvalidParameter);
  UInt32 size = 0;
  Boolean writable = false;
  ASSERT_EQ(
      AudioUnitGetPropertyInfo(unit_, kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, &size, &writable),
      noErr);
  EXPECT_EQ(size, sizeof(AudioUnitParameterID));  // still only the gain
  EXPECT_EQ(Slices(*scheduler_), "0+64/256@1 64+192/256@1 ");
}

TEST_F(RenderTest, UnitThatCannotScheduleAppliesImmediateEventsAtOnce) {
  const AudioUnitParameterEvent events[] = {Immediate(32, 2.0F), Ramp(0, 64, 0.0F, 4.0F)};
  ASSERT_EQ(AudioUnitScheduleParameters(unit_, events, 2), noErr);
  EXPECT_TRUE(UnitFor<TestEffect>(unit_)->ParamEventList().empty());
  BufferList buffers(2, 64);
  ASSERT_EQ(RenderAt(unit_, 0, 64, buffers.get()), noErr);
  EXPECT_FLOAT_EQ(buffers.channel(0)[0], 1.0F);
  EXPECT_FLOAT_EQ(buffers.channel(0)[63], 1.0F);
}

// ---- process paths ----

class ProcessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(AudioUnitSetParameter(unit_, 0, kAudioUnitScope_Global, 0, 2.0F, 0), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit_), noErr);
    processor_ = UnitFor<ProcessingUnit>(unit_);
  }
  OSStatus Process(Float64 time, UInt32 frames, AudioBufferList* data, AudioUnitRenderActionFlags flags = 0) {
    const AudioTimeStamp stamp = SampleTime(time);
    return AudioUnitProcess(unit_, &flags, &stamp, frames, data);
  }
  Instance unit_{ProcessingComponent()};
  ProcessingUnit* processor_ = nullptr;
};

TEST_F(ProcessTest, ProcessesInPlaceOncePerSampleTime) {
  BufferList buffers(2, 64);
  buffers.channel(0)[5] = 1.5F;
  ASSERT_EQ(Process(0, 64, buffers.get()), noErr);
  ASSERT_EQ(Process(0, 64, buffers.get()), noErr);
  EXPECT_FLOAT_EQ(buffers.channel(0)[5], 3.0F);
  EXPECT_EQ(processor_->processCalls, 1);
}

TEST_F(ProcessTest, ChecksAndTheirMessages) {
  BufferList mono(1, 64);
  BufferList shortBuffers(2, 64);
  shortBuffers.get()->mBuffers[0].mDataByteSize = 100;
  testsupport::LogCapture capture;
  EXPECT_EQ(Process(0, kMaxFrames + 1, mono.get()), kAudioUnitErr_TooManyFramesToProcess);
  EXPECT_EQ(Process(0, 64, mono.get()), kAudio_ParamError);
  EXPECT_EQ(Process(0, 64, shortBuffers.get()), kAudio_ParamError);
  EXPECT_EQ(capture.Finish(),
            ErrorLine(unit_, "rnd6", kAudioUnitErr_TooManyFramesToProcess, "process") +
                "ioData.mNumberBuffers=1, ASBD::NumberChannelStreams(input.GetStreamFormat())=2; kAudio_ParamError\n" +
                ErrorLine(unit_, "rnd6", kAudio_ParamError, "process") +
                "64 frames, 4 bytes/frame, expected 256-byte buffer; ioData.mBuffers[0].mDataByteSize=100; "
                "kAudio_ParamError\n" +
                ErrorLine(unit_, "rnd6", kAudio_ParamError, "process"));
  EXPECT_EQ(ReadLastRenderError(unit_), kAudioUnitErr_TooManyFramesToProcess);
  EXPECT_EQ(processor_->processCalls, 0);
  // The host may say that it checked the arguments itself.
  mono.channel(0)[0] = 1.0F;
  EXPECT_EQ(Process(0, 64, mono.get(), kAudioUnitRenderAction_DoNotCheckRenderArgs), noErr);
  EXPECT_FLOAT_EQ(mono.channel(0)[0], 2.0F);
}

TEST(ProcessChecks, UninitializedAndUnimplemented) {
  Instance unit(testunits::Component<TestEffect, 'rnd7', ausdk::AUBaseProcessAndMultipleLookup>());
  BufferList buffers(2, 64);
  const AudioTimeStamp stamp = SampleTime(0);
  testsupport::LogCapture capture;
  AudioUnitRenderActionFlags flags = 0;
  EXPECT_EQ(AudioUnitProcess(unit, &flags, &stamp, 64, buffers.get()), kAudioUnitErr_Uninitialized);
  EXPECT_EQ(capture.Finish(), ErrorLine(unit, "rnd7", kAudioUnitErr_Uninitialized, "process"));
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_EQ(AudioUnitProcess(unit, &flags, &stamp, 64, buffers.get()), kAudio_UnimplementedError);
  AudioBufferList* outputs[] = {buffers.get()};
  const AudioBufferList** noInputs = testunits::Absent<const AudioBufferList*>();
  EXPECT_EQ(AudioUnitProcessMultiple(unit, &flags, &stamp, 64, 0, noInputs, 1, outputs), noErr)
      << "same sample time: nothing to process";
  const AudioTimeStamp later = SampleTime(64);
  EXPECT_EQ(AudioUnitProcessMultiple(unit, &flags, &later, 64, 0, noInputs, 1, outputs), kAudio_UnimplementedError);
}

TEST_F(ProcessTest, ProcessMultipleChecksEveryListAndSkipsNullOnes) {
  BufferList first(2, 64);
  BufferList second(2, 64);
  BufferList out(2, 128);
  first.channel(1)[3] = 1.0F;
  second.channel(1)[3] = 0.25F;
  const AudioBufferList* inputs[] = {first.get(), second.get()};
  AudioBufferList* outputs[] = {out.get(), nullptr};
  const AudioTimeStamp stamp = SampleTime(0);
  AudioUnitRenderActionFlags flags = 0;
  ASSERT_EQ(AudioUnitProcessMultiple(unit_, &flags, &stamp, 64, 2, inputs, 2, outputs), noErr);
  EXPECT_FLOAT_EQ(out.channel(1)[3], 2.5F);
  EXPECT_EQ(out.get()->mBuffers[0].mDataByteSize, 256U);  // cut down to the frames

  BufferList mono(1, 64);
  const AudioBufferList* badInputs[] = {nullptr, mono.get()};
  BufferList shortOut(2, 64);
  shortOut.get()->mBuffers[1].mDataByteSize = 8;
  AudioBufferList* badOutputs[] = {shortOut.get()};
  const AudioTimeStamp later = SampleTime(64);
  testsupport::LogCapture capture;
  EXPECT_EQ(AudioUnitProcessMultiple(unit_, &flags, &later, 64, 2, badInputs, 1, outputs), kAudio_ParamError);
  EXPECT_EQ(AudioUnitProcessMultiple(unit_, &flags, &later, 64, 2, inputs, 1, badOutputs), kAudio_ParamError);
  EXPECT_EQ(capture.Finish(),
            "inInputBufferLists[1]->mNumberBuffers=1, ASBD::NumberChannelStreams(input.GetStreamFormat())=2; "
            "kAudio_ParamError\n" +
                ErrorLine(unit_, "rnd6", kAudio_ParamError, "processmultiple") +
                "64 frames, 4 bytes/frame, expected 256-byte buffer; ioOutputBufferLists[0]->mBuffers[1]."
                "mDataByteSize=8; kAudio_ParamError\n" +
                ErrorLine(unit_, "rnd6", kAudio_ParamError, "processmultiple"));
  EXPECT_EQ(processor_->processCalls, 1);
}

}  // namespace
