// The stand-ins' component bundles as the build lays them out, found the way
// installed products are found: through the platform's registry, which reads
// each bundle's Info.plist and loads its module when a product is created.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>
#include <string>
#include <vector>

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

TEST(StandInBundles, EachProductIsInstalledOnceAndItsModuleCreatesIt) {
  // Only the build's bundles: no home folder, and nothing registered in this process.
  unsetenv("HOME");
  setenv("VENEER_COMPONENT_PATH", STANDIN_BUNDLES_DIR, 1);
  for (const standin::Variant variant : standin::kAllVariants) {
    SCOPED_TRACE(standin::NameOf(variant));
    const AudioComponentDescription description = standin::DescriptionOf(variant);
    AudioComponent component = AudioComponentFindNext(nullptr, &description);
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(AudioComponentFindNext(component, &description), nullptr) << "one bundle per product";

    CFStringRef name = nullptr;
    ASSERT_EQ(AudioComponentCopyName(component, &name), noErr);
    char text[128] = {};
    CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8);
    CFRelease(name);
    EXPECT_EQ(std::string(text), std::string("Stand-in: ") + standin::NameOf(variant));
    UInt32 version = 0;
    ASSERT_EQ(AudioComponentGetVersion(component, &version), noErr);
    EXPECT_EQ(version, 0x00010000U);

    AudioUnit unit = nullptr;
    ASSERT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
    EXPECT_EQ(PublishedParameters(unit), RangesOf(variant)) << "the factory makes this product";
    AudioComponentInstanceDispose(unit);
  }
  EXPECT_EQ(standin::LiveCount(), 0U) << "the units live in the loaded module";
}

}  // namespace
