// The component boundary: which selectors each lookup serves, the method
// functions' argument checks, the instance lock, the lifecycle calls and every
// exception turned into a status.
#include <CoreMIDI/CoreMIDI.h>
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <thread>

#include "LogCapture.h"
#include "TestUnits.h"

namespace {

using testunits::Instance;
using testunits::TestEffect;
using testunits::ThrowingUnit;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

std::set<int> Served(AudioComponentMethod (*lookup)(SInt16)) {
  std::set<int> served;
  for (int selector = -2; selector < 1024; ++selector) {
    if (lookup(static_cast<SInt16>(selector)) != nullptr) {
      served.insert(selector);
    }
  }
  return served;
}

std::set<int> BaseAnd(std::initializer_list<int> more) {
  std::set<int> served = {1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 14, 15, 16, 17, 18};
  served.insert(more);
  return served;
}

TEST(DispatchLookups, EachLookupServesItsSelectorsAndNoOthers) {
  EXPECT_EQ(Served(ausdk::AUBaseLookup::Lookup), BaseAnd({}));
  EXPECT_EQ(Served(ausdk::AUOutputLookup::Lookup), BaseAnd({513, 514}));
  EXPECT_EQ(Served(ausdk::AUComplexOutputLookup::Lookup), BaseAnd({19, 513, 514}));
  EXPECT_EQ(Served(ausdk::AUBaseProcessLookup::Lookup), BaseAnd({20}));
  EXPECT_EQ(Served(ausdk::AUBaseProcessMultipleLookup::Lookup), BaseAnd({21}));
  EXPECT_EQ(Served(ausdk::AUBaseProcessAndMultipleLookup::Lookup), BaseAnd({20, 21}));
  EXPECT_EQ(Served(ausdk::AUMIDILookup::Lookup), BaseAnd({257, 258, 263}));
  EXPECT_EQ(Served(ausdk::AUMIDIProcessLookup::Lookup), BaseAnd({20, 257, 258, 263}));
  EXPECT_EQ(Served(ausdk::AUMusicLookup::Lookup), BaseAnd({257, 258, 259, 260, 261, 262, 263}));
}

#if defined(__ELF__)
// Runs before every initialiser of default priority in this program, the
// framework's among them, as a host's lookup can run before a module's
// initialisers have finished.
AudioComponentMethod gEarliestRender = nullptr;
AudioComponentMethod gEarliestInitialize = nullptr;
[[gnu::constructor(101)]] void LookUpBeforeTheProgramsInitialisers() {
  gEarliestRender = ausdk::AUMIDILookup::Lookup(kAudioUnitRenderSelect);
  gEarliestInitialize = ausdk::AUBaseLookup::Lookup(kAudioUnitInitializeSelect);
}

TEST(DispatchLookups, ALookupBeforeStaticInitialisationFindsTheMethods) {
  EXPECT_NE(gEarliestRender, nullptr);
  EXPECT_EQ(gEarliestRender, ausdk::AUMIDILookup::Lookup(kAudioUnitRenderSelect));
  EXPECT_NE(gEarliestInitialize, nullptr);
  EXPECT_EQ(gEarliestInitialize, ausdk::AUBaseLookup::Lookup(kAudioUnitInitializeSelect));
}
#endif

// The base's MIDI, note and output defaults are unimplemented: what matters is that they are reached.
TEST(DispatchLookups, MidiNoteAndOutputCallsReachTheUnitAfterTheirArgumentChecks) {
  Instance midi(testunits::Register<ausdk::AUMIDILookup, TestEffect>(kAudioUnitType_Effect, 'dsp1'));
  EXPECT_EQ(MusicDeviceMIDIEvent(midi, 0x90, 60, 100, 0), kAudio_UnimplementedError);
  const UInt8 sysex[] = {0xF0, 0x7E, 0xF7};
  EXPECT_EQ(MusicDeviceSysEx(midi, sysex, sizeof sysex), kAudio_UnimplementedError);
  const testunits::DirectUnit<ausdk::AUMIDILookup, TestEffect> midiDirect(midi);
  EXPECT_EQ(midiDirect.Call(kMusicDeviceMIDIEventListSelect, UInt32{0}, testunits::Absent<const MIDIEventList>()),
            kAudio_ParamError);
  MIDIEventList list{};
  list.protocol = kMIDIProtocol_1_0;
  EXPECT_EQ(MusicDeviceMIDIEventList(midi, 0, &list), kAudio_UnimplementedError);

  Instance music(testunits::Register<ausdk::AUMusicLookup, TestEffect>(kAudioUnitType_MusicDevice, 'dsp2'));
  NoteInstanceID note = 0;
  const testunits::DirectUnit<ausdk::AUMusicLookup, TestEffect> musicDirect(music);
  EXPECT_EQ(musicDirect.Call(kMusicDeviceStartNoteSelect, MusicDeviceInstrumentID{0}, MusicDeviceGroupID{0}, &note,
                             UInt32{0}, testunits::Absent<const MusicDeviceNoteParams>()),
            kAudio_ParamError);
  MusicDeviceNoteParams params{2, 60.0F, 100.0F, {}};
  EXPECT_EQ(MusicDeviceStartNote(music, 0, 0, &note, 0, &params), kAudio_UnimplementedError);
  EXPECT_EQ(MusicDeviceStopNote(music, 0, note, 0), kAudio_UnimplementedError);

  Instance output(testunits::Register<ausdk::AUOutputLookup, TestEffect>(kAudioUnitType_Output, 'dsp3'));
  EXPECT_EQ(AudioOutputUnitStart(output), kAudio_UnimplementedError);
  EXPECT_EQ(AudioOutputUnitStop(output), kAudio_UnimplementedError);
}

// Through the unit's own table: a platform may refuse some nulls before it calls in.
TEST(DispatchChecks, NullOrEmptyArgumentsAreParamErrorsWithTheirLogLines) {
  Instance host(testunits::Register<ausdk::AUMIDILookup, TestEffect>(kAudioUnitType_Effect, 'dsp4'));
  const testunits::DirectUnit<ausdk::AUMIDILookup, TestEffect> unit(host);
  const AudioUnitScope global = kAudioUnitScope_Global;
  const AudioUnitElement first = 0;
  EXPECT_EQ(unit.Call(kAudioUnitGetParameterSelect, AudioUnitParameterID{0}, global, first,
                      testunits::Absent<AudioUnitParameterValue>()),
            kAudio_ParamError);
  AudioUnitRenderActionFlags flags = 0;
  AudioTimeStamp time = testunits::SampleTime(0);
  testunits::BufferList buffers(2, 16);
  const UInt32 bus = 0;
  const UInt32 frames = 16;
  EXPECT_EQ(
      unit.Call(kAudioUnitRenderSelect, &flags, testunits::Absent<const AudioTimeStamp>(), bus, frames, buffers.get()),
      kAudio_ParamError);
  EXPECT_EQ(unit.Call(kAudioUnitRenderSelect, &flags, static_cast<const AudioTimeStamp*>(&time), bus, frames,
                      testunits::Absent<AudioBufferList>()),
            kAudio_ParamError);

  const AudioUnitPropertyID id = kAudioUnitProperty_MaximumFramesPerSlice;
  UInt32 value = 512;
  UInt32 size = 0;
  testsupport::LogCapture capture;
  EXPECT_EQ(unit.Call(kAudioUnitGetPropertySelect, id, global, first, static_cast<void*>(&value),
                      testunits::Absent<UInt32>()),
            kAudio_ParamError);
  EXPECT_EQ(unit.Call(kAudioUnitGetPropertySelect, id, global, first, static_cast<void*>(&value), &size),
            kAudio_ParamError);
  EXPECT_EQ(unit.Call(kAudioUnitSetPropertySelect, id, global, first, testunits::Absent<const void>(), UInt32{4}),
            kAudio_ParamError);
  EXPECT_EQ(unit.Call(kAudioUnitSetPropertySelect, id, global, first, static_cast<const void*>(&value), UInt32{0}),
            kAudio_ParamError);
  EXPECT_EQ(capture.Finish(),
            "AudioUnitGetProperty: null size pointer\n"
            "AudioUnitGetProperty: *ioDataSize == 0 on entry\n"
            "AudioUnitSetProperty: inData == NULL\n"
            "AudioUnitSetProperty: inDataSize == 0\n");
}

TEST(DispatchChecks, NonFiniteParameterValuesAreRefusedAndChangeNothing) {
  Instance unit(testunits::Component<TestEffect, 'dsp5'>());
  for (const float bad : {kNaN, kInf, -kInf}) {
    EXPECT_EQ(AudioUnitSetParameter(unit, 0, kAudioUnitScope_Global, 0, bad, 0), kAudioUnitErr_InvalidParameterValue);
  }
  // One bad value refuses the whole batch.
  AudioUnitParameterEvent events[2] = {};
  events[0].eventType = kParameterEvent_Immediate;
  events[0].eventValues.immediate.value = 0.25F;
  events[1].eventType = kParameterEvent_Ramped;
  events[1].eventValues.ramp = {0, 64, 0.5F, kNaN};
  EXPECT_EQ(AudioUnitScheduleParameters(unit, events, 2), kAudioUnitErr_InvalidParameterValue);
  EXPECT_FLOAT_EQ(testunits::Param(unit, 0), 1.0F);
}

// Counts cleanups across instances, since the object is gone after disposal.
class CleanupCountingUnit : public TestEffect {
 public:
  using TestEffect::TestEffect;
  void Cleanup() override { ++cleanups; }
  static inline std::atomic<int> cleanups{0};
};

TEST(DispatchLifecycle, InitializeAndCleanupReachTheUnitOnceAndDisposalCleansUp) {
  AudioComponent component = testunits::Component<CleanupCountingUnit, 'dsp6'>();
  {
    Instance unit(component);
    auto* effect = testunits::UnitFor<TestEffect>(unit);
    ASSERT_NE(effect, nullptr);
    EXPECT_EQ(AudioUnitInitialize(unit), noErr);
    EXPECT_EQ(AudioUnitInitialize(unit), noErr);
    EXPECT_EQ(effect->initializeCalls.load(), 1);
    EXPECT_EQ(AudioUnitUninitialize(unit), noErr);
    EXPECT_EQ(AudioUnitUninitialize(unit), noErr);
    EXPECT_EQ(CleanupCountingUnit::cleanups.load(), 1);

    // A failed initialization returns its status and leaves the unit uninitialized.
    effect->initializeStatus = kAudioUnitErr_FormatNotSupported;
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FormatNotSupported);
    EXPECT_FALSE(effect->IsInitialized());
    effect->initializeStatus = noErr;
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    EXPECT_TRUE(effect->IsInitialized());
    ASSERT_EQ(CleanupCountingUnit::cleanups.load(), 1);
  }
  EXPECT_EQ(CleanupCountingUnit::cleanups.load(), 2);  // disposed while initialized
  {
    Instance unit(component);  // never initialized: nothing to clean up
  }
  EXPECT_EQ(CleanupCountingUnit::cleanups.load(), 2);
}

