// The standard properties a unit answers, driven as a host drives them:
// scopes, sizes, writability, values, announcements to listeners, and the
// hand-off of everything else to the unit's own overrides.
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

#include "TestUnits.h"

namespace {

using testunits::Get;
using testunits::Instance;
using testunits::MultiBusUnit;
using testunits::Set;
using testunits::TestEffect;
using testunits::Value;

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
using Heard = std::vector<Announcement>;

void Record(void* refCon, AudioUnit /*unit*/, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element) {
  static_cast<Heard*>(refCon)->push_back({id, scope, element});
}

void RecordAgain(void* refCon, AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element) {
  Record(refCon, unit, id, scope, element);
}

OSStatus Remove(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element) {
  return AudioUnitSetProperty(unit, id, scope, element, testunits::Absent<const void>(), 0);
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

// The size of a property whose info must be readable.
UInt32 SizeOf(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element = 0) {
  UInt32 size = 0;
  Boolean writable = 0;
  EXPECT_EQ(Info(unit, id, scope, element, size, writable), noErr) << "property " << id;
  return size;
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
  Heard heard;
};

constexpr AudioUnitScope kGlobal = kAudioUnitScope_Global;
constexpr AudioUnitScope kInput = kAudioUnitScope_Input;
constexpr AudioUnitScope kOutput = kAudioUnitScope_Output;
constexpr AudioUnitScope kGroup = kAudioUnitScope_Group;

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
  EXPECT_DOUBLE_EQ(Value<Float64>(rich.unit, kAudioUnitProperty_TailTime), 0.25);
  EXPECT_DOUBLE_EQ(Value<Float64>(rich.unit, kAudioUnitProperty_Latency), 0.005);
  CFURLRef icon = nullptr;
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_IconLocation, kGlobal, 0, icon), noErr);
  ASSERT_NE(icon, nullptr);
  EXPECT_EQ(CFGetRetainCount(icon), 1);  // a copy for the caller
  CFRelease(icon);
  const auto tags =
      Value<std::array<AudioChannelLayoutTag, 2>>(rich.unit, kAudioUnitProperty_SupportedChannelLayoutTags, kInput);
  EXPECT_EQ(tags, (std::array<AudioChannelLayoutTag, 2>{kAudioChannelLayoutTag_Stereo, kAudioChannelLayoutTag_Mono}));
  // Offered tags but no layout set: the value, not the property, is missing.
  EXPECT_EQ(Info(rich.unit, kAudioUnitProperty_AudioChannelLayout, kOutput, 0, size, writable),
            kAudioUnitErr_InvalidPropertyValue);
}

TEST(PropertiesInfo, ParameterPropertiesGoToTheUnit) {
  Host<TestEffect> plain('prp5', {});
  AudioUnitParameterInfo info = Value<AudioUnitParameterInfo>(plain.unit, kAudioUnitProperty_ParameterInfo);
  EXPECT_STREQ(info.name, "gain");
  EXPECT_FLOAT_EQ(info.maxValue, 4.0F);
  EXPECT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterInfo, kGlobal, 9, info), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(Value<AudioUnitParameterID>(plain.unit, kAudioUnitProperty_ParameterList), 0U);
  CFArrayRef strings = nullptr;
  EXPECT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterValueStrings, kGlobal, 0, strings),
            kAudioUnitErr_InvalidProperty);
  AudioUnitParameterHistoryInfo history{};
  EXPECT_EQ(Get(plain.unit, kAudioUnitProperty_ParameterHistoryInfo, kGlobal, 0, history),
            kAudioUnitErr_InvalidProperty);

  Host<RichUnit> rich('prp6', {});
  EXPECT_EQ(SizeOf(rich.unit, kAudioUnitProperty_ParameterList, kGlobal), 8U);
  const auto ids = Value<std::array<AudioUnitParameterID, 2>>(rich.unit, kAudioUnitProperty_ParameterList);
  EXPECT_EQ(ids[1], 7U);
  history = Value<AudioUnitParameterHistoryInfo>(rich.unit, kAudioUnitProperty_ParameterHistoryInfo);
  EXPECT_FLOAT_EQ(history.updatesPerSecond, 30.0F);
  EXPECT_FLOAT_EQ(history.historyDurationInSeconds, 2.0F);
  AudioUnitParameterNameInfo clump{1, -1, nullptr};
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_ParameterClumpName, kGlobal, 0, clump), noErr);
  EXPECT_TRUE(CFEqual(clump.outName, CFSTR("Tone")));
  clump = {2, -1, nullptr};  // a clump the unit's CopyClumpName does not know
  ASSERT_EQ(Get(rich.unit, kAudioUnitProperty_ParameterClumpName, kGlobal, 0, clump), noErr);
  EXPECT_TRUE(CFEqual(clump.outName, CFSTR("From the unit")));
}

