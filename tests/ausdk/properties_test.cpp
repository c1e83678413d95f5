// The standard properties a unit answers, driven as a host drives them:
// scopes, sizes, writability, values, announcements to listeners, and the
// hand-off of everything else to the unit's own overrides.
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

#include "TestUnits.h"

namespace {

using testunits::Instance;
using testunits::MultiBusUnit;
using testunits::TestEffect;
using testunits::ThrowingUnit;

constexpr AudioUnitPropertyID kCustomProperty = 0x30000;

// Answers the optional rows of the table and one property of its own; records
// what reached its property overrides.
class RichUnit : public TestEffect {
 public:
  using TestEffect::TestEffect;

  UInt32 SupportedNumChannels(const AUChannelInfo** outInfo) override {
    static const AUChannelInfo kChannels[] = {{1, 1}, {2, 2}};
    if (outInfo != nullptr) {
      *outInfo = kChannels;
    }
    return 2;
  }
  Float64 GetLatency() override { return 0.005; }
  bool SupportsTail() override { return true; }
  Float64 GetTailTime() override { return 0.25; }
  CFURLRef CopyIconLocation() override {
    return CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp/icon.icns"), kCFURLPOSIXPathStyle, false);
  }
  std::vector<AudioChannelLayoutTag> GetChannelLayoutTags(AudioUnitScope /*scope*/,
                                                          AudioUnitElement /*element*/) override {
    return {kAudioChannelLayoutTag_Stereo, kAudioChannelLayoutTag_Mono};
  }
  OSStatus GetParameterList(AudioUnitScope /*scope*/, AudioUnitParameterID* outList, UInt32& outCount) override {
    outCount = 2;
    if (outList != nullptr) {
      outList[0] = 5;
      outList[1] = 7;
    }
    return noErr;
  }
  OSStatus GetParameterHistoryInfo(AudioUnitScope /*scope*/, AudioUnitParameterID /*id*/, Float32& outUpdates,
                                   Float32& outDuration) override {
    outUpdates = 30.0F;
    outDuration = 2.0F;
    return noErr;
  }
  OSStatus CopyClumpName(AudioUnitScope /*scope*/, UInt32 clumpID, UInt32 /*length*/, CFStringRef* outName) override {
    if (clumpID != 1) {
      return kAudioUnitErr_InvalidProperty;
    }
    *outName = CFSTR("Tone");
    return noErr;
  }
  OSStatus GetPropertyInfo(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& outSize,
                           bool& outWritable) override {
    if (id == kCustomProperty) {
      outSize = sizeof(UInt32);
      outWritable = true;
      return noErr;
    }
    return TestEffect::GetPropertyInfo(id, scope, element, outSize, outWritable);
  }
  OSStatus GetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, void* outData) override {
    if (id == kCustomProperty) {
      std::memcpy(outData, &custom, sizeof custom);
      return noErr;
    }
    if (id == kAudioUnitProperty_ParameterClumpName) {
      static_cast<AudioUnitParameterNameInfo*>(outData)->outName = CFSTR("From the unit");
      return noErr;
    }
    return TestEffect::GetProperty(id, scope, element, outData);
  }
  OSStatus SetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const void* inData,
                       UInt32 inDataSize) override {
    setProperties.push_back(id);
    if (id == kCustomProperty && inDataSize == sizeof custom) {
      std::memcpy(&custom, inData, sizeof custom);
      return noErr;
    }
    return TestEffect::SetProperty(id, scope, element, inData, inDataSize);
  }

  UInt32 custom = 11;
  std::vector<AudioUnitPropertyID> setProperties;
};

// A unit whose formats the host may not change.
class FixedFormatUnit : public TestEffect {
 public:
  using TestEffect::TestEffect;
  bool StreamFormatWritable(AudioUnitScope /*scope*/, AudioUnitElement /*element*/) override { return false; }
};

struct Announcement {
  AudioUnitPropertyID id;
  AudioUnitScope scope;
  AudioUnitElement element;
  bool operator==(const Announcement&) const = default;
};

void Record(void* refCon, AudioUnit /*unit*/, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element) {
  static_cast<std::vector<Announcement>*>(refCon)->push_back({id, scope, element});
}

void RecordAgain(void* refCon, AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element) {
  Record(refCon, unit, id, scope, element);
}

template <typename T>
OSStatus Get(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, T& value) {
  UInt32 size = sizeof value;
  return AudioUnitGetProperty(unit, id, scope, element, &value, &size);
}

template <typename T>
OSStatus Set(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const T& value) {
  return AudioUnitSetProperty(unit, id, scope, element, &value, sizeof value);
}

OSStatus Remove(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element) {
  return AudioUnitSetProperty(unit, id, scope, element, nullptr, 0);
}

// Selector 11 has no public function any more: a host reaches it through the component's lookup.
OSStatus RemoveListener(AudioUnit unit, AudioUnitPropertyID id, AudioUnitPropertyListenerProc proc) {
  auto* object = static_cast<ausdk::ComponentBase*>(testunits::LiveUnits::Find(unit));
  void* self = reinterpret_cast<std::byte*>(object) - offsetof(ausdk::AudioComponentPlugInInstance, mInstanceStorage);
  auto* method = reinterpret_cast<AudioUnitRemovePropertyListenerProc>(
      ausdk::AUBaseLookup::Lookup(kAudioUnitRemovePropertyListenerSelect));
  return method(self, id, proc);
}

