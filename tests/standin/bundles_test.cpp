// The stand-ins' component bundles as the build lays them out, each registered
// from its own Info.plist and module as the system's registrar would: one bundle
// per product, whose module's factory makes that product.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "ComponentBundle.h"
#include "standin/StandIn.h"

namespace {

// Id and upper bound of each global parameter: the bounds tell apart the products that share ids.
using ParameterRanges = std::map<AudioUnitParameterID, AudioUnitParameterValue>;

ParameterRanges RangesOf(standin::Variant variant) {
  ParameterRanges ranges;
  for (const standin::ParameterModel& parameter : standin::ParametersOf(variant)) {
    ranges[parameter.id] = parameter.maxValue;
  }
  return ranges;
}

// The parameters that an instance of `component` publishes to a host.
ParameterRanges PublishedParameters(AudioUnit unit) {
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
  return ranges;
}

bool SameDescription(const AudioComponentDescription& a, const AudioComponentDescription& b) {
  return a.componentType == b.componentType && a.componentSubType == b.componentSubType &&
         a.componentManufacturer == b.componentManufacturer;
}

TEST(StandInBundles, EachProductIsBundledOnceAndItsModuleCreatesIt) {
  std::vector<testsupport::BundledComponent> bundled;
  for (const auto& entry : std::filesystem::directory_iterator(STANDIN_BUNDLES_DIR)) {
    std::string error;
    const auto components = testsupport::RegisterBundle(entry.path().string(), &error);
    EXPECT_EQ(error, "") << entry.path();
    bundled.insert(bundled.end(), components.begin(), components.end());
  }
  EXPECT_EQ(bundled.size(), std::size(standin::kAllVariants));
  for (const standin::Variant variant : standin::kAllVariants) {
    SCOPED_TRACE(standin::NameOf(variant));
    const AudioComponentDescription description = standin::DescriptionOf(variant);
    const auto matches = [&](const testsupport::BundledComponent& c) {
      return SameDescription(c.description, description);
    };
    ASSERT_EQ(std::count_if(bundled.begin(), bundled.end(), matches), 1) << "one bundle per product";
    const testsupport::BundledComponent& component = *std::find_if(bundled.begin(), bundled.end(), matches);
    EXPECT_EQ(component.name, std::string("Stand-in: ") + standin::NameOf(variant));
    EXPECT_EQ(component.version, standin::kBundleVersion);

    AudioUnit unit = nullptr;
    ASSERT_EQ(AudioComponentInstanceNew(component.component, &unit), noErr);
    EXPECT_EQ(PublishedParameters(unit), RangesOf(variant)) << "the factory makes this product";
    AudioComponentInstanceDispose(unit);
  }
  EXPECT_EQ(standin::LiveCount(), 0U) << "the units live in the loaded modules";
}

}  // namespace