TEST(PropertiesInfo, OtherPropertiesAndWritesToReadOnlyRowsGoToTheUnitAndWriteOnlyRowsAreNotRead) {
  Host<RichUnit> rich('prp7', {});
  EXPECT_EQ(Value<UInt32>(rich.unit, kCustomProperty), 11U);
  ASSERT_EQ(Set(rich.unit, kCustomProperty, kGlobal, 0, UInt32{23}), noErr);
  EXPECT_EQ(Value<UInt32>(rich.unit, kCustomProperty), 23U);
  EXPECT_EQ(Set(rich.unit, kAudioUnitProperty_Latency, kGlobal, 0, Float64{1.0}), kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(rich.object()->setProperties,
            (std::vector<AudioUnitPropertyID>{kCustomProperty, kAudioUnitProperty_Latency}));
  EXPECT_EQ(Remove(rich.unit, kCustomProperty, kGlobal, 0), kAudioUnitErr_InvalidPropertyValue);
  // The render callback and the connection are write-only.
  AURenderCallbackStruct callback{};
  EXPECT_EQ(Get(rich.unit, kAudioUnitProperty_SetRenderCallback, kInput, 0, callback), kAudioUnitErr_InvalidProperty);
  AudioUnitConnection connection{};
  EXPECT_EQ(Get(rich.unit, kAudioUnitProperty_MakeConnection, kInput, 0, connection), kAudioUnitErr_InvalidProperty);
}

TEST(PropertiesRefusals, WrongScopesAndMissingElementsAreRefused) {
  Host<TestEffect> host('prp8', {});
  constexpr OSStatus kScope = kAudioUnitErr_InvalidScope;
  constexpr OSStatus kElement = kAudioUnitErr_InvalidElement;
  const std::tuple<AudioUnitPropertyID, AudioUnitScope, AudioUnitElement, OSStatus> kRefused[] = {
      {kAudioUnitProperty_ClassInfo, kInput, 0, kScope},
      {kAudioUnitProperty_ClassInfo, kOutput, 0, kScope},
      {kAudioUnitProperty_MaximumFramesPerSlice, kOutput, 0, kScope},
      {kAudioUnitProperty_LastRenderError, kInput, 0, kScope},
      {kAudioUnitProperty_ContextName, kOutput, 0, kScope},
      {kAudioUnitProperty_PresentPreset, kInput, 0, kScope},
      {kAudioUnitProperty_MakeConnection, kGlobal, 0, kScope},
      {kAudioUnitProperty_SetRenderCallback, kOutput, 0, kScope},
      {kAudioUnitProperty_ShouldAllocateBuffer, kGlobal, 0, kScope},
      {kAudioUnitProperty_ElementCount, 9, 0, kScope},
      {kAudioUnitProperty_StreamFormat, 9, 0, kScope},
      {kAudioUnitProperty_StreamFormat, kInput, 1, kElement},
      {kAudioUnitProperty_SampleRate, kInput, 1, kElement},
      {kAudioUnitProperty_ElementName, kInput, 1, kElement},
      {kAudioUnitProperty_ShouldAllocateBuffer, kInput, 1, kElement},
  };
  UInt32 size = 0;
  Boolean writable = 0;
  for (const auto& [id, scope, element, status] : kRefused) {
    EXPECT_EQ(Info(host.unit, id, scope, element, size, writable), status) << id << "/" << scope << "/" << element;
  }
  CFPropertyListRef state = nullptr;
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_ClassInfo, kInput, 0, state), kScope);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ClassInfo, kOutput, 0, state), kScope);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_MaximumFramesPerSlice, kInput, 0, UInt32{256}), kScope);
  EXPECT_EQ(Remove(host.unit, kAudioUnitProperty_NickName, kInput, 0), kScope);
  EXPECT_EQ(Remove(host.unit, kAudioUnitProperty_HostCallbacks, kOutput, 0), kScope);
  AudioStreamBasicDescription format = testunits::FloatFormat(48000, 2);
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 3, format), kElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 3, format), kElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kInput, 2, Float64{48000}), kElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ElementName, kOutput, 1, CFSTR("x")), kElement);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_ShouldAllocateBuffer, kOutput, 1, UInt32{0}), kElement);
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
  // On a bus that does not exist: formats and names have their size checked
  // first, the buffer flag its element.
  const std::tuple<AudioUnitPropertyID, UInt32, OSStatus> kCheckOrder[] = {
      {kAudioUnitProperty_SampleRate, 4, kAudioUnitErr_InvalidPropertyValue},
      {kAudioUnitProperty_StreamFormat, 39, kAudioUnitErr_InvalidPropertyValue},
      {kAudioUnitProperty_ElementName, 4, kAudioUnitErr_InvalidPropertyValue},
      {kAudioUnitProperty_ShouldAllocateBuffer, 2, kAudioUnitErr_InvalidElement},
  };
  for (const auto& [id, size, status] : kCheckOrder) {
    EXPECT_EQ(AudioUnitSetProperty(host.unit, id, kOutput, 5, bytes, size), status) << id;
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
  EXPECT_EQ(Value<UInt32>(host.unit, kAudioUnitProperty_MaximumFramesPerSlice),
            ausdk::AUBase::kDefaultMaxFramesPerSlice);
}

