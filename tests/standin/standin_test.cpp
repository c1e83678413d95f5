// The stand-in products, driven through the component API as a host would.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "standin/StandIn.h"

namespace {

using standin::Variant;

struct ProductRow {
  Variant variant;
  AudioComponentDescription description;
  const char* name;
  AudioUnitParameterID scaleParameter;
  const char* scaleName;
};

// The outside products as they are installed.
const ProductRow kProducts[] = {
    {Variant::kPro, {'aumf', 'AT81', 'VST ', 0, 0}, "Auto-Tune Pro", 162, "Modern Scale"},
    {Variant::kAdvanced, {'aumf', 'Advn', 'Antr', 0, 0}, "AutoTune Advanced", 0x43DEDEBA, "Scale"},
    {Variant::k2026, {'aufx', 'Core', 'Antr', 0, 0}, "AutoTune 2026", 0x43DEDEBA, "Scale"},
    {Variant::kArtist, {'aumf', 'ATxL', 'VST ', 0, 0}, "Auto-Tune Artist", 2, "Scale"},
    {Variant::kEfx, {'aufx', 'Vefx', 'Antr', 0, 0}, "Auto-Tune EFX+", 7, "Auto-Tune Scale"},
};

std::string ToString(CFStringRef string) {
  char buffer[256] = {};
  CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8);
  return buffer;
}

// An instance of one stand-in, owned by the test.
class Host {
 public:
  explicit Host(AudioComponent component) : status_(AudioComponentInstanceNew(component, &unit_)) {}
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() {
    if (unit_ != nullptr) {
      AudioComponentInstanceDispose(unit_);
    }
  }
  [[nodiscard]] AudioUnit unit() const { return unit_; }
  [[nodiscard]] OSStatus status() const { return status_; }

 private:
  AudioUnit unit_ = nullptr;
  OSStatus status_;
};

OSStatus ParameterInfo(AudioUnit unit, AudioUnitParameterID id, AudioUnitParameterInfo& info) {
  UInt32 size = sizeof info;
  return AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, id, &info, &size);
}

// The name as a host reads it: the string object when flagged, else the fixed field.
std::string NameOf(AudioUnitParameterInfo& info) {
  if ((info.flags & kAudioUnitParameterFlag_HasCFNameString) == 0) {
    return info.name;
  }
  std::string name = ToString(info.cfNameString);
  if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0) {
    CFRelease(info.cfNameString);
  }
  return name;
}

// Every installed component that matches `description`, in the registry's order.
std::vector<AudioComponent> Installed(const AudioComponentDescription& description) {
  std::vector<AudioComponent> found;
  for (AudioComponent c = AudioComponentFindNext(nullptr, &description); c != nullptr;
       c = AudioComponentFindNext(c, &description)) {
    found.push_back(c);
  }
  return found;
}

TEST(StandInRegistration, EachVariantIsFoundByItsProductDescription) {
  for (const ProductRow& row : kProducts) {
    SCOPED_TRACE(row.name);
    const AudioComponentDescription d = standin::DescriptionOf(row.variant);
    EXPECT_EQ(d.componentType, row.description.componentType);
    EXPECT_EQ(d.componentSubType, row.description.componentSubType);
    EXPECT_EQ(d.componentManufacturer, row.description.componentManufacturer);
    EXPECT_STREQ(standin::NameOf(row.variant), row.name);
    std::vector<AudioComponent> expected = Installed(row.description);
    AudioComponent component = standin::Register(row.variant);
    ASSERT_NE(component, nullptr);
    expected.push_back(component);
    EXPECT_EQ(Installed(row.description), expected);
    UInt32 version = 0;
    EXPECT_EQ(AudioComponentGetVersion(component, &version), noErr);
    EXPECT_EQ(version, standin::kRegisteredVersion);
    CFStringRef name = nullptr;
    ASSERT_EQ(AudioComponentCopyName(component, &name), noErr);
    EXPECT_EQ(ToString(name), std::string("Stand-in: ") + row.name);
    CFRelease(name);

    AudioUnit handle = nullptr;
    ASSERT_EQ(AudioComponentInstanceNew(component, &handle), noErr);
    ASSERT_NE(standin::Find(handle), nullptr);
    EXPECT_EQ(standin::Find(handle)->GetVariant(), row.variant);
    AudioComponentInstanceDispose(handle);
    EXPECT_EQ(standin::Find(handle), nullptr);
  }
}