TEST(DispatchLogging, LoggingStringNamesInstanceAndComponent) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, TestEffect>(kAudioUnitType_Effect, 'lg\x01g'));
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  ASSERT_NE(effect, nullptr);
  char expected[128];
  std::snprintf(expected, sizeof expected, "AU (%p): aufx/lg.g/VnTs", static_cast<void*>(unit.get()));
  EXPECT_EQ(effect->GetLoggingString(), expected);
  EXPECT_EQ(effect->GetComponentDescription().componentSubType, static_cast<OSType>('lg\x01g'));
}

TEST(DispatchExceptions, ThrowLogsAndCarriesItsStatus) {
  testsupport::LogCapture capture;
  EXPECT_EQ(ausdk::CatchExceptions([]() -> OSStatus { ausdk::Throw(kAudioUnitErr_InvalidElement); }),
            kAudioUnitErr_InvalidElement);
  EXPECT_EQ(ausdk::CatchExceptions([]() -> OSStatus { ausdk::ThrowQuiet(kAudioUnitErr_InvalidScope); }),
            kAudioUnitErr_InvalidScope);
  EXPECT_EQ(capture.Finish(), "throwing -10877\n");
  EXPECT_STREQ(ausdk::AUException(-50).what(), "OSStatus -50");
}

TEST(DispatchExceptions, ExceptionsFromConstructionInitializeAndPropertiesBecomeStatuses) {
  const std::pair<ThrowingUnit::What, OSStatus> kConversions[] = {
      {ThrowingUnit::What::AUException, kAudioUnitErr_FailedInitialization},
      {ThrowingUnit::What::BadAlloc, kAudio_MemFullError},
      {ThrowingUnit::What::OSStatusValue, -12345},
      {ThrowingUnit::What::SystemError, 77},
      {ThrowingUnit::What::Other, -1},
  };
  AudioComponent component = testunits::Component<ThrowingUnit, 'thr1'>();
  Instance unit(component);
  auto* throwing = testunits::UnitFor<ThrowingUnit>(unit);
  ASSERT_NE(throwing, nullptr);
  const size_t liveBefore = testunits::LiveUnits::Count();
  UInt32 value = 0;
  UInt32 size = 0;
  for (const auto& [what, status] : kConversions) {
    SCOPED_TRACE(status);
    ThrowingUnit::throwInConstructor = what;
    auto failed = reinterpret_cast<AudioUnit>(&value);  // must be cleared
    EXPECT_EQ(AudioComponentInstanceNew(component, &failed), status);
    EXPECT_EQ(failed, nullptr);
    EXPECT_EQ(testunits::LiveUnits::Count(), liveBefore);

    throwing->throwInInitialize = what;
    EXPECT_EQ(AudioUnitInitialize(unit), status);
    EXPECT_FALSE(throwing->IsInitialized());

    throwing->throwInProperty = what;
    size = sizeof value;
    EXPECT_EQ(AudioUnitGetProperty(unit, ThrowingUnit::kThrowingProperty, kAudioUnitScope_Global, 0, &value, &size),
              status);
    EXPECT_EQ(size, 0U);
  }
  ThrowingUnit::throwInConstructor = ThrowingUnit::What::Nothing;
  Instance again(component);
  throwing->throwInProperty = ThrowingUnit::What::Nothing;
  EXPECT_EQ(testunits::Value<UInt32>(unit, ThrowingUnit::kThrowingProperty), 42U);
}