using Format = AudioStreamBasicDescription;

TEST(PropertiesFormats, FormatChangesGoThroughTheUnitAndAreAnnounced) {
  Host<TestEffect> host('prq3', {kAudioUnitProperty_StreamFormat, kAudioUnitProperty_SampleRate});
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, testunits::FloatFormat(48000, 1)), noErr);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, Float64{96000}), noErr);
  Format format = Value<Format>(host.unit, kAudioUnitProperty_StreamFormat, kInput);
  EXPECT_EQ(format.mChannelsPerFrame, 1U);
  EXPECT_DOUBLE_EQ(format.mSampleRate, 48000);
  format = Value<Format>(host.unit, kAudioUnitProperty_StreamFormat, kGlobal);  // output 0's
  EXPECT_DOUBLE_EQ(format.mSampleRate, 96000);
  EXPECT_EQ(format.mChannelsPerFrame, 2U);
  EXPECT_DOUBLE_EQ(Value<Float64>(host.unit, kAudioUnitProperty_SampleRate, kOutput), 96000);
  // A global change lands on output 0.
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kGlobal, 0, testunits::FloatFormat(22050, 1)), noErr);
  EXPECT_EQ(Value<Format>(host.unit, kAudioUnitProperty_StreamFormat, kOutput).mChannelsPerFrame, 1U);
  EXPECT_EQ(host.heard, (Heard{{kAudioUnitProperty_StreamFormat, kInput, 0},
                               {kAudioUnitProperty_StreamFormat, kOutput, 0},
                               {kAudioUnitProperty_StreamFormat, kGlobal, 0}}));

  // A larger buffer gets the value and its real size; a smaller one the first
  // bytes; none gets the size.
  struct {
    Format format;
    std::byte beyond[16];
  } larger{};
  UInt32 size = sizeof larger;
  ASSERT_EQ(AudioUnitGetProperty(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, &larger, &size), noErr);
  EXPECT_EQ(size, sizeof(Format));
  EXPECT_DOUBLE_EQ(larger.format.mSampleRate, 22050);
  EXPECT_EQ(larger.format.mChannelsPerFrame, 1U);
  Float64 firstField = 0;
  size = sizeof firstField;
  ASSERT_EQ(AudioUnitGetProperty(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, &firstField, &size), noErr);
  EXPECT_EQ(size, sizeof firstField);
  EXPECT_DOUBLE_EQ(firstField, 22050);
  size = 0;
  ASSERT_EQ(
      AudioUnitGetProperty(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, testunits::Absent<void>(), &size),
      noErr);
  EXPECT_EQ(size, sizeof(Format));
}

