// The inner unit found as a host's machine has it: products installed as
// component bundles in the per-user folder, their module loaded on first use.
// Nothing is registered in this process. The per-user folder is the temporary
// HOME's, which only our Linux platform layer's registry reads.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ShellFixture.h"
#include "shell/LogTexts.h"
#include "standin/StandIn.h"

namespace logtext = veneer::logtext;

namespace {

namespace fs = std::filesystem;
using shelltest::HostedVeneer;
using shelltest::ShellTest;

std::string CodeText(OSType code) {
  return {static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
          static_cast<char>(code)};
}

// Each channel's input rises by frame, apart from the other channel's.
float InputSample(UInt32 channel, UInt32 frame) {
  return 0.001F * static_cast<float>(frame) + 0.25F * static_cast<float>(channel) + 0.125F;
}

OSStatus ProvideInput(void* /*refCon*/, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* /*stamp*/,
                      UInt32 /*bus*/, UInt32 frames, AudioBufferList* ioData) {
  for (UInt32 c = 0; c < ioData->mNumberBuffers; ++c) {
    auto* data = static_cast<float*>(ioData->mBuffers[c].mData);
    for (UInt32 f = 0; f < frames; ++f) {
      data[f] = InputSample(c, f);
    }
  }
  return noErr;
}

class InstalledProductTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
#if defined(__APPLE__)
    GTEST_SKIP() << "the system's registry reads only the real user's Components folder, not this HOME's";
#endif
  }

  // Installs a copy of the stand-ins' module as `bundle`.component in the
  // per-user components folder, offering AutoTune 2026 as `name` at `version`.
  void InstallAutoTune2026(const std::string& bundle, UInt32 version, const std::string& name) const {
    const fs::path contents = Home() / "Library/Audio/Plug-Ins/Components" / (bundle + ".component") / "Contents";
    fs::create_directories(contents / "Linux");
    fs::copy_file(STANDIN_MODULE_PATH, contents / "Linux/StandIn");
    const AudioComponentDescription d = standin::DescriptionOf(standin::Variant::k2026);
    const std::string component =
        "<dict><key>type</key><string>" + CodeText(d.componentType) + "</string><key>subtype</key><string>" +
        CodeText(d.componentSubType) + "</string><key>manufacturer</key><string>" + CodeText(d.componentManufacturer) +
        "</string><key>name</key><string>" + name + "</string><key>version</key><integer>" + std::to_string(version) +
        "</integer><key>factoryFunction</key><string>StandIn2026Factory</string></dict>";
    std::ofstream(contents / "Info.plist")
        << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
        << "<key>CFBundleExecutable</key><string>StandIn</string>"
        << "<key>CFBundleIdentifier</key><string>com.tonvale.standin." << bundle << "</string>"
        << "<key>AudioComponents</key><array>" << component << "</array></dict></plist>\n";
  }
};

TEST_F(InstalledProductTest, NewestInstalledCopyBecomesTheInnerUnitAndProcessesTheAudio) {
  // Found in this order: the newer copy is not simply the first.
  InstallAutoTune2026("StandIn-AutoTune2026-1", 0x00010000, "Stand-in: AutoTune 2026");
  InstallAutoTune2026("StandIn-AutoTune2026-2", 0x00020000, "Stand-in: AutoTune 2026 (2.0)");
  // Asked only now: the registry reads the folders at its first use.
  const AudioComponentDescription autoTune2026 = standin::DescriptionOf(standin::Variant::k2026);
  if (testsupport::InstalledProducts() != "AutoTune 2026" || AudioComponentCount(&autoTune2026) != 2) {
    GTEST_SKIP() << "other copies are installed here: " << testsupport::InstalledProducts();
  }
  KeepCompanionAlive();

  HostedVeneer veneer;
  ASSERT_EQ(veneer.SetFormat(kAudioUnitScope_Input, 2, 48000.0), noErr);
  ASSERT_EQ(veneer.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  const AURenderCallbackStruct input{ProvideInput, nullptr};
  ASSERT_EQ(AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &input,
                                 sizeof input),
            noErr);
  ASSERT_EQ(veneer.Initialize(), noErr);
  RunMainLoop(0.2);
  veneer->StopIpcThread();

  AudioUnit inner = veneer->InnerUnit();
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(standin::LiveCount(), 0U);  // the unit lives in the loaded module
  AudioComponent component = AudioComponentInstanceGetComponent(inner);
  UInt32 version = 0;
  ASSERT_EQ(AudioComponentGetVersion(component, &version), noErr);
  EXPECT_EQ(version, 0x00020000U);
  EXPECT_EQ(shelltest::ComponentName(component), "Stand-in: AutoTune 2026 (2.0)");
  EXPECT_TRUE(Logged(std::string(logtext::kSeveralCopies) + "2 份，版本: 1.0.0 2.0.0 → 选用最高版本 2.0.0"));
  EXPECT_TRUE(Logged(std::string(logtext::kFoundVariant) + "AutoTune 2026"));

  constexpr UInt32 kFrames = 256;
  std::vector<std::vector<float>> output(2, std::vector<float>(kFrames, -7.0F));
  std::vector<std::byte> storage(offsetof(AudioBufferList, mBuffers) + 2 * sizeof(AudioBuffer));
  auto* list = reinterpret_cast<AudioBufferList*>(storage.data());
  list->mNumberBuffers = 2;
  for (UInt32 c = 0; c < 2; ++c) {
    list->mBuffers[c] = {1, kFrames * UInt32{sizeof(float)}, output[c].data()};
  }
  AudioTimeStamp stamp{};
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  AudioUnitRenderActionFlags flags = 0;
  ASSERT_EQ(AudioUnitRender(veneer.unit(), &flags, &stamp, 0, kFrames, list), noErr);
  for (UInt32 c = 0; c < 2; ++c) {
    for (UInt32 f = 0; f < kFrames; ++f) {
      ASSERT_EQ(output[c][f], InputSample(c, f) * standin::kGain) << "channel " << c << ", frame " << f;
    }
  }
}

}  // namespace
