// The umbrella headers as a C++ host includes them on the platform, first and alone;
// the type checks below then include the few headers these do not reach.
#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <CoreAudio/HostTime.h>
#include <CoreMIDI/CoreMIDI.h>
#include <mach/mach_time.h>
#include <os/log.h>

extern "C" long VeneerCProbeConstants(int which);
extern "C" int VeneerCProbeCountNothing(void);

static_assert(sizeof(AudioStreamBasicDescription) == 40);
static_assert(sizeof(AudioTimeStamp) == 64);
static_assert(sizeof(AudioUnitParameterInfo) == 104);
static_assert(offsetof(AudioUnitParameterEvent, eventValues) == 16);
static_assert(sizeof(HostCallbackInfo) == 40);

// Types as the platform's headers declare them in C++, so that what a Mac
// refuses is refused here too.
template <typename T>
constexpr bool kIsLongLong = std::is_same_v<T, long long>;
template <typename T>
constexpr bool kIsULongLong = std::is_same_v<T, unsigned long long>;
static_assert(kIsLongLong<SInt64> && kIsULongLong<UInt64>);
static_assert(kIsULongLong<decltype(mach_absolute_time())> && kIsULongLong<dispatch_time_t>);
static_assert(kIsULongLong<decltype(AudioGetCurrentHostTime())> && kIsULongLong<MIDITimeStamp>);
static_assert(kIsULongLong<decltype(AudioTimeStamp::mHostTime)>);
static_assert(kIsLongLong<decltype(AudioStreamPacketDescription::mStartOffset)>);

// CF_ENUM: a type of its own over the given integer type.
template <typename E, typename Underlying>
constexpr bool kIsEnumOver = std::is_enum_v<E>&& std::is_same_v<std::underlying_type_t<E>, Underlying>;
static_assert(kIsEnumOver<CFNumberType, CFIndex>);
static_assert(kIsEnumOver<CFPropertyListFormat, CFIndex>);
static_assert(kIsEnumOver<CFComparisonResult, CFIndex>);
static_assert(kIsEnumOver<CFURLPathStyle, CFIndex>);
static_assert(kIsEnumOver<CFRunLoopRunResult, SInt32>);
static_assert(kIsEnumOver<CFStringBuiltInEncodings, CFStringEncoding>);
static_assert(kIsEnumOver<AUParameterEventType, UInt32>);
static_assert(kIsEnumOver<AudioUnitParameterUnit, UInt32>);
static_assert(kIsEnumOver<SMPTETimeType, UInt32>);
static_assert(kIsEnumOver<MIDIProtocolID, SInt32>);
static_assert(kIsEnumOver<os_log_type_t, std::uint8_t>);
static_assert(!std::is_convertible_v<int, CFNumberType> && std::is_convertible_v<CFNumberType, CFIndex>);

// CF_OPTIONS: the integer type itself, its constants in an enum over it.
static_assert(std::is_same_v<AudioUnitParameterOptions, UInt32> &&
              kIsEnumOver<decltype(kAudioUnitParameterFlag_IsWritable), UInt32>);
static_assert(std::is_same_v<AudioUnitRenderActionFlags, UInt32> &&
              kIsEnumOver<decltype(kAudioUnitRenderAction_PreRender), UInt32>);
static_assert(std::is_same_v<AudioComponentFlags, UInt32> &&
              kIsEnumOver<decltype(kAudioComponentFlag_SandboxSafe), UInt32>);
static_assert(std::is_same_v<AudioTimeStampFlags, UInt32> &&
              kIsEnumOver<decltype(kAudioTimeStampSampleTimeValid), UInt32>);
static_assert(std::is_same_v<CFPropertyListMutabilityOptions, CFOptionFlags> &&
              kIsEnumOver<decltype(kCFPropertyListMutableContainers), CFOptionFlags>);

// Anonymous CF_ENUM constants; the format flags' combinations are an enum of their own.
static_assert(kIsEnumOver<decltype(kAudioFormatFlagIsFloat), AudioFormatFlags>);
static_assert(kIsEnumOver<decltype(kAudioFormatFlagsNativeFloatPacked), AudioFormatFlags>);
static_assert(!std::is_same_v<decltype(kAudioFormatFlagIsFloat), decltype(kAudioFormatFlagsNativeFloatPacked)>);
static_assert(kIsEnumOver<decltype(kAudioChannelLayoutTag_Stereo), AudioChannelLayoutTag>);
static_assert(kIsEnumOver<decltype(kAudioUnitProperty_StreamFormat), AudioUnitPropertyID>);
static_assert(kIsEnumOver<decltype(kAudioUnitErr_InvalidProperty), OSStatus>);

// Constants and functions of their own kind, not macros or enumerators.
static_assert(std::is_same_v<decltype(kAudioStreamAnyRate), const Float64>);
static_assert(std::is_same_v<decltype(kCFNotFound), const CFIndex>);
static_assert(std::is_same_v<decltype(&AudioChannelLayoutTag_GetNumberOfChannels), UInt32 (*)(AudioChannelLayoutTag)>);

// The main queue is a kind of queue, not the other way round.
static_assert(std::is_same_v<decltype(dispatch_get_main_queue()), dispatch_queue_main_t>);
static_assert(std::is_convertible_v<dispatch_queue_main_t, dispatch_queue_t>);
static_assert(!std::is_convertible_v<dispatch_queue_t, dispatch_queue_main_t>);

namespace {

TEST(PlatformHeaders, ConstantsHaveThePlatformsValuesInCAndCpp) {
  EXPECT_EQ(kAudioUnitErr_InvalidParameterValue, -66743);
  EXPECT_EQ(kAudioUnitErr_InvalidProperty, -10879);
  EXPECT_EQ(kAudioUnitErr_Initialized, -10849);
  EXPECT_EQ(kAudio_ParamError, -50);
  EXPECT_EQ(kAudio_MemFullError, -108);
  EXPECT_EQ(kAudioUnitType_Effect, 0x61756678U);
  EXPECT_EQ(kAudioFormatLinearPCM, 0x6C70636DU);
  EXPECT_EQ(static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked) | kAudioFormatFlagIsNonInterleaved, 41U);
  EXPECT_EQ(AudioChannelLayoutTag_GetNumberOfChannels(kAudioChannelLayoutTag_MPEG_5_1_A), 6U);
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
  EXPECT_EQ(VeneerCProbeConstants(6), 6);
  EXPECT_EQ(VeneerCProbeCountNothing(), 0);
}

}  // namespace