TEST(PropertiesFormats, OnlyPlausibleThirtyTwoBitFloatPcmInOneFramePacketsIsAccepted) {
  Host<TestEffect> host('prq4', {kAudioUnitProperty_StreamFormat});
  auto with = [](auto change) {
    Format format = testunits::FloatFormat(48000, 2);
    change(format);
    return format;
  };
  using F = Format&;
  constexpr auto kIsFloat = static_cast<UInt32>(kAudioFormatFlagIsFloat);
  const Format kRefused[] = {
      // Implausible: nothing to ask the unit about.
      with([](F f) { f.mSampleRate = 0; }), with([](F f) { f.mSampleRate = -44100; }),
      with([](F f) { f.mSampleRate = std::numeric_limits<double>::quiet_NaN(); }),
      with([](F f) { f.mSampleRate = std::numeric_limits<double>::infinity(); }),
      with([](F f) { f.mChannelsPerFrame = 0; }), with([](F f) { f.mChannelsPerFrame = 100000; }),
      with([](F f) { f.mBytesPerFrame = f.mBytesPerPacket = 0; }), with([](F f) { f.mFramesPerPacket = 0; }),
      with([](F f) { f.mFormatID = 0; }),
      // Plausible, but not what the unit renders.
      with([](F f) { f.mFormatID = kAudioFormatAppleLossless; }), with([](F f) { f.mFramesPerPacket = 2; }),
      with([](F f) { f.mBytesPerPacket = 8; }),
      with([](F f) { f.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsNonInterleaved; }),
      with([&](F f) { f.mFormatFlags &= ~kIsFloat; }), with([](F f) { f.mFormatFlags |= kAudioFormatFlagIsBigEndian; }),
      with([](F f) { f.mBitsPerChannel = 64; }),
      with([](F f) { f.mFormatFlags = kAudioFormatFlagsNativeFloatPacked; }),  // interleaved, 4 bytes for 2 channels
      with([](F f) { f.mBytesPerFrame = f.mBytesPerPacket = 8; }),             // non-interleaved, 8 bytes a channel
  };
  for (size_t i = 0; i < std::size(kRefused); ++i) {
    EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, kRefused[i]),
              kAudioUnitErr_FormatNotSupported)
        << "case " << i;
  }
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kInput, 0, Float64{0}), kAudioUnitErr_FormatNotSupported);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kInput, 0, std::nan("")), kAudioUnitErr_FormatNotSupported);
  EXPECT_DOUBLE_EQ(Value<Format>(host.unit, kAudioUnitProperty_StreamFormat, kOutput).mSampleRate, 44100);
  EXPECT_TRUE(host.heard.empty());
  // Interleaved is fine for one channel.
  Format interleavedMono = testunits::FloatFormat(48000, 1);
  interleavedMono.mFormatFlags &= ~static_cast<UInt32>(kAudioFormatFlagIsNonInterleaved);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, interleavedMono), noErr);
}

TEST(PropertiesFormats, FixedFormatsRefuseChangesButAcceptTheirOwnFormat) {
  Host<FixedFormatUnit> host('prq5', {kAudioUnitProperty_StreamFormat});
  const Format current = Value<Format>(host.unit, kAudioUnitProperty_StreamFormat, kInput);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, current), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, current.mSampleRate), noErr);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, testunits::FloatFormat(48000, 2)),
            kAudioUnitErr_PropertyNotWritable);
  EXPECT_EQ(Set(host.unit, kAudioUnitProperty_SampleRate, kOutput, 0, Float64{48000}),
            kAudioUnitErr_PropertyNotWritable);
  EXPECT_TRUE(host.heard.empty());
}

