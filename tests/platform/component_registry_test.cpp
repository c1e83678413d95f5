// The component registry as a host sees it: registration order, searching
// with wildcards and flag masks, names and versions.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "component_test_unit.h"

namespace {

constexpr OSType kManuA = 0x56656E41;  // 'VenA'

AudioComponentDescription Describe(OSType type, OSType subtype, OSType manufacturer, UInt32 flags = 0,
                                   UInt32 mask = 0) {
  return AudioComponentDescription{type, subtype, manufacturer, flags, mask};
}

std::string NameOf(AudioComponent component) {
  CFStringRef name = nullptr;
  EXPECT_EQ(AudioComponentCopyName(component, &name), noErr);
  char text[128] = {};
  CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8);
  CFRelease(name);
  return text;
}

// Names of every component matching `search`, in the order FindNext walks them.
std::vector<std::string> Walk(const AudioComponentDescription& search) {
  std::vector<std::string> names;
  for (AudioComponent c = AudioComponentFindNext(nullptr, &search); c != nullptr;
       c = AudioComponentFindNext(c, &search)) {
    names.push_back(NameOf(c));
  }
  return names;
}

TEST(ComponentRegistry, FindsInRegistrationOrderWithWildcardsAndMaskedFlags) {
  // Other tests of this process may have registered components already; new
  // ones come after them.
  const auto effects = Describe(kAudioUnitType_Effect, 0, 0);
  const auto all = Describe(0, 0, 0);
  std::vector<std::string> expectedEffects = Walk(effects);
  const UInt32 allBefore = AudioComponentCount(&all);

  test_unit::Register(Describe(kAudioUnitType_Effect, 'rg01', 'WcdA'), "fx one", 1);
  test_unit::Register(Describe(kAudioUnitType_MusicDevice, 'rg01', 'WcdA'), "synth", 1);
  test_unit::Register(Describe(kAudioUnitType_Effect, 'rg02', 'WcdB'), "fx two", 1);
  test_unit::Register(Describe(kAudioUnitType_Effect, 'rg01', 'WcdB'), "fx three", 1);

  expectedEffects.insert(expectedEffects.end(), {"fx one", "fx two", "fx three"});
  EXPECT_EQ(Walk(effects), expectedEffects);
  EXPECT_EQ(Walk(Describe(0, 'rg01', 0)), (std::vector<std::string>{"fx one", "synth", "fx three"}));
  EXPECT_EQ(Walk(Describe(0, 0, 'WcdB')), (std::vector<std::string>{"fx two", "fx three"}));
  EXPECT_EQ(Walk(Describe(kAudioUnitType_Effect, 'rg01', 'WcdB')), (std::vector<std::string>{"fx three"}));
  EXPECT_TRUE(Walk(Describe(kAudioUnitType_Effect, 'none', 0)).empty());

  EXPECT_EQ(AudioComponentCount(&effects), expectedEffects.size());
  EXPECT_EQ(AudioComponentCount(&all), allBefore + 4);
  const auto synths = Describe(kAudioUnitType_MusicDevice, 'rg01', 0);
  EXPECT_EQ(AudioComponentCount(&synths), 1U);

  // Flags are compared under the search's mask only; with no mask, not at all.
  test_unit::Register(Describe(kAudioUnitType_Effect, 'flg1', kManuA, kAudioComponentFlag_SandboxSafe), "safe", 1);
  test_unit::Register(Describe(kAudioUnitType_Effect, 'flg1', kManuA, 0), "plain", 1);
  EXPECT_EQ(Walk(Describe(0, 'flg1', 0, kAudioComponentFlag_SandboxSafe, 0)),
            (std::vector<std::string>{"safe", "plain"}));
  EXPECT_EQ(Walk(Describe(0, 'flg1', 0, kAudioComponentFlag_SandboxSafe, kAudioComponentFlag_SandboxSafe)),
            (std::vector<std::string>{"safe"}));
  EXPECT_EQ(Walk(Describe(0, 'flg1', 0, 0, kAudioComponentFlag_SandboxSafe)), (std::vector<std::string>{"plain"}));
}