// Nothing promises whether the system closes an instance whose open failed:
// either way the record is released once and nothing is left behind (the
// sanitizer builds check both).
TEST(DispatchExceptions, FailedOpenIsSafeWhetherOrNotTheSystemClosesIt) {
  const AudioComponentDescription description{};
  ThrowingUnit::throwInConstructor = ThrowingUnit::What::BadAlloc;
  for (const bool systemCloses : {true, false, true}) {
    SCOPED_TRACE(systemCloses);
    AudioComponentPlugInInterface* record = ausdk::APFactory<ausdk::AUBaseLookup, ThrowingUnit>::Factory(&description);
    ASSERT_NE(record, nullptr);
    const size_t liveBefore = testunits::LiveUnits::Count();
    EXPECT_EQ(record->Open(record, nullptr), kAudio_MemFullError);
    EXPECT_EQ(testunits::LiveUnits::Count(), liveBefore);
    if (systemCloses) {
      EXPECT_EQ(record->Close(record), noErr);
    }
  }
  ThrowingUnit::throwInConstructor = ThrowingUnit::What::Nothing;
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

void IgnoreChange(void* /*refCon*/, AudioUnit /*unit*/, AudioUnitPropertyID /*id*/, AudioUnitScope /*scope*/,
                  AudioUnitElement /*element*/) {}

TEST(DispatchLocking, ListenerAndLifecycleSelectorsLockRealTimeOnesDoNotAndThrowsUnlock) {
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
  const AudioUnitPropertyID maxFrames = kAudioUnitProperty_MaximumFramesPerSlice;
  UInt32 size = 0;
  UInt32 frames = 0;
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(locksFor([&] { AudioUnitInitialize(unit); }), 1);
  Boolean writable = false;
  EXPECT_EQ(locksFor([&] { AudioUnitGetPropertyInfo(unit, maxFrames, 0, 0, &size, &writable); }), 1);
  EXPECT_EQ(locksFor([&] { testunits::Get(unit, maxFrames, 0, 0, frames); }), 1);
  EXPECT_EQ(locksFor([&] { testunits::Set(unit, maxFrames, 0, 0, frames); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitReset(unit, kAudioUnitScope_Global, 0); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitAddRenderNotify(unit, testunits::FillInput, &lock); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitRemoveRenderNotify(unit, testunits::FillInput, &lock); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitAddPropertyListener(unit, 14, IgnoreChange, &lock); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitRemovePropertyListenerWithUserData(unit, 14, IgnoreChange, &lock); }), 1);
  EXPECT_EQ(locksFor([&] { AudioUnitUninitialize(unit); }), 1);

  EXPECT_EQ(locksFor([&] { AudioUnitGetParameter(unit, 0, 0, 0, &value); }), 0);
  EXPECT_EQ(locksFor([&] { AudioUnitSetParameter(unit, 0, 0, 0, 0.5F, 0); }), 0);
  const AudioUnitParameterEvent event{};
  EXPECT_EQ(locksFor([&] { AudioUnitScheduleParameters(unit, &event, 0); }), 0);
  EXPECT_EQ(locksFor([&] { MusicDeviceMIDIEvent(unit, 0x90, 1, 1, 0); }), 0);
  testunits::BufferList buffers(2, 16);
  EXPECT_EQ(locksFor([&] { testunits::RenderAt(unit, 0, 16, buffers.get()); }), 0);

  locked->throwInInitialize = ThrowingUnit::What::Other;
  EXPECT_EQ(locksFor([&] { EXPECT_EQ(AudioUnitInitialize(unit), -1); }), 1);
}

TEST(DispatchConstruction, InstancesOpenedFromManyThreadsAtOnce) {
  AudioComponent component = testunits::Component<TestEffect, 'mth1'>();
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