TEST(PropertiesFormats, ChannelLayoutMustFitTheBusAndGoesWhenItsChannelCountChanges) {
  const AudioUnitPropertyID kLayout = kAudioUnitProperty_AudioChannelLayout;
  Host<TestEffect> host('prq7', {kLayout});
  AudioChannelLayout layout{};
  layout.mChannelLayoutTag = kAudioChannelLayoutTag_Mono;
  EXPECT_EQ(Set(host.unit, kLayout, kOutput, 0, layout), kAudioUnitErr_InvalidPropertyValue);  // two channels
  // Only the header: a tag needs no channel descriptions.
  const UInt32 kHeader = offsetof(AudioChannelLayout, mChannelDescriptions);
  layout.mChannelLayoutTag = kAudioChannelLayoutTag_Stereo;
  ASSERT_EQ(AudioUnitSetProperty(host.unit, kLayout, kOutput, 0, &layout, kHeader), noErr);
  UInt32 size = 0;
  Boolean writable = 0;
  ASSERT_EQ(Info(host.unit, kLayout, kOutput, 0, size, writable), noErr);
  EXPECT_EQ(size, kHeader);
  EXPECT_TRUE(writable);
  EXPECT_EQ(Value<AudioChannelLayout>(host.unit, kLayout, kOutput).mChannelLayoutTag, kAudioChannelLayoutTag_Stereo);
  layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelBitmap;
  layout.mChannelBitmap = kAudioChannelBit_Left | kAudioChannelBit_Right;
  ASSERT_EQ(Set(host.unit, kLayout, kOutput, 0, layout), noErr);
  EXPECT_EQ(Value<AudioChannelLayout>(host.unit, kLayout, kOutput).mChannelBitmap, layout.mChannelBitmap);

  // Two descriptions: the layout is stored whole, and stays while the bus keeps two channels.
  alignas(AudioChannelLayout) std::byte storage[12 + 2 * 20] = {};
  auto* described = reinterpret_cast<AudioChannelLayout*>(storage);
  described->mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
  described->mNumberChannelDescriptions = 2;
  described->mChannelDescriptions[0].mChannelLabel = kAudioChannelLabel_Left;
  described->mChannelDescriptions[1].mChannelLabel = kAudioChannelLabel_Right;
  ASSERT_EQ(AudioUnitSetProperty(host.unit, kLayout, kInput, 0, storage, sizeof storage), noErr);
  EXPECT_EQ(SizeOf(host.unit, kLayout, kInput), 52U);
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kInput, 0, testunits::FloatFormat(48000, 2)), noErr);
  EXPECT_EQ(SizeOf(host.unit, kLayout, kInput), 52U);
  ASSERT_EQ(Remove(host.unit, kLayout, kInput, 0), noErr);
  EXPECT_EQ(Info(host.unit, kLayout, kInput, 0, size, writable), kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(host.heard,
            (Heard{{kLayout, kOutput, 0}, {kLayout, kOutput, 0}, {kLayout, kInput, 0}, {kLayout, kInput, 0}}));

  // A mono format no longer fits the stereo layout.
  ASSERT_EQ(Set(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 0, testunits::FloatFormat(44100, 1)), noErr);
  EXPECT_EQ(Info(host.unit, kLayout, kOutput, 0, size, writable), kAudioUnitErr_InvalidProperty);
}

TEST(PropertiesValues, MaximumFramesPerSliceIsFixedOnceInitialized) {
  const AudioUnitPropertyID kMaxFrames = kAudioUnitProperty_MaximumFramesPerSlice;
  Host<TestEffect> host('prq8', {kMaxFrames});
  ASSERT_EQ(Set(host.unit, kMaxFrames, kGlobal, 0, UInt32{512}), noErr);
  ASSERT_EQ(Set(host.unit, kMaxFrames, kGlobal, 0, UInt32{512}), noErr);
  ASSERT_EQ(AudioUnitInitialize(host.unit), noErr);
  EXPECT_EQ(Set(host.unit, kMaxFrames, kGlobal, 0, UInt32{1024}), kAudioUnitErr_Initialized);
  EXPECT_EQ(Value<UInt32>(host.unit, kMaxFrames), 512U);
  EXPECT_EQ(host.heard, (Heard{{kMaxFrames, kGlobal, 0}}));
}

