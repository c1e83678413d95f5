// Instances as a host drives them: creation and Open, every call routed
// through the unit's Lookup, unserved selectors, failures and disposal.
#include <AudioToolbox/AudioUnit.h>
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "component_test_unit.h"

namespace {

AudioComponent RegisterUnit(OSType subtype) {
  return test_unit::Register({kAudioUnitType_Effect, subtype, 'VenT', 0, 0}, "test unit", 1);
}

class ComponentInstance : public ::testing::Test {
 protected:
  void SetUp() override {
    test_unit::NextBehaviour() = {};
    component_ = RegisterUnit('ins1');
    ASSERT_EQ(AudioComponentInstanceNew(component_, &unit_), noErr);
    ASSERT_NE(unit_, nullptr);
  }
  void TearDown() override {
    if (unit_ != nullptr) {
      EXPECT_EQ(AudioComponentInstanceDispose(unit_), noErr);
    }
    test_unit::NextBehaviour() = {};
  }

  AudioComponent component_ = nullptr;
  AudioUnit unit_ = nullptr;
};

TEST_F(ComponentInstance, RoutesServedSelectorsWithTheirArguments) {
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitGetParameter(unit_, 8, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 2.0F);
  EXPECT_EQ(AudioUnitSetParameter(unit_, 3, kAudioUnitScope_Output, 1, 0.5F, 17), noErr);
  UInt32 size = 0;
  Boolean writable = 0;
  EXPECT_EQ(
      AudioUnitGetPropertyInfo(unit_, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 2, &size, &writable),
      noErr);
  EXPECT_EQ(size, 4U);
  EXPECT_EQ(writable, 1);
  EXPECT_EQ(MusicDeviceMIDIEvent(unit_, 0x90, 60, 100, 5), noErr);

  const auto& calls = test_unit::CallsOf(unit_);
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(calls[0].name, "GetParameter");
  EXPECT_EQ(calls[0].args, (std::vector<uint64_t>{8, kAudioUnitScope_Global, 0}));
  EXPECT_EQ(calls[1].name, "SetParameter");
  EXPECT_EQ(calls[1].args, (std::vector<uint64_t>{3, kAudioUnitScope_Output, 1, 500, 17}));
  EXPECT_EQ(calls[2].name, "GetPropertyInfo");
  EXPECT_EQ(calls[2].args, (std::vector<uint64_t>{kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 2}));
  EXPECT_EQ(calls[3].name, "MIDIEvent");
  EXPECT_EQ(calls[3].args, (std::vector<uint64_t>{0x90, 60, 100, 5}));
}

TEST_F(ComponentInstance, RenderReachesTheUnitsBuffersAndFlags) {
  constexpr UInt32 kFrames = 16;
  std::vector<float> left(kFrames, -1.0F);
  std::vector<float> right(kFrames, -1.0F);
  alignas(AudioBufferList) unsigned char storage[sizeof(AudioBufferList) + sizeof(AudioBuffer)] = {};
  auto* list = reinterpret_cast<AudioBufferList*>(storage);
  list->mNumberBuffers = 2;
  list->mBuffers[0] = {1, kFrames * 4, left.data()};
  list->mBuffers[1] = {1, kFrames * 4, right.data()};
  AudioTimeStamp timeStamp{};
  timeStamp.mSampleTime = 4096;
  timeStamp.mFlags = kAudioTimeStampSampleTimeValid;
  AudioUnitRenderActionFlags flags = 0;

  ASSERT_EQ(AudioUnitRender(unit_, &flags, &timeStamp, 0, kFrames, list), noErr);
  EXPECT_EQ(flags, kAudioUnitRenderAction_OutputIsSilence);
  EXPECT_EQ(left, std::vector<float>(kFrames, 1.0F));
  EXPECT_EQ(right, std::vector<float>(kFrames, 2.0F));
  ASSERT_EQ(test_unit::CallsOf(unit_).size(), 1U);
  EXPECT_EQ(test_unit::CallsOf(unit_)[0].args, (std::vector<uint64_t>{0, kFrames, 4096}));
}

TEST_F(ComponentInstance, UnservedSelectorsAnswerBadComponentSelector) {
  UInt32 size = 4;
  UInt32 value = 0;
  EXPECT_EQ(AudioUnitGetProperty(unit_, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &value, &size),
            badComponentSelector);
  EXPECT_EQ(AudioUnitSetProperty(unit_, kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &value, 4),
            badComponentSelector);
  EXPECT_EQ(AudioUnitUninitialize(unit_), badComponentSelector);
  EXPECT_EQ(AudioUnitReset(unit_, kAudioUnitScope_Global, 0), badComponentSelector);
  EXPECT_EQ(AudioUnitAddRenderNotify(unit_, nullptr, nullptr), badComponentSelector);
  EXPECT_EQ(AudioUnitRemoveRenderNotify(unit_, nullptr, nullptr), badComponentSelector);
  EXPECT_EQ(AudioUnitAddPropertyListener(unit_, 0, nullptr, nullptr), badComponentSelector);
  EXPECT_EQ(AudioUnitRemovePropertyListenerWithUserData(unit_, 0, nullptr, nullptr), badComponentSelector);
  EXPECT_EQ(AudioUnitScheduleParameters(unit_, nullptr, 0), badComponentSelector);
  EXPECT_EQ(AudioUnitProcess(unit_, nullptr, nullptr, 0, nullptr), badComponentSelector);
  EXPECT_EQ(AudioUnitProcessMultiple(unit_, nullptr, nullptr, 0, 0, nullptr, 0, nullptr), badComponentSelector);
  EXPECT_EQ(MusicDeviceSysEx(unit_, nullptr, 0), badComponentSelector);
  EXPECT_EQ(MusicDeviceMIDIEventList(unit_, 0, nullptr), badComponentSelector);
  EXPECT_EQ(MusicDeviceStartNote(unit_, 0, 0, nullptr, 0, nullptr), badComponentSelector);
  EXPECT_EQ(MusicDeviceStopNote(unit_, 0, 0, 0), badComponentSelector);
  EXPECT_EQ(AudioOutputUnitStart(unit_), badComponentSelector);
  EXPECT_EQ(AudioOutputUnitStop(unit_), badComponentSelector);
  // None of them reached the unit.
  EXPECT_TRUE(test_unit::CallsOf(unit_).empty());

  EXPECT_TRUE(AudioComponentInstanceCanDo(unit_, kAudioUnitRenderSelect));
  EXPECT_FALSE(AudioComponentInstanceCanDo(unit_, kAudioUnitProcessSelect));
}

TEST_F(ComponentInstance, OpenSeesItsHandleAndADisposedHandleAnswersAnErrorAndDoesNotCloseTwice) {
  EXPECT_EQ(AudioComponentInstanceGetComponent(unit_), component_);
  EXPECT_EQ(test_unit::LiveInstances(), 1);
  AudioUnit second = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(component_, &second), noErr);
  EXPECT_NE(second, unit_);
  EXPECT_EQ(test_unit::LiveInstances(), 2);
  EXPECT_EQ(AudioComponentInstanceDispose(second), noErr);
  EXPECT_EQ(test_unit::LiveInstances(), 1);

