// Veneer's component bundle as the build lays it out: its Info.plist describes
// the module it carries and that module's factory; and, installed where the
// registry looks, it is found by its description, its module loaded on first
// use, its view found through its bundle identifier.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "ComponentBundle.h"
#include "ShellFixture.h"
#include "standin/StandIn.h"

namespace {

using shelltest::ShellTest;

class BundleTest : public ShellTest {};

[[maybe_unused]] std::string PathOf(CFURLRef url) {  // unused where the registry test skips
  char path[1024] = {};
  CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(path), sizeof path);
  return path;
}

TEST_F(BundleTest, InstalledVeneerComponentIsFoundLoadedAndFindsItsView) {
#if defined(__APPLE__)
  GTEST_SKIP() << "the system's registry reads only the real user's Components folder, never the build's";
#else
  // Our platform layer's registry also reads these folders, before its first use.
  setenv("VENEER_COMPONENT_PATH", VENEER_BUNDLE_PARENT, 1);
  standin::Register(standin::Variant::kPro);
  KeepCompanionAlive();

  const AudioComponentDescription description{kAudioUnitType_Effect, 'Vnr1', 'Tnvl', 0, 0};
  AudioComponent component = AudioComponentFindNext(nullptr, &description);
  ASSERT_NE(component, nullptr);
  EXPECT_EQ(shelltest::ComponentName(component), "Tonvale: Veneer");
  UInt32 version = 0;
  ASSERT_EQ(AudioComponentGetVersion(component, &version), noErr);
  EXPECT_EQ(version, 0x00000100U);
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("com.tonvale.veneer")), nullptr);  // not loaded yet

  AudioUnit unit = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_EQ(standin::LiveCount(), 1U);
  ASSERT_NE(CFBundleGetBundleWithIdentifier(CFSTR("com.tonvale.veneer")), nullptr);

  AudioUnitCocoaViewInfo view{};
  UInt32 size = sizeof view;
  ASSERT_EQ(AudioUnitGetProperty(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, &view, &size), noErr);
  EXPECT_EQ(PathOf(view.mCocoaAUViewBundleLocation),
            std::string(VENEER_BUNDLE_PARENT) + "/Veneer.component/Contents/Resources/VeneerCocoaUI.bundle");
  CFRelease(view.mCocoaAUViewBundleLocation);
  CFRelease(view.mCocoaAUViewClass[0]);
  EXPECT_EQ(AudioComponentInstanceDispose(unit), noErr);
  EXPECT_EQ(standin::LiveCount(), 0U);
#endif
}

TEST_F(BundleTest, InfoPlistNamesTheFactoryOfTheModuleItCarries) {
  standin::Register(standin::Variant::kPro);
  KeepCompanionAlive();
  std::string error;
  const auto components = testsupport::RegisterBundle(VENEER_BUNDLE_PARENT "/Veneer.component", &error);
  ASSERT_EQ(components.size(), 1U) << error;
  const testsupport::BundledComponent& veneer = components.front();
  EXPECT_EQ(veneer.description.componentType, kAudioUnitType_Effect);
  EXPECT_EQ(veneer.description.componentSubType, static_cast<OSType>('Vnr1'));
  EXPECT_EQ(veneer.description.componentManufacturer, static_cast<OSType>('Tnvl'));
  EXPECT_EQ(veneer.name, "Tonvale: Veneer");
  EXPECT_EQ(veneer.version, 0x00000100U);

  AudioUnit unit = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(veneer.component, &unit), noErr);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_EQ(standin::LiveCount(), 1U);
  EXPECT_EQ(AudioComponentInstanceDispose(unit), noErr);
  EXPECT_EQ(standin::LiveCount(), 0U);
}

}  // namespace
