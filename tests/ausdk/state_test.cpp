// Saved state through kAudioUnitProperty_ClassInfo, as a host saves and restores
// a unit, and the current preset through kAudioUnitProperty_PresentPreset.
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "TestUnits.h"

namespace {

using testunits::Instance;
using testunits::Param;

// Global: 0 gain 1.0, 1 level, 5 omitted from presets, 7 with names the caller
// must release, 9 a meter, 42 without info. Input 0: 3 trim. Group 0: 11, never
// saved; three group elements.
constexpr AudioUnitParameterID kLevel = 1;
constexpr AudioUnitParameterID kOmitted = 5;
constexpr AudioUnitParameterID kNamed = 7;
constexpr AudioUnitParameterID kMeter = 9;
constexpr AudioUnitParameterID kNoInfo = 42;
constexpr AudioUnitParameterID kInputTrim = 3;
constexpr AudioUnitParameterID kGroupParam = 11;

constexpr OSType kStateSubtype = 'sta1';

class StateUnit : public testunits::TestEffect {
 public:
  explicit StateUnit(AudioComponentInstance instance) : TestEffect(instance, 1, 1, 3) {
    Globals()->SetParameter(kLevel, 0.25F);
    Globals()->SetParameter(kOmitted, 2.0F);
    Globals()->SetParameter(kNamed, -3.5F);
    Globals()->SetParameter(kMeter, 0.125F);
    Globals()->SetParameter(kNoInfo, 6.0F);
  }

  void PostConstructor() override {
    Input(0)->SetParameter(kInputTrim, 0.75F);
    GetElement(kAudioUnitScope_Group, 0)->SetParameter(kGroupParam, 9.0F);
  }

  OSStatus GetParameterInfo(AudioUnitScope scope, AudioUnitParameterID id, AudioUnitParameterInfo& info) override {
    if (scope == kAudioUnitScope_Input && id == kInputTrim) {
      info = Info(kAudioUnitParameterFlag_IsWritable);
      return noErr;
    }
    if (scope != kAudioUnitScope_Global) {
      return kAudioUnitErr_InvalidParameter;
    }
    switch (id) {
      case kLevel:
        info = Info(kAudioUnitParameterFlag_IsWritable);
        return noErr;
      case kOmitted:
        info = Info(kAudioUnitParameterFlag_IsWritable | kAudioUnitParameterFlag_OmitFromPresets);
        return noErr;
      case kMeter:
        info = Info(kAudioUnitParameterFlag_MeterReadOnly);
        return noErr;
      case kNamed: {
        // Fresh strings handed to the caller; the unit keeps one reference of its own to count with.
        info = Info(kAudioUnitParameterFlag_IsWritable | kAudioUnitParameterFlag_HasCFNameString |
                    kAudioUnitParameterFlag_CFNameRelease);
        info.cfNameString = CFStringCreateWithCString(nullptr, "Named", kCFStringEncodingUTF8);
        info.unit = kAudioUnitParameterUnit_CustomUnit;
        info.unitName = CFStringCreateWithCString(nullptr, "clicks", kCFStringEncodingUTF8);
        handedOut.push_back(ausdk::Owned<CFStringRef>::FromGet(info.cfNameString));
        handedOut.push_back(ausdk::Owned<CFStringRef>::FromGet(info.unitName));
        return noErr;
      }
      default:
        return TestEffect::GetParameterInfo(scope, id, info);
    }
  }

  OSStatus GetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                           UInt32& outDataSize, bool& outWritable) override {
    if (inID == kAudioUnitProperty_RenderQuality && answersRenderQuality) {
      outDataSize = sizeof(UInt32);
      outWritable = true;
      return noErr;
    }
    return TestEffect::GetPropertyInfo(inID, inScope, inElement, outDataSize, outWritable);
  }