OSStatus Info(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& size,
              Boolean& writable) {
  return AudioUnitGetPropertyInfo(unit, id, scope, element, &size, &writable);
}

// A fresh instance of `Unit` with every announcement of `watched` recorded.
template <typename Unit>
class Host {
 public:
  Host(OSType subtype, std::initializer_list<AudioUnitPropertyID> watched)
      : unit(testunits::Register<ausdk::AUBaseLookup, Unit>(kAudioUnitType_Effect, subtype)) {
    for (const AudioUnitPropertyID id : watched) {
      AudioUnitAddPropertyListener(unit, id, Record, &heard);
    }
  }
  Unit* object() const { return testunits::UnitFor<Unit>(unit); }

  Instance unit;
  std::vector<Announcement> heard;
};

constexpr AudioUnitScope kGlobal = kAudioUnitScope_Global;
constexpr AudioUnitScope kInput = kAudioUnitScope_Input;
constexpr AudioUnitScope kOutput = kAudioUnitScope_Output;

TEST(PropertiesInfo, SizesAndWritabilityOfTheBaseRows) {
  Host<TestEffect> host('prp1', {});
  const std::tuple<AudioUnitPropertyID, AudioUnitScope, AudioUnitElement, UInt32, bool> kRows[] = {
      {kAudioUnitProperty_ClassInfo, kGlobal, 0, 8, true},
      {kAudioUnitProperty_MakeConnection, kInput, 0, 16, true},
      {kAudioUnitProperty_SampleRate, kInput, 0, 8, true},
      {kAudioUnitProperty_ParameterList, kGlobal, 0, 4, false},
      {kAudioUnitProperty_ParameterList, kInput, 0, 0, false},
      {kAudioUnitProperty_ParameterInfo, kGlobal, 0, 104, false},
      {kAudioUnitProperty_StreamFormat, kOutput, 0, 40, true},
      {kAudioUnitProperty_StreamFormat, kGlobal, 0, 40, true},
      {kAudioUnitProperty_ElementCount, kInput, 0, 4, false},
      {kAudioUnitProperty_Latency, kGlobal, 0, 8, false},
      {kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 0, 4, true},
      {kAudioUnitProperty_ParameterValueStrings, kGlobal, 0, 8, false},
      {kAudioUnitProperty_LastRenderError, kGlobal, 0, 4, false},
      {kAudioUnitProperty_SetRenderCallback, kInput, 0, 16, true},
      {kAudioUnitProperty_FactoryPresets, kGlobal, 0, 8, false},
      {kAudioUnitProperty_ContextName, kGlobal, 0, 8, true},
      {kAudioUnitProperty_HostCallbacks, kGlobal, 0, 40, true},
      {kAudioUnitProperty_ElementName, kOutput, 0, 8, true},
      {kAudioUnitProperty_ParameterClumpName, kGlobal, 0, 16, false},
      {kAudioUnitProperty_PresentPreset, kGlobal, 0, 16, true},
      {kAudioUnitProperty_ShouldAllocateBuffer, kInput, 0, 4, true},
      {kAudioUnitProperty_ParameterHistoryInfo, kGlobal, 0, 8, false},
      {kAudioUnitProperty_NickName, kGlobal, 0, 8, true},
      {kAudioUnitProperty_LastRenderSampleTime, kGlobal, 0, 8, false},
  };
  for (const auto& [id, scope, element, size, writable] : kRows) {
    UInt32 gotSize = 0xDEAD;
    Boolean gotWritable = 2;
    EXPECT_EQ(Info(host.unit, id, scope, element, gotSize, gotWritable), noErr) << id;
    EXPECT_EQ(gotSize, size) << id;
    EXPECT_EQ(gotWritable != 0, writable) << id;
  }
  Host<FixedFormatUnit> fixed('prp2', {});
  UInt32 size = 0;
  Boolean writable = 1;
  ASSERT_EQ(Info(fixed.unit, kAudioUnitProperty_StreamFormat, kInput, 0, size, writable), noErr);
  EXPECT_FALSE(writable);
  ASSERT_EQ(Info(fixed.unit, kAudioUnitProperty_SampleRate, kOutput, 0, size, writable), noErr);
  EXPECT_FALSE(writable);
}