TEST(StandInRegistration, CopiesOfOneProductStandSideBySideWithTheirOwnVersionsAndFaults) {
  const AudioComponentDescription d = standin::DescriptionOf(Variant::k2026);
  std::vector<AudioComponent> expected = Installed(d);
  AudioComponent older = standin::Register(Variant::k2026, 0x00010203, "Antares: AutoTune 2026 (old)");
  AudioComponent newer = standin::Register(Variant::k2026, 0x00010A00);
  expected.insert(expected.end(), {older, newer});
  EXPECT_EQ(Installed(d), expected);
  UInt32 version = 0;
  AudioComponentGetVersion(newer, &version);
  EXPECT_EQ(version, 0x00010A00U);
  CFStringRef name = nullptr;
  ASSERT_EQ(AudioComponentCopyName(older, &name), noErr);
  EXPECT_EQ(ToString(name), "Antares: AutoTune 2026 (old)");
  CFRelease(name);

  standin::FaultsOf(older).instanceNew = kAudio_MemFullError;
  AudioUnit unit = nullptr;
  EXPECT_EQ(AudioComponentInstanceNew(older, &unit), kAudio_MemFullError);
  EXPECT_EQ(unit, nullptr);
  Host fine(newer);
  EXPECT_EQ(fine.status(), noErr);
  standin::FaultsOf(older).Clear();
  Host now(older);
  EXPECT_EQ(now.status(), noErr);
}

TEST(StandInParameters, EachProductPublishesItsParametersAndItsScaleName) {
  for (const ProductRow& row : kProducts) {
    SCOPED_TRACE(row.name);
    Host host(standin::Register(row.variant));
    UInt32 size = 0;
    ASSERT_EQ(AudioUnitGetPropertyInfo(host.unit(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, &size,
                                       nullptr),
              noErr);
    std::vector<AudioUnitParameterID> ids(size / sizeof(AudioUnitParameterID));
    ASSERT_EQ(AudioUnitGetProperty(host.unit(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, ids.data(),
                                   &size),
              noErr);
    EXPECT_EQ(ids.size(), standin::ParametersOf(row.variant).size());
    EXPECT_NE(std::find(ids.begin(), ids.end(), row.scaleParameter), ids.end());
    for (const AudioUnitParameterID id : ids) {
      AudioUnitParameterInfo info{};
      ASSERT_EQ(ParameterInfo(host.unit(), id, info), noErr) << id;
      EXPECT_LT(info.minValue, info.maxValue);
      EXPECT_GE(info.defaultValue, info.minValue);
      EXPECT_LE(info.defaultValue, info.maxValue);
      AudioUnitParameterValue value = -1.0F;
      EXPECT_EQ(AudioUnitGetParameter(host.unit(), id, kAudioUnitScope_Global, 0, &value), noErr);
      EXPECT_EQ(value, info.defaultValue);
      EXPECT_STREQ(info.name, NameOf(info).c_str());
      if (id == row.scaleParameter) {
        EXPECT_EQ(std::string(info.name), row.scaleName);
      }
    }
    AudioUnitParameterInfo info{};
    EXPECT_EQ(ParameterInfo(host.unit(), 0xFFFFFFFE, info), kAudioUnitErr_InvalidParameter);
    EXPECT_EQ(AudioUnitSetParameter(host.unit(), 0xFFFFFFFE, kAudioUnitScope_Global, 0, 1.0F, 0),
              kAudioUnitErr_InvalidParameter);
  }
}

TEST(StandInParameters, WritesThroughTheApiAreRecordedInOrderButAUserTurningAKnobIsNot) {
  Host host(standin::Register(Variant::kPro));
  standin::Unit* unit = standin::Find(host.unit());
  ASSERT_NE(unit, nullptr);
  EXPECT_EQ(AudioUnitSetParameter(host.unit(), 162, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
  EXPECT_EQ(AudioUnitSetParameter(host.unit(), 1, kAudioUnitScope_Global, 0, 0.25F, 0), noErr);
  EXPECT_EQ(AudioUnitSetParameter(host.unit(), 999, kAudioUnitScope_Global, 0, 3.0F, 0),
            kAudioUnitErr_InvalidParameter);
  const std::vector<standin::ParameterWrite> expected{{162, kAudioUnitScope_Global, 0, 0.5F},
                                                      {1, kAudioUnitScope_Global, 0, 0.25F},
                                                      {999, kAudioUnitScope_Global, 0, 3.0F}};
  EXPECT_EQ(unit->Writes(), expected);

  EXPECT_EQ(unit->SetParameterAsUser(4, 0.125F), noErr);
  EXPECT_EQ(unit->SetParameterAsUser(999, 0.125F), kAudioUnitErr_InvalidParameter);
  AudioUnitParameterValue value = 0;
  AudioUnitGetParameter(host.unit(), 4, kAudioUnitScope_Global, 0, &value);
  EXPECT_EQ(value, 0.125F);
  EXPECT_EQ(unit->Writes().size(), 3U);
  unit->ClearWrites();
  EXPECT_TRUE(unit->Writes().empty());
}

}  // namespace