  OSStatus GetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                       void* outData) override {
    if (inID == kAudioUnitProperty_RenderQuality && answersRenderQuality) {
      *static_cast<UInt32*>(outData) = renderQuality;
      return noErr;
    }
    return TestEffect::GetProperty(inID, inScope, inElement, outData);
  }

  OSStatus SetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement, const void* inData,
                       UInt32 inDataSize) override {
    if (inID == kAudioUnitProperty_RenderQuality) {
      qualitySets.push_back(*static_cast<const UInt32*>(inData));
      return noErr;
    }
    return TestEffect::SetProperty(inID, inScope, inElement, inData, inDataSize);
  }

  bool answersRenderQuality = false;
  UInt32 renderQuality = kRenderQuality_High;
  std::vector<UInt32> qualitySets;
  std::vector<ausdk::Owned<CFStringRef>> handedOut;

 private:
  static AudioUnitParameterInfo Info(AudioUnitParameterOptions flags) {
    AudioUnitParameterInfo info{};
    info.unit = kAudioUnitParameterUnit_Generic;
    info.maxValue = 10.0F;
    info.flags = flags | kAudioUnitParameterFlag_IsReadable;
    return info;
  }
};

// Global scope in the indexed form: ids 0 to 2, none with info.
class IndexedUnit : public testunits::TestEffect {
 public:
  explicit IndexedUnit(AudioComponentInstance instance) : TestEffect(instance) {
    Globals()->UseIndexedParameters(3);
    Globals()->SetParameter(0, 0.5F);
    Globals()->SetParameter(2, -1.0F);
  }
  OSStatus GetParameterInfo(AudioUnitScope, AudioUnitParameterID, AudioUnitParameterInfo&) override {
    return kAudioUnitErr_InvalidParameter;
  }
};

AudioComponent StateComponent() { return testunits::Component<StateUnit, kStateSubtype>(); }

// ---- host-side helpers ----

struct CFReleaser {
  void operator()(const void* ref) const { CFRelease(ref); }
};
template <typename Ref>
using CFHeld = std::unique_ptr<std::remove_pointer_t<Ref>, CFReleaser>;

CFHeld<CFStringRef> String(const char* text) {
  return CFHeld<CFStringRef>(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8));
}

std::string Text(CFTypeRef string) {
  if (string == nullptr || CFGetTypeID(string) != CFStringGetTypeID()) {
    return "<not a string>";
  }
  char buffer[256];
  return CFStringGetCString(static_cast<CFStringRef>(string), buffer, sizeof buffer, kCFStringEncodingUTF8)
             ? buffer
             : "<unreadable>";
}

SInt64 Number(CFTypeRef number) {
  EXPECT_TRUE(number != nullptr && CFGetTypeID(number) == CFNumberGetTypeID());
  SInt64 value = -999;
  if (number != nullptr && CFGetTypeID(number) == CFNumberGetTypeID()) {
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
  }
  return value;
}

CFTypeRef Get(CFDictionaryRef dict, const char* key) { return CFDictionaryGetValue(dict, String(key).get()); }

void SetNumber(CFMutableDictionaryRef dict, const char* key, SInt32 value) {
  CFHeld<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberSInt32Type, &value));
  CFDictionarySetValue(dict, String(key).get(), number.get());
}

void SetReal(CFMutableDictionaryRef dict, const char* key, Float64 value) {
  CFHeld<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberFloat64Type, &value));
  CFDictionarySetValue(dict, String(key).get(), number.get());
}

void SetValue(CFMutableDictionaryRef dict, const char* key, CFTypeRef value) {
  CFDictionarySetValue(dict, String(key).get(), value);
}