TEST(PropertiesInfo, OptionalRowsAreInvalidUnlessTheUnitOffersThem) {
  Host<TestEffect> plain('prp3', {});
  UInt32 size = 0;
  Boolean writable = 0;
  const std::pair<AudioUnitPropertyID, AudioUnitScope> kMissing[] = {
      {kAudioUnitProperty_SupportedNumChannels, kGlobal}, {kAudioUnitProperty_TailTime, kGlobal},
      {kAudioUnitProperty_IconLocation, kGlobal},         {kAudioUnitProperty_SupportedChannelLayoutTags, kOutput},
      {kAudioUnitProperty_AudioChannelLayout, kOutput},   {kCustomProperty, kGlobal}};
  for (const auto& [id, scope] : kMissing) {
    EXPECT_EQ(Info(plain.unit, id, scope, 0, size, writable), kAudioUnitErr_InvalidProperty) << id;
  }
  AudioUnitParameterNameInfo clump{1, -1, nullptr};
  EXPECT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterClumpName, kGlobal, 0, clump), kAudioUnitErr_InvalidProperty);

  Host<RichUnit> rich('prp4', {});
  AUChannelInfo channels[2] = {};
  UInt32 channelsSize = sizeof channels;
  ASSERT_EQ(
      AudioUnitGetProperty(rich.unit, kAudioUnitProperty_SupportedNumChannels, kGlobal, 0, channels, &channelsSize),
      noErr);
  EXPECT_EQ(channelsSize, 8U);
  EXPECT_EQ(channels[1].outChannels, 2);
  Float64 seconds = 0;
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_TailTime, kGlobal, 0, seconds), noErr);
  EXPECT_DOUBLE_EQ(seconds, 0.25);
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_Latency, kGlobal, 0, seconds), noErr);
  EXPECT_DOUBLE_EQ(seconds, 0.005);
  CFURLRef icon = nullptr;
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_IconLocation, kGlobal, 0, icon), noErr);
  ASSERT_NE(icon, nullptr);
  EXPECT_EQ(CFGetRetainCount(icon), 1);  // a copy for the caller
  CFRelease(icon);
  AudioChannelLayoutTag tags[2] = {};
  UInt32 tagsSize = sizeof tags;
  ASSERT_EQ(AudioUnitGetProperty(rich.unit, kAudioUnitProperty_SupportedChannelLayoutTags, kInput, 0, tags, &tagsSize),
            noErr);
  EXPECT_EQ(tags[0], kAudioChannelLayoutTag_Stereo);
  EXPECT_EQ(tags[1], kAudioChannelLayoutTag_Mono);
  // Offered tags but no layout set: the value, not the property, is missing.
  EXPECT_EQ(Info(rich.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, size, writable),
            kAudioUnitErr_InvalidPropertyValue);
}

TEST(PropertiesInfo, ParameterPropertiesGoToTheUnit) {
  Host<TestEffect> plain('prp5', {});
  AudioUnitParameterInfo info{};
  ASSERT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterInfo, kGlobal, 0, info), noErr);
  EXPECT_STREQ(info.name, "gain");
  EXPECT_FLOAT_EQ(info.maxValue, 4.0F);
  EXPECT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterInfo, kGlobal, 9, info), kAudioUnitErr_InvalidParameter);
  AudioUnitParameterID ids[1] = {99};
  ASSERT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterList, kGlobal, 0, ids), noErr);
  EXPECT_EQ(ids[0], 0U);
  CFArrayRef strings = nullptr;
  EXPECT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterValueStrings, kGlobal, 0, strings),
            kAudioUnitErr_InvalidProperty);
  AudioUnitParameterHistoryInfo history{};
  EXPECT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterHistoryInfo, kGlobal, 0, history),
            kAudioUnitErr_InvalidProperty);

  Host<RichUnit> rich('prp6', {});
  UInt32 size = 0;
  Boolean writable = 1;
  ASSERT_EQ(Info(rich.unit, kAudioUnitProperty_ParameterList, kGlobal, 0, size, writable), noErr);
  EXPECT_EQ(size, 8U);
  AudioUnitParameterID richIds[2] = {};
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_ParameterList, kGlobal, 0, richIds), noErr);
  EXPECT_EQ(richIds[1], 7U);
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_ParameterHistoryInfo, kGlobal, 0, history), noErr);
  EXPECT_FLOAT_EQ(history.updatesPerSecond, 30.0F);
  EXPECT_FLOAT_EQ(history.historyDurationInSeconds, 2.0F);
  AudioUnitParameterNameInfo clump{1, -1, nullptr};
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_ParameterClumpName, kGlobal, 0, clump), noErr);
  EXPECT_TRUE(CFEqual(clump.outName, CFSTR("Tone")));
  clump = {2, -1, nullptr};  // a clump the unit's CopyClumpName does not know
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_ParameterClumpName, kGlobal, 0, clump), noErr);
  EXPECT_TRUE(CFEqual(clump.outName, CFSTR("From the unit")));
}

