// The umbrella headers as a C++ host includes them on the platform: only these three.
#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>

#include <cstddef>

extern "C" long VeneerCProbeConstants(int which);
extern "C" int VeneerCProbeCountNothing(void);

static_assert(sizeof(AudioStreamBasicDescription) == 40);
static_assert(sizeof(AudioTimeStamp) == 64);
static_assert(sizeof(AudioUnitParameterInfo) == 104);
static_assert(offsetof(AudioUnitParameterEvent, eventValues) == 16);
static_assert(sizeof(HostCallbackInfo) == 40);

namespace {

TEST(PlatformHeaders, ConstantsHaveThePlatformsValuesInCAndCpp) {
  EXPECT_EQ(kAudioUnitErr_InvalidParameterValue, -66743);
  EXPECT_EQ(kAudioUnitErr_InvalidProperty, -10879);
  EXPECT_EQ(kAudioUnitErr_Initialized, -10849);
  EXPECT_EQ(kAudio_ParamError, -50);
  EXPECT_EQ(kAudio_MemFullError, -108);
  EXPECT_EQ(kAudioUnitType_Effect, 0x61756678U);
  EXPECT_EQ(kAudioFormatLinearPCM, 0x6C70636DU);
  EXPECT_EQ(kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved, 41U);
  EXPECT_EQ(kAudioUnitRenderAction_DoNotCheckRenderArgs, 512U);
  EXPECT_EQ(kAudioUnitParameterFlag_IsWritable, 0x80000000U);
  EXPECT_EQ(kAudioChannelLayoutTag_Stereo, (101U << 16) | 2);
  EXPECT_EQ(kMusicDeviceMIDIEventListSelect, 0x0107);
  EXPECT_EQ(kAudioOutputUnitStopSelect, 514);
  EXPECT_EQ(NSEC_PER_SEC, 1000000000ULL);

  // A C translation unit sees the same constants and can call the API.
  EXPECT_EQ(VeneerCProbeConstants(0), kAudioUnitErr_InvalidParameterValue);
  EXPECT_EQ(VeneerCProbeConstants(1), kAudioUnitProperty_LastRenderSampleTime);
  EXPECT_EQ(VeneerCProbeConstants(2), kMusicDeviceMIDIEventListSelect);
  EXPECT_EQ(VeneerCProbeConstants(3), static_cast<long>(kAudioUnitType_Effect));
  EXPECT_EQ(VeneerCProbeConstants(4), static_cast<long>(kAudioChannelLayoutTag_Stereo));
  EXPECT_EQ(VeneerCProbeConstants(5), static_cast<long>(kAudioFormatFlagsNativeFloatPacked));
  EXPECT_EQ(VeneerCProbeCountNothing(), 0);
}

}  // namespace