TEST(ComponentRegistry, ReportsDescriptionVersionAndACopyOfTheName) {
  const auto description = Describe(kAudioUnitType_Effect, 'ver1', kManuA, 0, 0);
  AudioComponent older = test_unit::Register(description, "Tonvale: Stand-in", 0x00010200);
  AudioComponent newer = test_unit::Register(description, "Tonvale: Stand-in 音高", 0x00020001);
  ASSERT_NE(older, nullptr);
  ASSERT_NE(newer, older);

  UInt32 version = 0;
  ASSERT_EQ(AudioComponentGetVersion(older, &version), noErr);
  EXPECT_EQ(version, 0x00010200U);
  ASSERT_EQ(AudioComponentGetVersion(newer, &version), noErr);
  EXPECT_EQ(version, 0x00020001U);
  EXPECT_EQ(NameOf(newer), "Tonvale: Stand-in 音高");

  AudioComponentDescription found{};
  ASSERT_EQ(AudioComponentGetDescription(newer, &found), noErr);
  EXPECT_EQ(found.componentType, description.componentType);
  EXPECT_EQ(found.componentSubType, description.componentSubType);
  EXPECT_EQ(found.componentManufacturer, description.componentManufacturer);

  // Each copied name is the caller's to release; an unnamed component has an empty one.
  CFStringRef first = nullptr;
  ASSERT_EQ(AudioComponentCopyName(older, &first), noErr);
  const CFIndex held = CFGetRetainCount(first);
  CFStringRef second = nullptr;
  ASSERT_EQ(AudioComponentCopyName(older, &second), noErr);
  EXPECT_EQ(CFGetRetainCount(first), held + 1);
  CFRelease(second);
  EXPECT_EQ(CFGetRetainCount(first), held);
  CFRelease(first);
  AudioComponent unnamed = AudioComponentRegister(&description, nullptr, 7, test_unit::Factory);
  ASSERT_NE(unnamed, nullptr);
  EXPECT_EQ(NameOf(unnamed), "");
}

TEST(ComponentRegistry, RefusesBadArguments) {
  const auto description = Describe(kAudioUnitType_Effect, 'bad1', kManuA);
  EXPECT_EQ(AudioComponentRegister(nullptr, nullptr, 1, test_unit::Factory), nullptr);
  EXPECT_EQ(AudioComponentRegister(&description, nullptr, 1, nullptr), nullptr);
  EXPECT_EQ(AudioComponentFindNext(nullptr, nullptr), nullptr);
  EXPECT_EQ(AudioComponentCount(nullptr), 0U);

  AudioComponent component = test_unit::Register(description, "bad", 1);
  UInt32 version = 0;
  AudioComponentDescription out{};
  CFStringRef name = nullptr;
  EXPECT_EQ(AudioComponentGetVersion(component, nullptr), kAudio_ParamError);
  EXPECT_EQ(AudioComponentGetVersion(nullptr, &version), kAudio_ParamError);
  EXPECT_EQ(AudioComponentGetDescription(nullptr, &out), kAudio_ParamError);
  EXPECT_EQ(AudioComponentGetDescription(component, nullptr), kAudio_ParamError);
  EXPECT_EQ(AudioComponentCopyName(nullptr, &name), kAudio_ParamError);
  EXPECT_EQ(AudioComponentCopyName(component, nullptr), kAudio_ParamError);

  // A pointer that is not a registered component is refused, not followed.
  int notAComponent = 0;
  auto* stray = reinterpret_cast<AudioComponent>(&notAComponent);
  EXPECT_EQ(AudioComponentGetVersion(stray, &version), kAudio_ParamError);
  EXPECT_EQ(AudioComponentFindNext(stray, &description), nullptr);
  AudioComponentInstance instance = nullptr;
  EXPECT_EQ(AudioComponentInstanceNew(stray, &instance), kAudio_ParamError);
  EXPECT_EQ(instance, nullptr);
}

}  // namespace
