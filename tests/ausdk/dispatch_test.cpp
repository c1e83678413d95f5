// The component boundary: which selectors each lookup serves, the method
// functions' argument checks, the instance lock, and every exception turned
// into a status.
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <thread>

#include "CaptureStderr.h"
#include "TestUnits.h"

namespace {

using testunits::Instance;
using testunits::TestEffect;
using testunits::ThrowingUnit;

std::set<int> Served(AudioComponentMethod (*lookup)(SInt16)) {
  std::set<int> served;
  for (int selector = -2; selector < 1024; ++selector) {
    if (lookup(static_cast<SInt16>(selector)) != nullptr) {
      served.insert(selector);
    }
  }
  return served;
}

const std::set<int> kBase = {1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 14, 15, 16, 17, 18};

std::set<int> With(std::set<int> base, std::initializer_list<int> more) {
  base.insert(more);
  return base;
}

TEST(DispatchLookups, EachLookupServesItsSelectorsAndNoOthers) {
  EXPECT_EQ(Served(ausdk::AUBaseLookup::Lookup), kBase);
  EXPECT_EQ(Served(ausdk::AUOutputLookup::Lookup), With(kBase, {513, 514}));
  EXPECT_EQ(Served(ausdk::AUComplexOutputLookup::Lookup), With(kBase, {19, 513, 514}));
  EXPECT_EQ(Served(ausdk::AUBaseProcessLookup::Lookup), With(kBase, {20}));
  EXPECT_EQ(Served(ausdk::AUBaseProcessMultipleLookup::Lookup), With(kBase, {21}));
  EXPECT_EQ(Served(ausdk::AUBaseProcessAndMultipleLookup::Lookup), With(kBase, {20, 21}));
  EXPECT_EQ(Served(ausdk::AUMIDILookup::Lookup), With(kBase, {257, 258, 263}));
  EXPECT_EQ(Served(ausdk::AUMIDIProcessLookup::Lookup), With(kBase, {20, 257, 258, 263}));
  EXPECT_EQ(Served(ausdk::AUMusicLookup::Lookup), With(kBase, {257, 258, 259, 260, 261, 262, 263}));
}

TEST(DispatchLookups, MidiComponentAnswersMidiButNotProcessOrNotes) {
  Instance unit(testunits::Register<ausdk::AUMIDILookup, TestEffect>(kAudioUnitType_Effect, 'dsp1'));
  ASSERT_EQ(unit.status(), noErr);
  // The base's MIDI defaults are unimplemented; what matters is that they are reached.
  EXPECT_EQ(MusicDeviceMIDIEvent(unit, 0x90, 60, 100, 0), kAudio_UnimplementedError);
  const UInt8 sysex[] = {0xF0, 0x7E, 0xF7};
  EXPECT_EQ(MusicDeviceSysEx(unit, sysex, sizeof sysex), kAudio_UnimplementedError);
  EXPECT_EQ(MusicDeviceMIDIEventList(unit, 0, nullptr), kAudio_ParamError);
  MIDIEventList list{};
  list.protocol = kMIDIProtocol_1_0;
  EXPECT_EQ(MusicDeviceMIDIEventList(unit, 0, &list), kAudio_UnimplementedError);

  AudioUnitRenderActionFlags flags = 0;
  AudioTimeStamp time = testunits::SampleTime(0);
  testunits::BufferList buffers(2, 16);
  EXPECT_EQ(AudioUnitProcess(unit, &flags, &time, 16, buffers.get()), badComponentSelector);
  EXPECT_EQ(AudioUnitProcessMultiple(unit, &flags, &time, 16, 0, nullptr, 0, nullptr), badComponentSelector);
  MusicDeviceNoteParams params{2, 60.0F, 100.0F, {}};
  NoteInstanceID note = 0;
  EXPECT_EQ(MusicDeviceStartNote(unit, 0, 0, &note, 0, &params), badComponentSelector);
  EXPECT_EQ(MusicDeviceStopNote(unit, 0, note, 0), badComponentSelector);
  EXPECT_EQ(AudioOutputUnitStart(unit), badComponentSelector);
}

TEST(DispatchLookups, MusicLookupServesInstrumentsAndChecksNoteParameters) {
  Instance unit(testunits::Register<ausdk::AUMusicLookup, TestEffect>(kAudioUnitType_MusicDevice, 'dsp2'));
  ASSERT_EQ(unit.status(), noErr);
  NoteInstanceID note = 0;
  EXPECT_EQ(MusicDeviceStartNote(unit, 0, 0, &note, 0, nullptr), kAudio_ParamError);
  MusicDeviceNoteParams params{2, 60.0F, 100.0F, {}};
  EXPECT_EQ(MusicDeviceStartNote(unit, 0, 0, &note, 0, &params), kAudio_UnimplementedError);
  EXPECT_EQ(MusicDeviceStopNote(unit, 0, note, 0), kAudio_UnimplementedError);
}

TEST(DispatchLookups, OutputLookupRoutesStartAndStop) {
  Instance unit(testunits::Register<ausdk::AUOutputLookup, TestEffect>(kAudioUnitType_Output, 'dsp3'));
  ASSERT_EQ(unit.status(), noErr);
  EXPECT_EQ(AudioOutputUnitStart(unit), kAudio_UnimplementedError);
  EXPECT_EQ(AudioOutputUnitStop(unit), kAudio_UnimplementedError);
}

class DispatchChecks : public ::testing::Test {
 protected:
  DispatchChecks() : unit_(testunits::Register<ausdk::AUMIDILookup, TestEffect>(kAudioUnitType_Effect, 'dsp4')) {}
  Instance unit_;
};

TEST_F(DispatchChecks, GetParameterNeedsAnOutValue) {
  EXPECT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Global, 0, nullptr), kAudio_ParamError);
}