TEST(PropertiesValues, ElementCountsChangeOnlyWhileUninitializedAndGlobalStaysAtOne) {
  const AudioUnitPropertyID kCount = kAudioUnitProperty_ElementCount;
  Host<MultiBusUnit> host('prr1', {kCount});
  UInt32 size = 0;
  Boolean writable = 0;
  ASSERT_EQ(Info(host.unit, kCount, kOutput, 0, size, writable), noErr);
  EXPECT_TRUE(writable);
  for (const auto& [scope, expected] : {std::pair{kGlobal, 1U}, {kInput, 2U}, {kOutput, 3U}, {kGroup, 2U}}) {
    EXPECT_EQ(Value<UInt32>(host.unit, kCount, scope), expected) << scope;
  }
  ASSERT_EQ(Set(host.unit, kCount, kInput, 0, UInt32{4}), noErr);
  EXPECT_EQ(Value<UInt32>(host.unit, kCount, kInput), 4U);
  Format format{};
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kInput, 3, format), noErr);  // the new bus exists
  ASSERT_EQ(Set(host.unit, kCount, kOutput, 0, UInt32{2}), noErr);
  EXPECT_EQ(Get(host.unit, kAudioUnitProperty_StreamFormat, kOutput, 2, format), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(Set(host.unit, kCount, kGlobal, 0, UInt32{2}), kAudioUnitErr_InvalidScope);
  EXPECT_EQ(Value<UInt32>(host.unit, kCount, kGlobal), 1U);
  ASSERT_EQ(AudioUnitInitialize(host.unit), noErr);
  EXPECT_EQ(Set(host.unit, kCount, kOutput, 0, UInt32{1}), kAudioUnitErr_Initialized);
  EXPECT_EQ(Value<UInt32>(host.unit, kCount, kOutput), 2U);
  EXPECT_EQ(host.heard, (Heard{{kCount, kInput, 0}, {kCount, kOutput, 0}}));
  EXPECT_THROW((void)host.object()->GetScope(7), ausdk::AUException);
  EXPECT_THROW((void)host.object()->IOElement(kGroup, 0), ausdk::AUException);

  Host<TestEffect> fixed('prr2', {});
  EXPECT_EQ(Set(fixed.unit, kCount, kInput, 0, UInt32{2}), kAudioUnitErr_PropertyNotWritable);
}

TEST(PropertiesValues, ShouldAllocateBufferPerBus) {
  const AudioUnitPropertyID kAllocate = kAudioUnitProperty_ShouldAllocateBuffer;
  Host<TestEffect> host('prr3', {kAllocate});
  EXPECT_EQ(Value<UInt32>(host.unit, kAllocate, kInput), 1U);
  ASSERT_EQ(Set(host.unit, kAllocate, kInput, 0, UInt32{0}), noErr);
  EXPECT_EQ(Value<UInt32>(host.unit, kAllocate, kInput), 0U);
  EXPECT_FALSE(host.object()->Input(0)->WillAllocateBuffer());
  ASSERT_EQ(Set(host.unit, kAllocate, kInput, 0, UInt32{7}), noErr);
  EXPECT_EQ(Value<UInt32>(host.unit, kAllocate, kInput), 1U);
  ASSERT_EQ(AudioUnitInitialize(host.unit), noErr);
  EXPECT_EQ(Set(host.unit, kAllocate, kOutput, 0, UInt32{0}), kAudioUnitErr_Initialized);
  EXPECT_TRUE(host.object()->Output(0)->WillAllocateBuffer());
  EXPECT_TRUE(host.heard.empty());
}

