// Component bundles found on disk, as a host finds and opens them. Each test runs in its
// own process, so VENEER_COMPONENT_PATH is set before the registry's first use.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cf_test_support.h"

namespace {

namespace fs = std::filesystem;

constexpr AudioUnitPropertyID kFoundOwnBundleProperty = 64000;
constexpr AudioUnitPropertyID kSubtypeProperty = 64001;

std::string InfoPlist(const std::string& identifier, const std::string& executable, const std::string& components) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CFBundleIdentifier</key>
	<string>)" +
         identifier + R"(</string>
	<key>CFBundleExecutable</key>
	<string>)" +
         executable + R"(</string>
	<key>AudioComponents</key>
	<array>)" +
         components + R"(</array>
</dict>
</plist>
)";
}

std::string Entry(const char* subtype, const char* name, int version, const char* factory) {
  return std::string("<dict><key>type</key><string>aufx</string><key>subtype</key><string>") + subtype +
         "</string><key>manufacturer</key><string>VnTs</string><key>name</key><string>" + name +
         "</string><key>version</key><integer>" + std::to_string(version) +
         "</integer><key>factoryFunction</key><string>" + factory + "</string></dict>";
}

class ComponentBundle : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "veneer-bundles-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  // Lays out <folder>/<name>.component with `plist` and, when `withModule`, the test module.
  fs::path MakeBundle(const fs::path& folder, const std::string& name, const std::string& plist, bool withModule) {
    const fs::path bundle = folder / (name + ".component");
    fs::create_directories(bundle / "Contents" / "Resources");
    fs::create_directories(bundle / "Contents" / "Linux");
    std::ofstream(bundle / "Contents" / "Info.plist") << plist;
    if (withModule) {
      fs::copy_file(BUNDLE_TEST_COMPONENT_PATH, bundle / "Contents" / "Linux" / "BundleTest");
    }
    return bundle;
  }

  static void UsePath(const std::string& path) { setenv("VENEER_COMPONENT_PATH", path.c_str(), 1); }

  static AudioComponent Find(OSType subtype) {
    const AudioComponentDescription search{'aufx', subtype, 'VnTs', 0, 0};
    return AudioComponentFindNext(nullptr, &search);
  }

  fs::path root_;
};

TEST_F(ComponentBundle, FoundInstantiatedAndKnownByIdentifier) {
  const fs::path bundle = MakeBundle(root_ / "one", "Tone",
                                     InfoPlist("com.example.bundle-test", "BundleTest",
                                               Entry("tone", "Example: Tone", 0x00010200, "BundleTestFactory") +
                                                   Entry("ton2", "Example: Tone Two", 7, "BundleTestFactory")),
                                     true);
  UsePath((root_ / "missing").string() + "::" + (root_ / "one").string());

  AudioComponent component = Find('tone');
  ASSERT_NE(component, nullptr);
  CFStringRef name = nullptr;
  ASSERT_EQ(AudioComponentCopyName(component, &name), noErr);
  EXPECT_EQ(Utf8(name), "Example: Tone");
  CFRelease(name);
  UInt32 version = 0;
  ASSERT_EQ(AudioComponentGetVersion(component, &version), noErr);
  EXPECT_EQ(version, 0x00010200U);
  const AudioComponentDescription any{'aufx', 0, 'VnTs', 0, 0};
  EXPECT_EQ(AudioComponentCount(&any), 2U);

  auto identifier = MakeString("com.example.bundle-test");
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(identifier.get()), nullptr);  // not loaded until first use

  AudioComponentInstance unit = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
  UInt32 value = 0;
  UInt32 size = sizeof value;
  ASSERT_EQ(AudioUnitGetProperty(unit, kSubtypeProperty, kAudioUnitScope_Global, 0, &value, &size), noErr);
  EXPECT_EQ(value, static_cast<UInt32>('tone'));
  ASSERT_EQ(AudioUnitGetProperty(unit, kFoundOwnBundleProperty, kAudioUnitScope_Global, 0, &value, &size), noErr);
  EXPECT_EQ(value, 1U);  // the bundle is known from Open on

  CFBundleRef loaded = CFBundleGetBundleWithIdentifier(identifier.get());
  ASSERT_NE(loaded, nullptr);
  auto resources = Adopt(CFBundleCopyResourcesDirectoryURL(loaded));
  ASSERT_NE(resources, nullptr);
  auto resourcesPath = Adopt(CFURLCopyFileSystemPath(resources.get(), kCFURLPOSIXPathStyle));
  EXPECT_EQ(fs::path(Utf8(resourcesPath.get())), bundle / "Contents" / "Resources");

  // The second component of the same bundle shares the loaded module.
  AudioComponentInstance second = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(Find('ton2'), &second), noErr);
  ASSERT_EQ(AudioUnitGetProperty(second, kSubtypeProperty, kAudioUnitScope_Global, 0, &value, &size), noErr);
  EXPECT_EQ(value, static_cast<UInt32>('ton2'));
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(identifier.get()), loaded);
  EXPECT_EQ(AudioComponentInstanceDispose(second), noErr);
  EXPECT_EQ(AudioComponentInstanceDispose(unit), noErr);
}

