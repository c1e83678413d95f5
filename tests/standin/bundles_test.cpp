// The stand-ins' component bundles as the build lays them out: each one's
// Info.plist, read as the platform reads it, names a product and a factory
// that its module exports and that creates that product.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "standin/StandIn.h"

namespace {

namespace fs = std::filesystem;
using standin::Variant;

#ifdef __APPLE__
constexpr const char* kModuleFolder = "Contents/MacOS";
#else
constexpr const char* kModuleFolder = "Contents/Linux";
#endif

CFPropertyListRef ReadPlist(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
  CFRelease(data);
  return plist;
}

CFTypeRef Value(CFTypeRef dictionary, const char* key) {
  if (dictionary == nullptr || CFGetTypeID(dictionary) != CFDictionaryGetTypeID()) {
    return nullptr;
  }
  CFStringRef cfKey = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
  CFTypeRef value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), cfKey);
  CFRelease(cfKey);
  return value;
}

std::optional<std::string> Text(CFTypeRef dictionary, const char* key) {
  CFTypeRef value = Value(dictionary, key);
  char text[256] = {};
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID() ||
      !CFStringGetCString(static_cast<CFStringRef>(value), text, sizeof text, kCFStringEncodingUTF8)) {
    return std::nullopt;
  }
  return text;
}

// A four-character code as a plist spells it; 0 when the text has another length.
OSType Code(CFTypeRef dictionary, const char* key) {
  const std::string text = Text(dictionary, key).value_or("");
  OSType code = 0;
  for (const char c : text) {
    code = (code << 8) | static_cast<UInt8>(c);
  }
  return text.size() == 4 ? code : 0;
}

// What a bundle's Info.plist says about its one component.
struct Listing {
  std::string executable;
  size_t componentCount = 0;
  AudioComponentDescription description{};
  std::optional<std::string> name;
  std::optional<SInt64> version;
  std::string factoryFunction;
};

Listing ReadListing(const fs::path& bundle) {
  Listing listing;
  CFPropertyListRef info = ReadPlist(bundle / "Contents/Info.plist");
  listing.executable = Text(info, "CFBundleExecutable").value_or("");
  CFTypeRef components = Value(info, "AudioComponents");
  if (components != nullptr && CFGetTypeID(components) == CFArrayGetTypeID()) {
    listing.componentCount = static_cast<size_t>(CFArrayGetCount(static_cast<CFArrayRef>(components)));
  }
  if (listing.componentCount > 0) {
    CFTypeRef component = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(components), 0);
    listing.description = {Code(component, "type"), Code(component, "subtype"), Code(component, "manufacturer"), 0, 0};
    listing.name = Text(component, "name");
    CFTypeRef version = Value(component, "version");
    if (SInt64 value = 0; version != nullptr && CFGetTypeID(version) == CFNumberGetTypeID() &&
                          CFNumberGetValue(static_cast<CFNumberRef>(version), kCFNumberSInt64Type, &value)) {
      listing.version = value;
    }
    listing.factoryFunction = Text(component, "factoryFunction").value_or("");
  }
  if (info != nullptr) {
    CFRelease(info);
  }
  return listing;
}

std::optional<Variant> VariantDescribedBy(const AudioComponentDescription& description) {
  for (const Variant variant : standin::kAllVariants) {
    const AudioComponentDescription d = standin::DescriptionOf(variant);
    if (d.componentType == description.componentType && d.componentSubType == description.componentSubType &&
        d.componentManufacturer == description.componentManufacturer) {
      return variant;
    }
  }
  return std::nullopt;
}

// Id and upper bound of each global parameter: the bounds tell apart the products that share ids.
using ParameterRanges = std::map<AudioUnitParameterID, AudioUnitParameterValue>;

ParameterRanges RangesOf(Variant variant) {
  ParameterRanges ranges;
  for (const standin::ParameterModel& parameter : standin::ParametersOf(variant)) {
    ranges[parameter.id] = parameter.maxValue;
  }
  return ranges;
}

// The parameters that an instance of `component` publishes to a host.
ParameterRanges PublishedParameters(AudioComponent component) {
  AudioUnit unit = nullptr;
  if (AudioComponentInstanceNew(component, &unit) != noErr) {
    return {};
  }
  UInt32 size = 0;
  AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, &size, nullptr);
  std::vector<AudioUnitParameterID> ids(size / sizeof(AudioUnitParameterID));
  AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, ids.data(), &size);
  ParameterRanges ranges;
  for (const AudioUnitParameterID id : ids) {
    AudioUnitParameterInfo info{};
    UInt32 infoSize = sizeof info;
    AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, id, &info, &infoSize);
    if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0 && info.cfNameString != nullptr) {
      CFRelease(info.cfNameString);
    }
    ranges[id] = info.maxValue;
  }
  AudioComponentInstanceDispose(unit);
  return ranges;
}

TEST(StandInBundles, EachProductHasABundleWhoseModuleCreatesIt) {
  std::map<Variant, fs::path> bundles;
  for (const fs::directory_entry& entry : fs::directory_iterator(STANDIN_BUNDLES_DIR)) {
    if (entry.path().extension() != ".component") {
      continue;
    }
    SCOPED_TRACE(entry.path().filename().string());
    EXPECT_EQ(entry.path().filename().string().find(' '), std::string::npos);
    const Listing listing = ReadListing(entry.path());
    ASSERT_EQ(listing.componentCount, 1U);
    const std::optional<Variant> variant = VariantDescribedBy(listing.description);
    ASSERT_TRUE(variant.has_value());
    EXPECT_TRUE(bundles.emplace(*variant, entry.path()).second) << "a second bundle of " << standin::NameOf(*variant);
    EXPECT_EQ(listing.name, std::string("Stand-in: ") + standin::NameOf(*variant));
    EXPECT_EQ(listing.version, 0x00010000);
    EXPECT_TRUE(fs::is_directory(entry.path() / "Contents/Resources"));

    // The module stays loaded: the registry keeps its factory.
    const std::string module = (entry.path() / kModuleFolder / listing.executable).string();
    void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();  // NOLINT(concurrency-mt-unsafe): one thread
    auto* factory = reinterpret_cast<AudioComponentFactoryFunction>(dlsym(handle, listing.factoryFunction.c_str()));
    ASSERT_NE(factory, nullptr) << listing.factoryFunction;

    // Its parameters tell which product the factory makes.
    AudioComponent registered =
        AudioComponentRegister(&listing.description, CFSTR("Stand-in under test"), 0x00010000, factory);
    ASSERT_NE(registered, nullptr);
    EXPECT_EQ(PublishedParameters(registered), RangesOf(*variant));
  }
  EXPECT_EQ(bundles.size(), std::size(standin::kAllVariants));
}

}  // namespace