TEST(PropertiesValues, HostCallbacksAreCopiedAndRemoved) {
  const AudioUnitPropertyID kCallbacks = kAudioUnitProperty_HostCallbacks;
  Host<TestEffect> host('prr4', {kCallbacks});
  EXPECT_EQ(Remove(host.unit, kCallbacks, kGlobal, 0), noErr);  // nothing to remove
  HostCallbackInfo callbacks{};
  callbacks.hostUserData = &host;
  ASSERT_EQ(Set(host.unit, kCallbacks, kGlobal, 0, callbacks), noErr);
  EXPECT_EQ(Value<HostCallbackInfo>(host.unit, kCallbacks).hostUserData, &host);
  ASSERT_EQ(Remove(host.unit, kCallbacks, kGlobal, 0), noErr);
  ASSERT_EQ(Remove(host.unit, kCallbacks, kGlobal, 0), noErr);
  EXPECT_EQ(Value<HostCallbackInfo>(host.unit, kCallbacks).hostUserData, nullptr);
  EXPECT_EQ(host.heard, (Heard{{kCallbacks, kGlobal, 0}, {kCallbacks, kGlobal, 0}}));
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
  const AudioUnitPropertyID kName = kAudioUnitProperty_ElementName;
  Host<MultiBusUnit> host('prr7', {kName});
  CFStringRef got = nullptr;
  EXPECT_EQ(Get(host.unit, kName, kOutput, 2, got), kAudioUnitErr_PropertyNotInUse);
  CFStringRef name = CFStringCreateWithCString(nullptr, "Sidechain", kCFStringEncodingUTF8);
  ASSERT_EQ(Set(host.unit, kName, kOutput, 2, name), noErr);
  ASSERT_EQ(Set(host.unit, kName, kGroup, 1, name), noErr);
  ASSERT_EQ(Get(host.unit, kName, kOutput, 2, got), noErr);
  EXPECT_TRUE(CFEqual(got, CFSTR("Sidechain")));
  EXPECT_EQ(CFGetRetainCount(name), 4);  // two elements and the caller
  CFRelease(got);
  CFRelease(name);
  EXPECT_EQ(Get(host.unit, kName, kOutput, 1, got), kAudioUnitErr_PropertyNotInUse);
  EXPECT_EQ(host.heard, (Heard{{kName, kOutput, 2}, {kName, kGroup, 1}}));
}

TEST(PropertiesListeners, EachEntryIsCalledAndRemovalMatchesProcAndUserData) {
  Host<TestEffect> host('prs1', {});
  Heard first;
  Heard second;
  const AudioUnitPropertyID id = kAudioUnitProperty_MaximumFramesPerSlice;
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, Record, &first), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, Record, &first), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, Record, &second), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, id, RecordAgain, &second), noErr);
  ASSERT_EQ(AudioUnitAddPropertyListener(host.unit, kAudioUnitProperty_StreamFormat, Record, &first), noErr);
  // A null procedure, through the unit's own table (a platform may refuse it first).
  const testunits::DirectUnit<ausdk::AUBaseLookup, TestEffect> direct(host.unit);
  EXPECT_EQ(
      direct.Call(kAudioUnitAddPropertyListenerSelect, id,
                  testunits::Absent<void(void*, AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement)>(),
                  static_cast<void*>(&first)),
      kAudio_ParamError);

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

template <int N>
void Numbered(void* refCon, AudioUnit /*unit*/, AudioUnitPropertyID /*id*/, AudioUnitScope /*scope*/,
              AudioUnitElement /*element*/) {
  static_cast<std::vector<int>*>(refCon)->push_back(N);
}

TEST(PropertiesListeners, CalledInTheOrderAddedWithTheUnitsHandle) {
  Host<TestEffect> host('prs2', {});
  std::vector<int> calls;
  const AudioUnitPropertyID id = kAudioUnitProperty_ElementName;
  AudioUnitAddPropertyListener(host.unit, id, Numbered<1>, &calls);
  AudioUnitAddPropertyListener(host.unit, id, Numbered<2>, &calls);
  AudioUnitAddPropertyListener(host.unit, id, Numbered<3>, &calls);
  RemoveListener(host.unit, id, Numbered<2>);
  AudioUnitAddPropertyListener(host.unit, id, Numbered<2>, &calls);
  static AudioUnit seen = nullptr;
  AudioUnitAddPropertyListener(
      host.unit, id, [](void*, AudioUnit unit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement) { seen = unit; },
      nullptr);
  ASSERT_EQ(Set(host.unit, id, kInput, 0, CFSTR("In")), noErr);
  EXPECT_EQ(calls, (std::vector<int>{1, 3, 2}));
  EXPECT_EQ(seen, host.unit.get());
}

}  // namespace