TEST_F(DispatchChecks, NonFiniteParameterValuesAreRefusedAndChangeNothing) {
  for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity()}) {
    EXPECT_EQ(AudioUnitSetParameter(unit_, 0, kAudioUnitScope_Global, 0, bad, 0), kAudioUnitErr_InvalidParameterValue);
  }
  AudioUnitParameterValue value = 0;
  ASSERT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 1.0F);
}

TEST_F(DispatchChecks, OneBadScheduledValueRefusesTheWholeBatch) {
  AudioUnitParameterEvent events[2] = {};
  events[0].scope = kAudioUnitScope_Global;
  events[0].parameter = 0;
  events[0].eventType = kParameterEvent_Immediate;
  events[0].eventValues.immediate.value = 0.25F;
  events[1] = events[0];
  events[1].eventType = kParameterEvent_Ramped;
  events[1].eventValues.ramp.startValue = 0.5F;
  events[1].eventValues.ramp.endValue = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(AudioUnitScheduleParameters(unit_, events, 2), kAudioUnitErr_InvalidParameterValue);
  AudioUnitParameterValue value = 0;
  ASSERT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 1.0F);
}

TEST_F(DispatchChecks, RenderNeedsTimeStampAndBuffers) {
  AudioUnitRenderActionFlags flags = 0;
  AudioTimeStamp time = testunits::SampleTime(0);
  testunits::BufferList buffers(2, 16);
  EXPECT_EQ(AudioUnitRender(unit_, &flags, nullptr, 0, 16, buffers.get()), kAudio_ParamError);
  EXPECT_EQ(AudioUnitRender(unit_, &flags, &time, 0, 16, nullptr), kAudio_ParamError);
}