TEST_F(ComponentBundle, ScannedBundlesComeFirstInFolderAndNameOrder) {
  MakeBundle(root_ / "b", "Alpha", InfoPlist("com.example.b-alpha", "BundleTest", Entry("bal_", "B", 3, "f")), false);
  MakeBundle(root_ / "a", "Zulu", InfoPlist("com.example.a-zulu", "BundleTest", Entry("azu_", "AZ", 2, "f")), false);
  MakeBundle(root_ / "a", "Mike", InfoPlist("com.example.a-mike", "BundleTest", Entry("ami_", "AM", 1, "f")), false);
  fs::create_directories(root_ / "a" / "NotABundle");
  UsePath((root_ / "a").string() + ":" + (root_ / "b").string());

  const AudioComponentDescription registered{'aufx', 'late', 'VnTs', 0, 0};
  ASSERT_NE(AudioComponentRegister(
                &registered, nullptr, 1,
                [](const AudioComponentDescription*) { return static_cast<AudioComponentPlugInInterface*>(nullptr); }),
            nullptr);

  const AudioComponentDescription any{'aufx', 0, 'VnTs', 0, 0};
  std::vector<OSType> order;
  for (AudioComponent c = AudioComponentFindNext(nullptr, &any); c != nullptr; c = AudioComponentFindNext(c, &any)) {
    AudioComponentDescription description{};
    ASSERT_EQ(AudioComponentGetDescription(c, &description), noErr);
    order.push_back(description.componentSubType);
  }
  EXPECT_EQ(order, (std::vector<OSType>{'ami_', 'azu_', 'bal_', 'late'}));
}

TEST_F(ComponentBundle, BrokenBundlesFailCleanly) {
  const fs::path folder = root_ / "broken";
  MakeBundle(folder, "NoModule",
             InfoPlist("com.example.no-module", "BundleTest", Entry("nomo", "", 1, "BundleTestFactory")), false);
  MakeBundle(folder, "NoSymbol", InfoPlist("com.example.no-symbol", "BundleTest", Entry("nosy", "", 1, "Missing")),
             true);
  MakeBundle(folder, "Garbage", "<plist><dict><key>AudioComponents</key><array>", true);
  MakeBundle(folder, "BadEntries",
             InfoPlist("com.example.bad-entries", "BundleTest",
                       Entry("toolong", "", 1, "BundleTestFactory") +
                           "<dict><key>type</key><string>aufx</string></dict><string>x</string>" +
                           Entry("good", "Good", 1, "BundleTestFactory")),
             true);
  UsePath(folder.string());

  const AudioComponentDescription any{'aufx', 0, 'VnTs', 0, 0};
  EXPECT_EQ(AudioComponentCount(&any), 3U);  // nomo, nosy and the one good entry
  for (OSType subtype : {'nomo', 'nosy'}) {
    AudioComponent component = Find(subtype);
    ASSERT_NE(component, nullptr);
    int sentinel = 0;
    auto unit = reinterpret_cast<AudioComponentInstance>(&sentinel);  // must be cleared
    EXPECT_EQ(AudioComponentInstanceNew(component, &unit), kAudioComponentErr_InstanceInvalidated);
    EXPECT_EQ(unit, nullptr);
    // A failure is remembered, not retried into a different outcome.
    EXPECT_EQ(AudioComponentInstanceNew(component, &unit), kAudioComponentErr_InstanceInvalidated);
  }
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(MakeString("com.example.no-module").get()), nullptr);
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(MakeString("com.example.no-symbol").get()), nullptr);

  AudioComponentInstance unit = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(Find('good'), &unit), noErr);
  EXPECT_EQ(AudioComponentInstanceDispose(unit), noErr);
}

}  // namespace