CFHeld<CFMutableDictionaryRef> NewDict() {
  return CFHeld<CFMutableDictionaryRef>(
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

// The host's read of the class info; the caller owns the result.
CFHeld<CFDictionaryRef> Save(AudioUnit unit) {
  CFPropertyListRef plist = nullptr;
  UInt32 size = sizeof plist;
  EXPECT_EQ(AudioUnitGetProperty(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &plist, &size), noErr);
  EXPECT_EQ(size, sizeof plist);
  EXPECT_TRUE(plist != nullptr && CFGetTypeID(plist) == CFDictionaryGetTypeID());
  return CFHeld<CFDictionaryRef>(static_cast<CFDictionaryRef>(plist));
}

OSStatus Restore(AudioUnit unit, CFPropertyListRef plist) {
  return testunits::Set(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, plist);
}

// A saved state of `unit` that the test may edit.
CFHeld<CFMutableDictionaryRef> EditableState(AudioUnit unit) {
  const auto saved = Save(unit);
  return CFHeld<CFMutableDictionaryRef>(CFDictionaryCreateMutableCopy(nullptr, 0, saved.get()));
}

// A blob built from big-endian words.
CFHeld<CFDataRef> Blob(const std::vector<UInt32>& words, size_t dropBytes = 0) {
  std::vector<UInt8> bytes;
  for (const UInt32 word : words) {
    bytes.insert(bytes.end(), {static_cast<UInt8>(word >> 24), static_cast<UInt8>(word >> 16),
                               static_cast<UInt8>(word >> 8), static_cast<UInt8>(word)});
  }
  bytes.resize(bytes.size() - dropBytes);
  return CFHeld<CFDataRef>(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

UInt32 Bits(float value) {
  UInt32 bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::pair<SInt32, std::string> PresentPreset(AudioUnit unit) {
  AUPreset preset = testunits::Value<AUPreset>(unit, kAudioUnitProperty_PresentPreset);
  std::string name = Text(preset.presetName);
  if (preset.presetName != nullptr) {
    CFRelease(preset.presetName);  // retained for the caller
  }
  return {preset.presetNumber, name};
}

OSStatus SetPresentPreset(AudioUnit unit, SInt32 number, CFStringRef name) {
  return testunits::Set(unit, kAudioUnitProperty_PresentPreset, kAudioUnitScope_Global, 0, AUPreset{number, name});
}

OSStatus SetElementName(AudioUnit unit, AudioUnitScope scope, CFStringRef name) {
  return testunits::Set(unit, kAudioUnitProperty_ElementName, scope, 0, name);
}

using Announcement = std::tuple<AudioUnitPropertyID, AudioUnitScope, AudioUnitElement>;

void Record(void* inRefCon, AudioUnit /*unit*/, AudioUnitPropertyID inID, AudioUnitScope inScope,
            AudioUnitElement inElement) {
  static_cast<std::vector<Announcement>*>(inRefCon)->emplace_back(inID, inScope, inElement);
}

// A fresh instance of the state unit for each test.
class StateTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(object, nullptr); }
  Instance unit{StateComponent()};
  StateUnit* object = testunits::UnitFor<StateUnit>(unit);
};
using StateSave = StateTest;
using StateRestore = StateTest;
using StatePreset = StateTest;

// ---- saving ----

TEST_F(StateSave, DictionaryHoldsIdentityBlobAndName) {
  const auto state = Save(unit);
  ASSERT_NE(state, nullptr);

  EXPECT_EQ(CFDictionaryGetCount(state.get()), 6);
  EXPECT_EQ(Number(Get(state.get(), "version")), 0);
  EXPECT_EQ(Number(Get(state.get(), "type")), static_cast<SInt32>(kAudioUnitType_Effect));
  EXPECT_EQ(Number(Get(state.get(), "subtype")), static_cast<SInt32>(kStateSubtype));
  EXPECT_EQ(Number(Get(state.get(), "manufacturer")), static_cast<SInt32>(testunits::kManufacturer));
  EXPECT_EQ(Text(Get(state.get(), "name")), "Untitled");
  EXPECT_EQ(Get(state.get(), "render-quality"), nullptr);
  EXPECT_EQ(Get(state.get(), "element-name"), nullptr);
  EXPECT_EQ(Get(state.get(), "part"), nullptr);

  // Global: 0, 1, 7, 42 in id order (5 omitted, 9 a meter); input 0: 3; no output
  // section (no parameters) and no group section.
  const auto expected = Blob({0, 0, 4,                                   //
                              0, Bits(1.0F), kLevel, Bits(0.25F),        //
                              kNamed, Bits(-3.5F), kNoInfo, Bits(6.0F),  //
                              kAudioUnitScope_Input, 0, 1, kInputTrim, Bits(0.75F)});
  const CFTypeRef data = Get(state.get(), "data");
  ASSERT_TRUE(data != nullptr && CFGetTypeID(data) == CFDataGetTypeID());
  EXPECT_TRUE(CFEqual(data, expected.get()));
  // Spot-check the byte order of one value: -3.5 is C0 60 00 00.
  EXPECT_EQ(CFDataGetBytePtr(static_cast<CFDataRef>(data))[12 + 8 * 2 + 4], 0xC0);
  EXPECT_EQ(CFDataGetBytePtr(static_cast<CFDataRef>(data))[12 + 8 * 2 + 5], 0x60);
}

TEST(StateSaveIndexed, IndexedParametersSavedFromIdZero) {
  Instance unit(testunits::Component<IndexedUnit, 'sta2'>());
  const auto expected = Blob({0, 0, 3, 0, Bits(0.5F), 1, Bits(0.0F), 2, Bits(-1.0F)});
  const auto state = Save(unit);
  const CFTypeRef blob = Get(state.get(), "data");
  ASSERT_NE(blob, nullptr);
  EXPECT_TRUE(CFEqual(blob, expected.get()));
}

TEST_F(StateSave, CallerOwnsTheOnlyReferenceAndParameterNamesAreReleased) {
  const auto name = String("Warm pad");
  ASSERT_EQ(SetPresentPreset(unit, -2, name.get()), noErr);
  ASSERT_EQ(SetElementName(unit, kAudioUnitScope_Input, name.get()), noErr);

  CFPropertyListRef plist = nullptr;
  ASSERT_EQ(testunits::Get(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, plist), noErr);
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(CFGetRetainCount(plist), 1);
  const auto* dict = static_cast<CFDictionaryRef>(plist);
  EXPECT_EQ(CFGetRetainCount(Get(dict, "data")), 1);
  EXPECT_EQ(CFGetRetainCount(Get(dict, "element-name")), 1);
  // Ours, the unit's preset and element name, the dictionaries.
  EXPECT_EQ(CFGetRetainCount(name.get()), 5);

  // Both strings of parameter 7 went back to their one holder.
  ASSERT_EQ(object->handedOut.size(), 2U);
  for (const auto& string : object->handedOut) {
    EXPECT_EQ(CFGetRetainCount(string.get()), 1);
  }

  CFRelease(plist);
  EXPECT_EQ(CFGetRetainCount(name.get()), 3);
}

TEST_F(StateSave, RenderQualityIsSavedAndRestoredOnlyWhenTheUnitAnswersIt) {
  const auto without = Save(unit);
  EXPECT_EQ(Get(without.get(), "render-quality"), nullptr);

  object->answersRenderQuality = true;
  object->renderQuality = kRenderQuality_Low;
  const auto state = Save(unit);
  EXPECT_EQ(Number(Get(state.get(), "render-quality")), kRenderQuality_Low);
  EXPECT_EQ(CFDictionaryGetCount(state.get()), 7);

  ASSERT_EQ(Restore(unit, state.get()), noErr);
  ASSERT_EQ(Restore(unit, without.get()), noErr);
  EXPECT_EQ(object->qualitySets, std::vector<UInt32>{kRenderQuality_Low});
}

// ---- restoring ----

TEST_F(StateRestore, RoundTripBringsBackValuesAndName) {
  const auto warm = String("Warm");
  ASSERT_EQ(SetPresentPreset(unit, -4, warm.get()), noErr);
  ASSERT_EQ(AudioUnitSetParameter(unit, kLevel, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
  const auto state = Save(unit);

  const auto cold = String("Cold");
  ASSERT_EQ(SetPresentPreset(unit, -5, cold.get()), noErr);
  for (const AudioUnitParameterID id : {0U, kLevel, kNamed, kNoInfo, kOmitted, kMeter}) {
    ASSERT_EQ(AudioUnitSetParameter(unit, id, kAudioUnitScope_Global, 0, 8.0F, 0), noErr);
  }
  ASSERT_EQ(AudioUnitSetParameter(unit, kInputTrim, kAudioUnitScope_Input, 0, 8.0F, 0), noErr);

  ASSERT_EQ(Restore(unit, state.get()), noErr);
  EXPECT_FLOAT_EQ(Param(unit, 0), 1.0F);
  EXPECT_FLOAT_EQ(Param(unit, kLevel), 0.5F);
  EXPECT_FLOAT_EQ(Param(unit, kNamed), -3.5F);
  EXPECT_FLOAT_EQ(Param(unit, kNoInfo), 6.0F);
  EXPECT_FLOAT_EQ(Param(unit, kInputTrim, kAudioUnitScope_Input), 0.75F);
  // Not part of the state: they keep what they had.
  EXPECT_FLOAT_EQ(Param(unit, kOmitted), 8.0F);
  EXPECT_FLOAT_EQ(Param(unit, kMeter), 8.0F);
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-1}, std::string("Warm")));
}

TEST_F(StateRestore, RefusedDictionariesChangeNothing) {
  std::vector<Announcement> announced;
  ASSERT_EQ(AudioUnitAddPropertyListener(unit, kAudioUnitProperty_PresentPreset, Record, &announced), noErr);
  const auto mine = String("Mine");
  ASSERT_EQ(SetPresentPreset(unit, -7, mine.get()), noErr);
  announced.clear();

  struct Case {
    const char* what;
    void (*edit)(CFMutableDictionaryRef);
  };
  const Case cases[] = {
      {"another subtype", [](CFMutableDictionaryRef d) { SetNumber(d, "subtype", 'othr'); }},
      {"another manufacturer", [](CFMutableDictionaryRef d) { SetNumber(d, "manufacturer", 'Othr'); }},
      {"no subtype", [](CFMutableDictionaryRef d) { CFDictionaryRemoveValue(d, String("subtype").get()); }},
      {"no manufacturer", [](CFMutableDictionaryRef d) { CFDictionaryRemoveValue(d, String("manufacturer").get()); }},
      {"version 1", [](CFMutableDictionaryRef d) { SetNumber(d, "version", 1); }},
      {"version 0.5", [](CFMutableDictionaryRef d) { SetReal(d, "version", 0.5); }},
      {"version NaN", [](CFMutableDictionaryRef d) { SetReal(d, "version", std::nan("")); }},
      {"subtype a fraction off", [](CFMutableDictionaryRef d) { SetReal(d, "subtype", kStateSubtype + 0.5); }},
      {"no version", [](CFMutableDictionaryRef d) { CFDictionaryRemoveValue(d, String("version").get()); }},
      {"version as text", [](CFMutableDictionaryRef d) { SetValue(d, "version", String("0").get()); }},
      {"a part", [](CFMutableDictionaryRef d) { SetNumber(d, "part", 0); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const auto state = EditableState(unit);
    SetValue(state.get(), "data", Blob({0, 0, 1, kLevel, Bits(3.0F)}).get());
    SetValue(state.get(), "name", String("Other").get());
    c.edit(state.get());
    EXPECT_EQ(Restore(unit, state.get()), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_FLOAT_EQ(Param(unit, kLevel), 0.25F);
    EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-7}, std::string("Mine")));
  }

  const auto notADict = String("state");
  EXPECT_EQ(Restore(unit, notADict.get()), kAudioUnitErr_InvalidPropertyValue);
  const SInt32 zero = 0;
  CFHeld<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberSInt32Type, &zero));
  EXPECT_EQ(Restore(unit, number.get()), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_TRUE(announced.empty());
}

// Property lists from other writers store the same numbers as reals or 64-bit integers.
TEST_F(StateRestore, NumbersAreComparedByValueWhateverTheirStoredType) {
  const auto state = EditableState(unit);
  SetReal(state.get(), "version", 0.0);
  SetReal(state.get(), "subtype", static_cast<Float64>(kStateSubtype));
  const SInt64 manufacturer = testunits::kManufacturer;
  CFHeld<CFNumberRef> wide(CFNumberCreate(nullptr, kCFNumberSInt64Type, &manufacturer));
  SetValue(state.get(), "manufacturer", wide.get());
  SetValue(state.get(), "data", Blob({0, 0, 1, kLevel, Bits(3.0F)}).get());
  EXPECT_EQ(Restore(unit, state.get()), noErr);
  EXPECT_EQ(Param(unit, kLevel), 3.0F);
}

// Each blob is restored in a state saved under another type (accepted: the subtype and
// manufacturer identify the unit), onto what the cases before it left.
TEST_F(StateRestore, BlobsAreReadUpToTheirEndSkippingMissingElementsWithoutRollBack) {
  struct Case {
    const char* what;
    CFHeld<CFDataRef> blob;
    OSStatus status;
    float level;  // what parameter 1 ends up as
  };
  Case cases[] = {
      {"sections of missing elements",
       Blob({kAudioUnitScope_Input, 5, 2, kInputTrim, Bits(4.0F), 0, Bits(4.0F),  // no input 5
             kAudioUnitScope_Global, 0, 1, kLevel, Bits(3.0F), kAudioUnitScope_Output, 9, 0}),
       noErr, 3.0F},
      {"count beyond the data", Blob({0, 0, 0xFFFFFFFF, kLevel, Bits(2.0F), 0}), noErr, 2.0F},
      {"entry cut short", Blob({0, 0, 2, 0, Bits(1.0F), kLevel, Bits(3.0F)}, 1), noErr, 2.0F},
      {"missing element's count beyond the data", Blob({1, 7, 0x20000000, 0, 0}), noErr, 2.0F},
      {"header cut short", Blob({0, 0, 1, kLevel, Bits(4.0F), 0, 0}), noErr, 4.0F},
      {"lone scope word", Blob({0, 0, 1, kLevel, Bits(5.0F), 99}), noErr, 5.0F},
      {"empty", Blob({}), noErr, 5.0F},
      // Sections before a bad scope were applied: restoring does not roll back.
      {"invalid scope", Blob({kAudioUnitScope_Global, 0, 1, kLevel, Bits(3.0F), 9, 0, 0}), kAudioUnitErr_InvalidScope,
       3.0F},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.what);
    const auto state = EditableState(unit);
    SetNumber(state.get(), "type", static_cast<SInt32>(kAudioUnitType_MusicEffect));
    SetValue(state.get(), "data", c.blob.get());
    EXPECT_EQ(Restore(unit, state.get()), c.status);
    EXPECT_FLOAT_EQ(Param(unit, kLevel), c.level);
    EXPECT_FLOAT_EQ(Param(unit, 0), 1.0F);
    EXPECT_FLOAT_EQ(Param(unit, kInputTrim, kAudioUnitScope_Input), 0.75F);
  }
}