TEST_F(DispatchChecks, GetPropertySizePointerChecks) {
  UInt32 value = 0;
  testsupport::CaptureStderr capture;
  EXPECT_EQ(
      AudioUnitGetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &value, nullptr),
      kAudio_ParamError);
  UInt32 size = 0;
  EXPECT_EQ(
      AudioUnitGetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &value, &size),
      kAudio_ParamError);
  EXPECT_EQ(capture.Finish(),
            "AudioUnitGetProperty: null size pointer\n"
            "AudioUnitGetProperty: *ioDataSize == 0 on entry\n");
}

TEST_F(DispatchChecks, SetPropertyDataAndSizeMustAgree) {
  testsupport::CaptureStderr capture;
  EXPECT_EQ(
      AudioUnitSetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, nullptr, 4),
      kAudio_ParamError);
  const UInt32 frames = 512;
  EXPECT_EQ(
      AudioUnitSetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &frames, 0),
      kAudio_ParamError);
  EXPECT_EQ(capture.Finish(),
            "AudioUnitSetProperty: inData == NULL\n"
            "AudioUnitSetProperty: inDataSize == 0\n");
}

TEST_F(DispatchChecks, InitializeAndUninitializeReachTheUnitOnce) {
  auto* effect = testunits::UnitFor<TestEffect>(unit_);
  ASSERT_NE(effect, nullptr);
  EXPECT_EQ(AudioUnitInitialize(unit_), noErr);
  EXPECT_EQ(AudioUnitInitialize(unit_), noErr);
  EXPECT_EQ(effect->initializeCalls.load(), 1);
  EXPECT_EQ(AudioUnitUninitialize(unit_), noErr);
  EXPECT_EQ(AudioUnitUninitialize(unit_), noErr);
  EXPECT_EQ(effect->cleanupCalls.load(), 1);
}

TEST_F(DispatchChecks, FailedInitializeReturnsItsStatusAndLeavesTheUnitUninitialized) {
  auto* effect = testunits::UnitFor<TestEffect>(unit_);
  effect->initializeStatus = kAudioUnitErr_FormatNotSupported;
  EXPECT_EQ(AudioUnitInitialize(unit_), kAudioUnitErr_FormatNotSupported);
  EXPECT_FALSE(effect->IsInitialized());
  effect->initializeStatus = noErr;
  EXPECT_EQ(AudioUnitInitialize(unit_), noErr);
  EXPECT_TRUE(effect->IsInitialized());
}

// Counts cleanups across instances, since the object is gone after disposal.
class CleanupCountingUnit : public TestEffect {
 public:
  using TestEffect::TestEffect;
  void Cleanup() override { ++cleanups; }
  static inline std::atomic<int> cleanups{0};
};

TEST(DispatchDisposal, DisposingAnInitializedUnitCleansItUpOnce) {
  AudioComponent component =
      testunits::Register<ausdk::AUBaseLookup, CleanupCountingUnit>(kAudioUnitType_Effect, 'dsp5');
  {
    Instance unit(component);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  }
  EXPECT_EQ(CleanupCountingUnit::cleanups.load(), 1);
  {
    Instance unit(component);  // never initialized: nothing to clean up
  }
  EXPECT_EQ(CleanupCountingUnit::cleanups.load(), 1);
}

TEST(DispatchLogging, LoggingStringNamesInstanceAndComponent) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, TestEffect>(kAudioUnitType_Effect, 'lg\x01g'));
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  ASSERT_NE(effect, nullptr);
  char expected[128];
  std::snprintf(expected, sizeof expected, "AU (%p): aufx/lg.g/VnTs", static_cast<void*>(unit.get()));
  EXPECT_EQ(effect->GetLoggingString(), expected);
  const AudioComponentDescription description = effect->GetComponentDescription();
  EXPECT_EQ(description.componentSubType, static_cast<OSType>('lg\x01g'));
}