TEST(PropertiesInfo, OtherPropertiesAndReadOnlyRowsGoToTheUnit) {
  Host<RichUnit> rich('prp7', {});
  UInt32 value = 0;
  ASSERT_EQ(Get(rich.unit, kCustomProperty, kGlobal, 0, value), noErr);
  EXPECT_EQ(value, 11U);
  ASSERT_EQ(Set(rich.unit, kCustomProperty, kGlobal, 0, UInt32{23}), noErr);
  ASSERT_EQ(Get(rich.unit, kCustomProperty, kGlobal, 0, value), noErr);
  EXPECT_EQ(value, 23U);
  EXPECT_EQ(Set(rich.unit, kAudioUnitProperty_Latency, kGlobal, 0, Float64{1.0}), kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(rich.object()->setProperties,
            (std::vector<AudioUnitPropertyID>{kCustomProperty, kAudioUnitProperty_Latency}));
  EXPECT_EQ(Remove(rich.unit, kCustomProperty, kGlobal, 0), kAudioUnitErr_InvalidPropertyValue);
}

TEST(PropertiesRefusals, WrongScopesAreInvalidScope) {
  Host<TestEffect> host('prp8', {});
  UInt32 size = 0;
  Boolean writable = 0;
  const std::pair<AudioUnitPropertyID, AudioUnitScope> kWrongScopes[] = {
      {kAudioUnitProperty_ClassInfo, kInput},
      {kAudioUnitProperty_ClassInfo, kOutput},
      {kAudioUnitProperty_MaximumFramesPerSlice, kOutput},
      {kAudioUnitProperty_LastRenderError, kInput},
      {kAudioUnitProperty_ContextName, kOutput},
      {kAudioUnitProperty_PresentPreset, kInput},
      {kAudioUnitProperty_MakeConnection, kGlobal},
      {kAudioUnitProperty_SetRenderCallback, kOutput},
      {kAudioUnitProperty_ShouldAllocateBuffer, kGlobal},
      {kAudioUnitProperty_ElementCount, 9},
      {kAudioUnitProperty_StreamFormat, 9},
  };
  for (const auto& [id, scope] : kWrongScopes) {
    EXPECT_EQ(Info(host.unit, id, scope, 0, size, writable), kAudioUnitErr_InvalidScope) << id << "/" << scope;
  }
  CFPropertyListRef state = nullptr;
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_ClassInfo, kInput, 0, state), kAudioUnitErr_InvalidScope);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ClassInfo, kOutput, 0, state), kAudioUnitErr_InvalidScope);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_MaximumFramesPerSlice, kInput, 0, UInt32{256}),
            kAudioUnitErr_InvalidScope);
  EXPECT_EQ(Remove(host.unit, kAudioUnitProperty_NickName, kInput, 0), kAudioUnitErr_InvalidScope);
  EXPECT_EQ(Remove(host.unit, kAudioUnitProperty_HostCallbacks, kOutput, 0), kAudioUnitErr_InvalidScope);
}

TEST(PropertiesRefusals, MissingElementsAreInvalidElement) {
  Host<TestEffect> host('prp9', {});
  UInt32 size = 0;
  Boolean writable = 0;
  for (const auto id : {kAudioUnitProperty_StreamFormat, kAudioUnitProperty_SampleRate, kAudioUnitProperty_ElementName,
                        kAudioUnitProperty_ShouldAllocateBuffer}) {
    EXPECT_EQ(Info(host.unit, id, kInput, 1, size, writable), kAudioUnitErr_InvalidElement) << id;
  }
  AudioStreamBasicDescription format = testunits::FloatFormat(48000, 2);
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 3, format), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 3, format), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kInput, 2, Float64{48000}), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ElementName, kOutput, 1, CFSTR("x")), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kOutput, 1, UInt32{0}),
            kAudioUnitErr_InvalidElement);
}

TEST(PropertiesRefusals, WrongSizesAreInvalidValuesAndStoreNothing) {
  Host<TestEffect> host('prq1', {kAudioUnitProperty_StreamFormat, kAudioUnitProperty_MaximumFramesPerSlice});
  const std::byte bytes[64] = {};
  const std::tuple<AudioUnitPropertyID, AudioUnitScope, UInt32> kWrongSizes[] = {
      {kAudioUnitProperty_ClassInfo, kGlobal, 4},           {kAudioUnitProperty_MakeConnection, kInput, 8},
      {kAudioUnitProperty_SampleRate, kOutput, 4},          {kAudioUnitProperty_StreamFormat, kOutput, 39},
      {kAudioUnitProperty_StreamFormat, kOutput, 48},       {kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 8},
      {kAudioUnitProperty_SetRenderCallback, kInput, 8},    {kAudioUnitProperty_ContextName, kGlobal, 4},
      {kAudioUnitProperty_ElementName, kOutput, 16},        {kAudioUnitProperty_PresentPreset, kGlobal, 8},
      {kAudioUnitProperty_ShouldAllocateBuffer, kInput, 2}, {kAudioUnitProperty_NickName, kGlobal, 12},
      {kAudioUnitProperty_AudioChannelLayout, kOutput, 8},
  };
  for (const auto& [id, scope, size] : kWrongSizes) {
    EXPECT_EQ(AudioUnitSetProperty(host.unit, id, scope, 0, bytes, size), kAudioUnitErr_InvalidPropertyValue) << id;
  }
  // A layout that claims more channel descriptions than the data holds.
  AudioChannelLayout layout{};
  layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
  layout.mNumberChannelDescriptions = 2;
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, layout),
            kAudioUnitErr_InvalidPropertyValue);
  // Not a string where a string belongs.
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &layout.mNumberChannelDescriptions);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ContextName, kGlobal, 0, number), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ElementName, kInput, 0, number), kAudioUnitErr_InvalidPropertyValue);
  CFRelease(number);
  EXPECT_TRUE(host.heard.empty());
  UInt32 frames = 0;
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 0, frames), noErr);
  EXPECT_EQ(frames, ausdk::AUBase::kDefaultMaxFramesPerSlice);
}