TEST_F(StateRestore, MissingNameMeansUntitledAndIsAnnounced) {
  const auto mine = String("Mine");
  ASSERT_EQ(SetPresentPreset(unit, -3, mine.get()), noErr);
  const auto state = EditableState(unit);
  CFDictionaryRemoveValue(state.get(), String("name").get());

  std::vector<Announcement> announced;
  ASSERT_EQ(AudioUnitAddPropertyListener(unit, kAudioUnitProperty_PresentPreset, Record, &announced), noErr);
  ASSERT_EQ(Restore(unit, state.get()), noErr);
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-1}, std::string("Untitled")));
  EXPECT_EQ(announced, (std::vector<Announcement>{{kAudioUnitProperty_PresentPreset, kAudioUnitScope_Global, 0}}));
}

TEST_F(StateRestore, ElementNamesAreSetAnnouncedAndSavedByScopeAndElement) {
  const auto state = EditableState(unit);
  const auto names = NewDict();
  const auto input = NewDict();
  SetValue(input.get(), "0", String("Mic").get());
  SetValue(input.get(), "4", String("No such bus").get());
  SetValue(input.get(), "00x", String("Bad key").get());
  const auto group = NewDict();
  SetValue(group.get(), "2", String("Brass").get());
  SetValue(group.get(), "0", String("Strings").get());
  SetValue(group.get(), "1", String("Winds").get());
  const auto output = NewDict();
  SetNumber(output.get(), "0", 12);  // not a name
  SetValue(names.get(), "1", input.get());
  SetValue(names.get(), "3", group.get());
  SetValue(names.get(), "2", output.get());
  SetValue(names.get(), "0", String("not a dictionary").get());
  SetValue(state.get(), "element-name", names.get());

  std::vector<Announcement> announced;
  ASSERT_EQ(AudioUnitAddPropertyListener(unit, kAudioUnitProperty_ElementName, Record, &announced), noErr);
  ASSERT_EQ(Restore(unit, state.get()), noErr);
  // In scope order, then element order.
  EXPECT_EQ(announced, (std::vector<Announcement>{{kAudioUnitProperty_ElementName, kAudioUnitScope_Input, 0},
                                                  {kAudioUnitProperty_ElementName, kAudioUnitScope_Group, 0},
                                                  {kAudioUnitProperty_ElementName, kAudioUnitScope_Group, 1},
                                                  {kAudioUnitProperty_ElementName, kAudioUnitScope_Group, 2}}));
  CFStringRef name = nullptr;
  EXPECT_EQ(testunits::Get(unit, kAudioUnitProperty_ElementName, kAudioUnitScope_Output, 0, name),
            kAudioUnitErr_PropertyNotInUse);

  // The next save holds exactly the names that were taken.
  const auto saved = Save(unit);
  const CFTypeRef byScope = Get(saved.get(), "element-name");
  ASSERT_TRUE(byScope != nullptr && CFGetTypeID(byScope) == CFDictionaryGetTypeID());
  EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(byScope)), 2);
  const auto* savedInput = static_cast<CFDictionaryRef>(Get(static_cast<CFDictionaryRef>(byScope), "1"));
  const auto* savedGroup = static_cast<CFDictionaryRef>(Get(static_cast<CFDictionaryRef>(byScope), "3"));
  ASSERT_NE(savedInput, nullptr);
  ASSERT_NE(savedGroup, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(savedInput), 1);
  EXPECT_EQ(Text(Get(savedInput, "0")), "Mic");
  EXPECT_EQ(CFDictionaryGetCount(savedGroup), 3);
  EXPECT_EQ(Text(Get(savedGroup, "0")), "Strings");
  EXPECT_EQ(Text(Get(savedGroup, "2")), "Brass");
}