TEST(DispatchExceptions, ThrowLogsAndCarriesItsStatus) {
  testsupport::CaptureStderr capture;
  const OSStatus status = ausdk::CatchExceptions([]() -> OSStatus { ausdk::Throw(kAudioUnitErr_InvalidElement); });
  const OSStatus quiet = ausdk::CatchExceptions([]() -> OSStatus { ausdk::ThrowQuiet(kAudioUnitErr_InvalidScope); });
  EXPECT_EQ(status, kAudioUnitErr_InvalidElement);
  EXPECT_EQ(quiet, kAudioUnitErr_InvalidScope);
  EXPECT_EQ(capture.Finish(), "throwing -10877\n");
  EXPECT_STREQ(ausdk::AUException(-50).what(), "OSStatus -50");
}

struct ConversionCase {
  ThrowingUnit::What what;
  OSStatus status;
};

const ConversionCase kConversions[] = {
    {ThrowingUnit::What::AUException, kAudioUnitErr_FailedInitialization},
    {ThrowingUnit::What::BadAlloc, kAudio_MemFullError},
    {ThrowingUnit::What::OSStatusValue, -12345},
    {ThrowingUnit::What::SystemError, 77},
    {ThrowingUnit::What::Other, -1},
};

TEST(DispatchExceptions, FailedConstructionReturnsTheConvertedStatusAndLeavesNothing) {
  AudioComponent component = testunits::Register<ausdk::AUBaseLookup, ThrowingUnit>(kAudioUnitType_Effect, 'thr1');
  const size_t liveBefore = testunits::LiveUnits::Count();
  for (const auto& conversion : kConversions) {
    ThrowingUnit::throwInConstructor = conversion.what;
    AudioUnit unit = nullptr;
    EXPECT_EQ(AudioComponentInstanceNew(component, &unit), conversion.status);
    EXPECT_EQ(unit, nullptr);
    EXPECT_EQ(testunits::LiveUnits::Count(), liveBefore);
  }
  ThrowingUnit::throwInConstructor = ThrowingUnit::What::Nothing;
  Instance unit(component);
  EXPECT_EQ(unit.status(), noErr);
}

TEST(DispatchExceptions, ExceptionsFromInitializeBecomeStatuses) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, ThrowingUnit>(kAudioUnitType_Effect, 'thr2'));
  auto* throwing = testunits::UnitFor<ThrowingUnit>(unit);
  for (const auto& conversion : kConversions) {
    throwing->throwInInitialize = conversion.what;
    EXPECT_EQ(AudioUnitInitialize(unit), conversion.status);
    EXPECT_FALSE(throwing->IsInitialized());
  }
}

TEST(DispatchExceptions, ExceptionsFromAPropertyGetBecomeStatusesAndASizeOfZero) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, ThrowingUnit>(kAudioUnitType_Effect, 'thr3'));
  auto* throwing = testunits::UnitFor<ThrowingUnit>(unit);
  for (const auto& conversion : kConversions) {
    throwing->throwInProperty = conversion.what;
    UInt32 value = 0;
    UInt32 size = sizeof value;
    EXPECT_EQ(AudioUnitGetProperty(unit, ThrowingUnit::kThrowingProperty, kAudioUnitScope_Global, 0, &value, &size),
              conversion.status);
    EXPECT_EQ(size, 0U);
  }
  throwing->throwInProperty = ThrowingUnit::What::Nothing;
  UInt32 value = 0;
  UInt32 size = sizeof value;
  ASSERT_EQ(AudioUnitGetProperty(unit, ThrowingUnit::kThrowingProperty, kAudioUnitScope_Global, 0, &value, &size),
            noErr);
  EXPECT_EQ(value, 42U);
}

// Counts lock and unlock, so a test can see which selectors hold the instance lock.
class CountingLock : public ausdk::AUMutex {
 public:
  void lock() override { ++locks; }
  void unlock() override { ++unlocks; }
  int locks = 0;
  int unlocks = 0;
};

class LockedUnit : public ThrowingUnit {
 public:
  explicit LockedUnit(AudioComponentInstance instance) : ThrowingUnit(instance) { SetInstanceLock(&lock); }
  CountingLock lock;
};