TEST(PropertiesRefusals, ExceptionsFromAPropertyBecomeStatuses) {
  Host<ThrowingUnit> host('prq2', {});
  UInt32 value = 0;
  ASSERT_EQ(Get(host.unit, ThrowingUnit::kThrowingProperty, kGlobal, 0, value), noErr);
  EXPECT_EQ(value, 42U);
  const std::pair<ThrowingUnit::What, OSStatus> kConversions[] = {
      {ThrowingUnit::What::AUException, kAudioUnitErr_FailedInitialization},
      {ThrowingUnit::What::BadAlloc, kAudio_MemFullError},
      {ThrowingUnit::What::OSStatusValue, -12345},
      {ThrowingUnit::What::SystemError, 77},
      {ThrowingUnit::What::Other, -1},
  };
  for (const auto& [what, status] : kConversions) {
    host.object()->throwInProperty = what;
    EXPECT_EQ(Get(host.unit, ThrowingUnit::kThrowingProperty, kGlobal, 0, value), status);
  }
}

TEST(PropertiesFormats, FormatChangesGoThroughTheUnitAndAreAnnounced) {
  Host<TestEffect> host('prq3', {kAudioUnitProperty_StreamFormat, kAudioUnitProperty_SampleRate});
  const AudioStreamBasicDescription mono = testunits::FloatFormat(48000, 1);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, mono), noErr);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, Float64{96000}), noErr);
  AudioStreamBasicDescription format{};
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, format), noErr);
  EXPECT_EQ(format.mChannelsPerFrame, 1U);
  EXPECT_DOUBLE_EQ(format.mSampleRate, 48000);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kGlobal, 0, format), noErr);  // output 0's
  EXPECT_DOUBLE_EQ(format.mSampleRate, 96000);
  EXPECT_EQ(format.mChannelsPerFrame, 2U);
  Float64 rate = 0;
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, rate), noErr);
  EXPECT_DOUBLE_EQ(rate, 96000);
  EXPECT_EQ(host.heard, (std::vector<Announcement>{{kAudioUnitProperty_StreamFormat, kInput, 0},
                                                   {kAudioUnitProperty_StreamFormat, kOutput, 0}}));
}

TEST(PropertiesFormats, ImplausibleOrUnsupportedFormatsAreRefused) {
  Host<TestEffect> host('prq4', {kAudioUnitProperty_StreamFormat});
  auto with = [](auto change) {
    AudioStreamBasicDescription format = testunits::FloatFormat(48000, 2);
    change(format);
    return format;
  };
  using F = AudioStreamBasicDescription&;
  const AudioStreamBasicDescription kRefused[] = {
      with([](F f) { f.mSampleRate = 0; }),
      with([](F f) { f.mSampleRate = -44100; }),
      with([](F f) { f.mSampleRate = std::numeric_limits<double>::quiet_NaN(); }),
      with([](F f) { f.mSampleRate = std::numeric_limits<double>::infinity(); }),
      with([](F f) { f.mChannelsPerFrame = 0; }),
      with([](F f) { f.mChannelsPerFrame = 100000; }),
      with([](F f) { f.mBytesPerFrame = f.mBytesPerPacket = 0; }),
      with([](F f) { f.mFramesPerPacket = 0; }),
      with([](F f) { f.mFormatID = 0; }),
      with([](F f) { f.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsNonInterleaved; }),
      with([](F f) { f.mFormatFlags = kAudioFormatFlagsNativeFloatPacked; }),  // interleaved, 4 bytes for 2 channels
  };
  for (const auto& format : kRefused) {
    EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, format), kAudioUnitErr_FormatNotSupported);
  }
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kInput, 0, Float64{0}), kAudioUnitErr_FormatNotSupported);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kInput, 0, std::nan("")), kAudioUnitErr_FormatNotSupported);
  AudioStreamBasicDescription format{};
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, format), noErr);
  EXPECT_DOUBLE_EQ(format.mSampleRate, 44100);
  EXPECT_TRUE(host.heard.empty());
}

TEST(PropertiesFormats, FixedFormatsRefuseChangesButAcceptTheirOwnFormat) {
  Host<FixedFormatUnit> host('prq5', {kAudioUnitProperty_StreamFormat});
  AudioStreamBasicDescription current{};
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, current), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, current), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, current.mSampleRate), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, testunits::FloatFormat(48000, 2)),
            kAudioUnitErr_PropertyNotWritable);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, Float64{48000}),
            kAudioUnitErr_PropertyNotWritable);
  EXPECT_TRUE(host.heard.empty());
}

TEST(PropertiesFormats, GetIntoASmallerBufferGivesTheFirstBytes) {
  Host<TestEffect> host('prq6', {});
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, Float64{22050}), noErr);
  Float64 firstField = 0;
  UInt32 size = sizeof firstField;
  ASSERT_EQ(AudioUnitGetProperty(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, &firstField, &size), noErr);
  EXPECT_EQ(size, sizeof firstField);
  EXPECT_DOUBLE_EQ(firstField, 22050);
  size = 0;
  ASSERT_EQ(AudioUnitGetProperty(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, nullptr, &size), noErr);
  EXPECT_EQ(size, sizeof(AudioStreamBasicDescription));
}