  AudioUnit unit = unit_;
  unit_ = nullptr;
  ASSERT_EQ(AudioComponentInstanceDispose(unit), noErr);
  EXPECT_EQ(test_unit::LiveInstances(), 0);

  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitGetParameter(unit, 0, kAudioUnitScope_Global, 0, &value), badComponentInstance);
  EXPECT_EQ(AudioUnitRender(unit, nullptr, nullptr, 0, 0, nullptr), badComponentInstance);
  EXPECT_EQ(AudioUnitInitialize(unit), badComponentInstance);
  EXPECT_EQ(AudioComponentInstanceDispose(unit), badComponentInstance);
  EXPECT_EQ(AudioComponentInstanceGetComponent(unit), nullptr);
  EXPECT_FALSE(AudioComponentInstanceCanDo(unit, kAudioUnitRenderSelect));
  EXPECT_EQ(test_unit::LiveInstances(), 0);
}

TEST(ComponentInstanceFailures, NullHandleAnswersBadComponentInstance) {
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitInitialize(nullptr), badComponentInstance);
  EXPECT_EQ(AudioUnitGetParameter(nullptr, 0, 0, 0, &value), badComponentInstance);
  EXPECT_EQ(AudioUnitRender(nullptr, nullptr, nullptr, 0, 0, nullptr), badComponentInstance);
  EXPECT_EQ(MusicDeviceMIDIEvent(nullptr, 0x90, 1, 1, 0), badComponentInstance);
  EXPECT_EQ(AudioComponentInstanceDispose(nullptr), badComponentInstance);
  EXPECT_EQ(AudioComponentInstanceGetComponent(nullptr), nullptr);
  EXPECT_EQ(AudioComponentInstanceNew(nullptr, nullptr), kAudio_ParamError);
}