// ---- presets ----

TEST_F(StatePreset, PresentPresetNeedsANameForUserPresetsAndIsRetained) {
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-1}, std::string("Untitled")));

  std::vector<Announcement> announced;
  ASSERT_EQ(AudioUnitAddPropertyListener(unit, kAudioUnitProperty_PresentPreset, Record, &announced), noErr);
  EXPECT_EQ(SetPresentPreset(unit, -1, nullptr), kAudioUnitErr_InvalidPropertyValue);
  const auto bright = String("Bright");
  // The unit has no factory presets of its own.
  EXPECT_EQ(SetPresentPreset(unit, 3, bright.get()), kAudioUnitErr_InvalidProperty);
  EXPECT_TRUE(announced.empty());
  {
    const auto mine = String("Mine");
    ASSERT_EQ(SetPresentPreset(unit, -3, mine.get()), noErr);
    EXPECT_EQ(CFGetRetainCount(mine.get()), 2);  // the unit keeps its own reference
  }
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-3}, std::string("Mine")));
  EXPECT_EQ(announced.size(), 1U);

  EXPECT_EQ(SetPresentPreset(unit, -3, nullptr), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-3}, std::string("Mine")));

  // Setting the same name again must not free it on the way.
  ASSERT_EQ(SetPresentPreset(unit, -8, object->CurrentPreset().presetName), noErr);
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-8}, std::string("Mine")));
}

TEST_F(StatePreset, FactoryPresetBecomesCurrentOnlyWithNumberAndName) {
  const auto lush = String("Lush");
  EXPECT_FALSE(object->SetAFactoryPresetAsCurrent({-1, lush.get()}));
  EXPECT_FALSE(object->SetAFactoryPresetAsCurrent({2, nullptr}));
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{-1}, std::string("Untitled")));
  EXPECT_TRUE(object->SetAFactoryPresetAsCurrent({2, lush.get()}));
  EXPECT_EQ(PresentPreset(unit), std::make_pair(SInt32{2}, std::string("Lush")));
  EXPECT_EQ(Text(Get(Save(unit).get(), "name")), "Lush");
}

}  // namespace