TEST(PropertiesFormats, ChannelLayoutSetGetAndRemove) {
  Host<TestEffect> host('prq7', {kAudioUnitProperty_AudioChannelLayout});
  AudioChannelLayout layout{};
  layout.mChannelLayoutTag = kAudioChannelLayoutTag_Mono;
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, layout),
            kAudioUnitErr_InvalidPropertyValue);  // the bus carries two channels
  layout.mChannelLayoutTag = kAudioChannelLayoutTag_Stereo;
  // Only the header: a tag needs no channel descriptions.
  ASSERT_EQ(AudioUnitSetProperty(host.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, &layout,
                                 offsetof(AudioChannelLayout, mChannelDescriptions)),
            noErr);
  UInt32 size = 0;
  Boolean writable = 0;
  ASSERT_EQ(Info(host.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, size, writable), noErr);
  EXPECT_EQ(size, offsetof(AudioChannelLayout, mChannelDescriptions));
  EXPECT_TRUE(writable);
  AudioChannelLayout got{};
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, got), noErr);
  EXPECT_EQ(got.mChannelLayoutTag, kAudioChannelLayoutTag_Stereo);
  ASSERT_EQ(Remove(host.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0), noErr);
  EXPECT_EQ(Info(host.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, size, writable),
            kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(host.heard, (std::vector<Announcement>{{kAudioUnitProperty_AudioChannelLayout, kOutput, 0},
                                                   {kAudioUnitProperty_AudioChannelLayout, kOutput, 0}}));
}

TEST(PropertiesValues, MaximumFramesPerSliceIsFixedOnceInitialized) {
  Host<TestEffect> host('prq8', {kAudioUnitProperty_MaximumFramesPerSlice});
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 0, UInt32{512}), noErr);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 0, UInt32{512}), noErr);
  ASSERT_EQ(AudioUnitInitialize(host.unit), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 0, UInt32{1024}),
            kAudioUnitErr_Initialized);
  UInt32 frames = 0;
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 0, frames), noErr);
  EXPECT_EQ(frames, 512U);
  EXPECT_EQ(host.heard, (std::vector<Announcement>{{kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, 0}}));
}

TEST(PropertiesValues, LastRenderErrorIsClearedByReadingIt) {
  Host<TestEffect> host('prq9', {});
  AudioUnitRenderActionFlags flags = 0;
  const AudioTimeStamp time = testunits::SampleTime(0);
  testunits::BufferList buffers(2, 64);
  ASSERT_EQ(AudioUnitRender(host.unit, &flags, &time, 0, 64, buffers.get()), kAudioUnitErr_Uninitialized);
  OSStatus error = 0;
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_LastRenderError, kGlobal, 0, error), noErr);
  EXPECT_EQ(error, kAudioUnitErr_Uninitialized);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_LastRenderError, kGlobal, 0, error), noErr);
  EXPECT_EQ(error, noErr);
}

TEST(PropertiesValues, ElementCountOfAMultiBusUnit) {
  Host<MultiBusUnit> host('prr1', {kAudioUnitProperty_ElementCount});
  UInt32 size = 0;
  Boolean writable = 0;
  ASSERT_EQ(Info(host.unit, kAudioUnitProperty_ElementCount, kOutput, 0, size, writable), noErr);
  EXPECT_TRUE(writable);
  UInt32 count = 0;
  const std::pair<AudioUnitScope, UInt32> kCounts[] = {
      {kGlobal, 1}, {kInput, 2}, {kOutput, 3}, {kAudioUnitScope_Group, 2}};
  for (const auto& [scope, expected] : kCounts) {
    ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ElementCount, scope, 0, count), noErr);
    EXPECT_EQ(count, expected) << scope;
  }
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_ElementCount, kInput, 0, UInt32{4}), noErr);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ElementCount, kInput, 0, count), noErr);
  EXPECT_EQ(count, 4U);
  AudioStreamBasicDescription format{};
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kInput, 3, format), noErr);  // the new bus exists
  ASSERT_EQ(AudioUnitInitialize(host.unit), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ElementCount, kOutput, 0, UInt32{1}), kAudioUnitErr_Initialized);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ElementCount, kOutput, 0, count), noErr);
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(host.heard, (std::vector<Announcement>{{kAudioUnitProperty_ElementCount, kInput, 0}}));

  Host<TestEffect> fixed('prr2', {});
  EXPECT_EQ(Set(fixed.unit, kAudioUnitProperty_ElementCount, kInput, 0, UInt32{2}), kAudioUnitErr_PropertyNotWritable);
}

TEST(PropertiesValues, ShouldAllocateBufferPerBus) {
  Host<TestEffect> host('prr3', {kAudioUnitProperty_ShouldAllocateBuffer});
  UInt32 allocate = 0;
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kInput, 0, allocate), noErr);
  EXPECT_EQ(allocate, 1U);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kInput, 0, UInt32{0}), noErr);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kInput, 0, allocate), noErr);
  EXPECT_EQ(allocate, 0U);
  EXPECT_FALSE(host.object()->Input(0)->WillAllocateBuffer());
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kInput, 0, UInt32{7}), noErr);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kInput, 0, allocate), noErr);
  EXPECT_EQ(allocate, 1U);
  ASSERT_EQ(AudioUnitInitialize(host.unit), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kOutput, 0, UInt32{0}), kAudioUnitErr_Initialized);
  EXPECT_TRUE(host.object()->Output(0)->WillAllocateBuffer());
  EXPECT_TRUE(host.heard.empty());
}