TEST(DispatchLocking, PropertyListenerLifecycleSelectorsLockAndRealTimeOnesDoNot) {
  Instance unit(testunits::Register<ausdk::AUMIDILookup, LockedUnit>(kAudioUnitType_Effect, 'lck1'));
  auto* locked = testunits::UnitFor<LockedUnit>(unit);
  ASSERT_NE(locked, nullptr);
  CountingLock& lock = locked->lock;

  auto locksFor = [&](auto&& call) {
    const int before = lock.locks;
    call();
    EXPECT_EQ(lock.locks, lock.unlocks);
    return lock.locks - before;
  };
  UInt32 size = 0;
  UInt32 frames = 0;
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(locksFor([&] { AudioUnitInitialize(unit); }), 1);
  EXPECT_EQ(
      locksFor([&] { AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_MaximumFramesPerSlice, 0, 0, &size, nullptr); }),
      1);
  size = sizeof frames;
  EXPECT_EQ(
      locksFor([&] { AudioUnitGetProperty(unit, kAudioUnitProperty_MaximumFramesPerSlice, 0, 0, &frames, &size); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitSetProperty(unit, kAudioUnitProperty_MaximumFramesPerSlice, 0, 0, &frames, 4); }),
            1);
  EXPECT_EQ(locksFor([&] { AudioUnitReset(unit, kAudioUnitScope_Global, 0); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitAddRenderNotify(unit, testunits::FillInput, nullptr); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitRemoveRenderNotify(unit, testunits::FillInput, nullptr); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitAddPropertyListener(unit, 14, nullptr, nullptr); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitRemovePropertyListenerWithUserData(unit, 14, nullptr, nullptr); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitUninitialize(unit); }), 1);

  EXPECT_EQ(locksFor([&] { AudioUnitGetParameter(unit, 0, 0, 0, &value); }), 0);
  EXPECT_EQ(locksFor([&] { AudioUnitSetParameter(unit, 0, 0, 0, 0.5F, 0); }), 0);
  EXPECT_EQ(locksFor([&] { AudioUnitScheduleParameters(unit, nullptr, 0); }), 0);
  EXPECT_EQ(locksFor([&] { MusicDeviceMIDIEvent(unit, 0x90, 1, 1, 0); }), 0);
  AudioUnitRenderActionFlags flags = 0;
  AudioTimeStamp time = testunits::SampleTime(0);
  testunits::BufferList buffers(2, 16);
  EXPECT_EQ(locksFor([&] { AudioUnitRender(unit, &flags, &time, 0, 16, buffers.get()); }), 0);
}

TEST(DispatchLocking, LockIsReleasedWhenTheCallThrows) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, LockedUnit>(kAudioUnitType_Effect, 'lck2'));
  auto* locked = testunits::UnitFor<LockedUnit>(unit);
  locked->throwInInitialize = ThrowingUnit::What::Other;
  EXPECT_EQ(AudioUnitInitialize(unit), -1);
  EXPECT_EQ(locked->lock.locks, 1);
  EXPECT_EQ(locked->lock.unlocks, 1);
}

TEST(DispatchConstruction, InstancesOpenedFromManyThreadsAtOnce) {
  AudioComponent component = testunits::Register<ausdk::AUBaseLookup, TestEffect>(kAudioUnitType_Effect, 'mth1');
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        AudioUnit unit = nullptr;
        AudioUnitParameterValue value = 0;
        if (AudioComponentInstanceNew(component, &unit) != noErr || AudioUnitInitialize(unit) != noErr ||
            AudioUnitGetParameter(unit, 0, kAudioUnitScope_Global, 0, &value) != noErr || value != 1.0F ||
            AudioComponentInstanceDispose(unit) != noErr) {
          ++failures;
        }
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures.load(), 0);
}

}  // namespace