TEST(ComponentInstanceFailures, FailedOpenFactoryAndCloseReachTheHostAsStatuses) {
  AudioComponent component = RegisterUnit('opf1');
  test_unit::NextBehaviour().openStatus = kAudioUnitErr_FailedInitialization;
  AudioUnit unit = reinterpret_cast<AudioUnit>(0x1);
  EXPECT_EQ(AudioComponentInstanceNew(component, &unit), kAudioUnitErr_FailedInitialization);
  EXPECT_EQ(unit, nullptr);
  EXPECT_EQ(test_unit::LiveInstances(), 0);

  test_unit::NextBehaviour() = {};
  test_unit::NextBehaviour().factoryReturnsNull = true;
  unit = reinterpret_cast<AudioUnit>(0x1);
  EXPECT_EQ(AudioComponentInstanceNew(component, &unit), kAudio_MemFullError);
  EXPECT_EQ(unit, nullptr);

  test_unit::NextBehaviour() = {};
  ASSERT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
  test_unit::NextBehaviour().closeStatus = -1234;
  EXPECT_EQ(AudioComponentInstanceDispose(unit), -1234);
  test_unit::NextBehaviour() = {};
  EXPECT_EQ(test_unit::LiveInstances(), 0);
}

// Render is looked up when the instance is made, not at each block: an
// instance whose lookup had none answers as an unserved selector, and one made
// later with a lookup that serves it renders.
TEST(ComponentInstanceFailures, RenderFollowsTheLookupOfItsOwnInstance) {
  AudioComponent component = RegisterUnit('nrn1');
  test_unit::NextBehaviour() = {};
  test_unit::NextBehaviour().servesRender = false;
  AudioUnit silent = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(component, &silent), noErr);
  test_unit::NextBehaviour() = {};
  AudioUnit rendering = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(component, &rendering), noErr);

  std::vector<float> samples(8, 0.0F);
  AudioBufferList list{1, {{1, 8 * sizeof(float), samples.data()}}};
  const AudioTimeStamp timeStamp{};
  AudioUnitRenderActionFlags flags = 0;
  EXPECT_EQ(AudioUnitRender(silent, &flags, &timeStamp, 0, 8, &list), badComponentSelector);
  EXPECT_FALSE(AudioComponentInstanceCanDo(silent, kAudioUnitRenderSelect));
  EXPECT_TRUE(test_unit::CallsOf(silent).empty());
  EXPECT_EQ(AudioUnitRender(rendering, &flags, &timeStamp, 0, 8, &list), noErr);
  EXPECT_EQ(samples, std::vector<float>(8, 1.0F));

  EXPECT_EQ(AudioComponentInstanceDispose(silent), noErr);
  EXPECT_EQ(AudioComponentInstanceDispose(rendering), noErr);
}

TEST(ComponentInstanceThreads, CreateUseAndDisposeFromManyThreads) {
  AudioComponent component = RegisterUnit('thr1');
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        AudioUnit unit = nullptr;
        AudioUnitParameterValue value = 0;
        if (AudioComponentInstanceNew(component, &unit) != noErr ||
            AudioUnitGetParameter(unit, 4, 0, 0, &value) != noErr || value != 1.0F ||
            AudioComponentInstanceGetComponent(unit) != component || AudioComponentInstanceDispose(unit) != noErr) {
          ++failures;
        }
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(test_unit::LiveInstances(), 0);
}

}  // namespace