TEST(PropertiesValues, HostCallbacksAreCopiedAndRemoved) {
  Host<TestEffect> host('prr4', {kAudioUnitProperty_HostCallbacks});
  HostCallbackInfo callbacks{};
  EXPECT_EQ(Remove(host.unit, kAudioUnitProperty_HostCallbacks, kGlobal, 0), noErr);  // nothing to remove
  callbacks.hostUserData = &host;
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_HostCallbacks, kGlobal, 0, callbacks), noErr);
  HostCallbackInfo got{};
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_HostCallbacks, kGlobal, 0, got), noErr);
  EXPECT_EQ(got.hostUserData, &host);
  ASSERT_EQ(Remove(host.unit, kAudioUnitProperty_HostCallbacks, kGlobal, 0), noErr);
  ASSERT_EQ(Remove(host.unit, kAudioUnitProperty_HostCallbacks, kGlobal, 0), noErr);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_HostCallbacks, kGlobal, 0, got), noErr);
  EXPECT_EQ(got.hostUserData, nullptr);
  EXPECT_EQ(host.heard, (std::vector<Announcement>{{kAudioUnitProperty_HostCallbacks, kGlobal, 0},
                                                   {kAudioUnitProperty_HostCallbacks, kGlobal, 0}}));
}

TEST(PropertiesValues, RenderCallbackAndConnectionAreWriteOnlyInputs) {
  Host<TestEffect> host('prr5', {});
  float value = 0.5F;
  const AURenderCallbackStruct callback{testunits::FillInput, &value};
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_SetRenderCallback, kInput, 0, callback), noErr);
  EXPECT_TRUE(host.object()->Input(0)->IsCallback());
  AURenderCallbackStruct got{};
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_SetRenderCallback, kInput, 0, got), kAudioUnitErr_InvalidProperty);
  AudioUnitConnection connection{};
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_MakeConnection, kInput, 0, connection), kAudioUnitErr_InvalidProperty);
}

TEST(PropertiesStrings, ContextAndNickNamesAreRetainedByTheUnit) {
  Host<TestEffect> host('prr6', {});
  for (const AudioUnitPropertyID id : {kAudioUnitProperty_ContextName, kAudioUnitProperty_NickName}) {
    CFStringRef got = nullptr;
    EXPECT_EQ(Get(host.unit, id, kGlobal, 0, got), kAudioUnitErr_PropertyNotInUse) << id;
    CFStringRef name = CFStringCreateWithCString(nullptr, "Lead vocal", kCFStringEncodingUTF8);
    ASSERT_EQ(Set(host.unit, id, kGlobal, 0, name), noErr);
    EXPECT_EQ(CFGetRetainCount(name), 2);
    ASSERT_EQ(Get(host.unit, id, kGlobal, 0, got), noErr);
    EXPECT_EQ(got, name);
    EXPECT_EQ(CFGetRetainCount(name), 3);  // the caller's reference to release
    CFRelease(got);
    ASSERT_EQ(Remove(host.unit, id, kGlobal, 0), noErr);
    EXPECT_EQ(CFGetRetainCount(name), 1);
    EXPECT_EQ(Get(host.unit, id, kGlobal, 0, got), kAudioUnitErr_PropertyNotInUse);
    CFRelease(name);
  }
}

TEST(PropertiesStrings, ElementNamesAreSetAnnouncedAndReturnedRetained) {
  Host<MultiBusUnit> host('prr7', {kAudioUnitProperty_ElementName});
  CFStringRef got = nullptr;
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_ElementName, kOutput, 2, got), kAudioUnitErr_PropertyNotInUse);
  CFStringRef name = CFStringCreateWithCString(nullptr, "Sidechain", kCFStringEncodingUTF8);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_ElementName, kOutput, 2, name), noErr);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_ElementName, kAudioUnitScope_Group, 1, name), noErr);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ElementName, kOutput, 2, got), noErr);
  EXPECT_TRUE(CFEqual(got, CFSTR("Sidechain")));
  EXPECT_EQ(CFGetRetainCount(name), 4);  // two elements and the caller
  CFRelease(got);
  CFRelease(name);
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_ElementName, kOutput, 1, got), kAudioUnitErr_PropertyNotInUse);
  EXPECT_EQ(host.heard, (std::vector<Announcement>{{kAudioUnitProperty_ElementName, kOutput, 2},
                                                   {kAudioUnitProperty_ElementName, kAudioUnitScope_Group, 1}}));
}

TEST(PropertiesStrings, PresentPresetNeedsANameForUserPresets) {
  Host<TestEffect> host('prr8', {kAudioUnitProperty_PresentPreset});
  AUPreset preset{};
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_PresentPreset, kGlobal, 0, preset), noErr);
  EXPECT_EQ(preset.presetNumber, -1);
  ASSERT_NE(preset.presetName, nullptr);
  EXPECT_TRUE(CFEqual(preset.presetName, CFSTR("Untitled")));
  CFRelease(preset.presetName);

  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_PresentPreset, kGlobal, 0, AUPreset{-1, nullptr}),
            kAudioUnitErr_InvalidPropertyValue);
  // The unit has no factory presets of its own.
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_PresentPreset, kGlobal, 0, AUPreset{3, CFSTR("Bright")}),
            kAudioUnitErr_InvalidProperty);
  EXPECT_TRUE(host.heard.empty());
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_PresentPreset, kGlobal, 0, AUPreset{-1, CFSTR("Mine")}), noErr);
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_PresentPreset, kGlobal, 0, preset), noErr);
  EXPECT_EQ(preset.presetNumber, -1);
  EXPECT_TRUE(CFEqual(preset.presetName, CFSTR("Mine")));
  CFRelease(preset.presetName);
  EXPECT_EQ(host.heard, (std::vector<Announcement>{{kAudioUnitProperty_PresentPreset, kGlobal, 0}}));
}

TEST(PropertiesStrings, ClassInfoRoundTripsThroughTheUnitsState) {
  Host<TestEffect> host('prr9', {});
  ASSERT_EQ(AudioUnitSetParameter(host.unit, 0, kGlobal, 0, 0.75F, 0), noErr);
  CFPropertyListRef state = nullptr;
  ASSERT_EQ(Get(host.unit, kAudioUnitProperty_ClassInfo, kGlobal, 0, state), noErr);
  ASSERT_NE(state, nullptr);
  ASSERT_EQ(AudioUnitSetParameter(host.unit, 0, kGlobal, 0, 0.25F, 0), noErr);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_ClassInfo, kGlobal, 0, state), noErr);
  CFRelease(state);
  AudioUnitParameterValue gain = 0;
  ASSERT_EQ(AudioUnitGetParameter(host.unit, 0, kGlobal, 0, &gain), noErr);
  EXPECT_FLOAT_EQ(gain, 0.75F);
}

TEST(PropertiesListeners, EachEntryIsCalledAndRemovalMatchesProcAndUserData) {
  Host<TestEffect> host('prs1', {});
  std::vector<Announcement> first;
  std::vector<Announcement> second;
  const AudioUnitPropertyID id = kAudioUnitProperty_MaximumFramesPerSlice;
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, Record, &first), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, Record, &first), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, Record, &second), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, RecordAgain, &second), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, kAudioUnitProperty_StreamFormat, Record, &first), noErr);
  EXPECT_EQ(AudioUnitAddPropertyListener(host.unit, id, nullptr, &first), kAudio_ParamError);

  ASSERT_EQ(Set(host.unit, id, kGlobal, 0, UInt32{256}), noErr);
  EXPECT_EQ(first.size(), 2U);
  EXPECT_EQ(second.size(), 2U);

  // With user data only the matching entries go, both copies of them.
  ASSERT_EQ(AudioUnitRemovePropertyListenerWithUserData(host.unit, id, Record, &first), noErr);
  ASSERT_EQ(Set(host.unit, id, kGlobal, 0, UInt32{128}), noErr);
  EXPECT_EQ(first.size(), 2U);
  EXPECT_EQ(second.size(), 4U);

  // Without user data every entry of the procedure goes, whatever its user data.
  ASSERT_EQ(RemoveListener(host.unit, id, Record), noErr);
  ASSERT_EQ(Set(host.unit, id, kGlobal, 0, UInt32{64}), noErr);
  EXPECT_EQ(second.size(), 5U);
  ASSERT_EQ(RemoveListener(host.unit, id, RecordAgain), noErr);
  EXPECT_EQ(RemoveListener(host.unit, id, RecordAgain), noErr);  // nothing left: still fine
  ASSERT_EQ(Set(host.unit, id, kGlobal, 0, UInt32{32}), noErr);
  EXPECT_EQ(second.size(), 5U);

  // The listener of another property stayed.
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, Float64{32000}), noErr);
  ASSERT_EQ(first.size(), 3U);
  EXPECT_EQ(first.back(), (Announcement{kAudioUnitProperty_StreamFormat, kOutput, 0}));
}

struct OrderLog {
  std::vector<int> calls;
};

template <int N>
void Numbered(void* refCon, AudioUnit /*unit*/, AudioUnitPropertyID /*id*/, AudioUnitScope /*scope*/,
              AudioUnitElement /*element*/) {
  static_cast<OrderLog*>(refCon)->calls.push_back(N);
}

TEST(PropertiesListeners, CalledInTheOrderAddedWithTheUnitsHandle) {
  Host<TestEffect> host('prs2', {});
  OrderLog log;
  const AudioUnitPropertyID id = kAudioUnitProperty_ElementName;
  AudioUnitAddPropertyListener(host.unit, id, Numbered<1>, &log);
  AudioUnitAddPropertyListener(host.unit, id, Numbered<2>, &log);
  AudioUnitAddPropertyListener(host.unit, id, Numbered<3>, &log);
  RemoveListener(host.unit, id, Numbered<2>);
  AudioUnitAddPropertyListener(host.unit, id, Numbered<2>, &log);
  static AudioUnit seen = nullptr;
  AudioUnitAddPropertyListener(
      host.unit, id, [](void*, AudioUnit unit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement) { seen = unit; },
      nullptr);
  ASSERT_EQ(Set(host.unit, id, kInput, 0, CFSTR("In")), noErr);
  EXPECT_EQ(log.calls, (std::vector<int>{1, 3, 2}));
  EXPECT_EQ(seen, host.unit.get());
}

}  // namespace
