// Creating and configuring the inner unit: every step, its failures and the
// self-check of the scale parameter, observed on the stand-in products.
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <algorithm>

#include "ShellFixture.h"
#include "shell/LogTexts.h"
#include "standin/StandIn.h"

namespace logtext = veneer::logtext;

namespace {

using shelltest::HostedVeneer;
using shelltest::ShellTest;
using standin::ParameterWrite;
using standin::Variant;

class CreationTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    KeepCompanionAlive();
  }
  // Lines of the log from the first one starting with `prefix` on.
  std::vector<std::string> LinesFrom(const std::string& prefix) const {
    auto lines = LogLines();
    const auto first =
        std::find_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.rfind(prefix, 0) == 0; });
    return {first, lines.end()};
  }
};

TEST_F(CreationTest, ConfiguresANewInnerUnitLikeTheHostsOutput) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::kPro);
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  standin::Unit* inner = standin::Find(veneer->InnerUnit());
  ASSERT_NE(inner, nullptr);

  EXPECT_TRUE(inner->IsInitialized());
  EXPECT_EQ(inner->GetMaxFramesPerSlice(), 4096U);
  EXPECT_EQ(inner->InputCallback().inputProc, &veneer::Veneer::InnerInputProc);
  EXPECT_EQ(inner->InputCallback().inputProcRefCon, static_cast<void*>(veneer.get()));
  for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output}) {
    const auto format = inner->StreamFormatOf(scope);
    EXPECT_EQ(format.mSampleRate, 44100.0);
    EXPECT_EQ(format.mChannelsPerFrame, 2U);
  }
  // Correction mode, classic mode, then the parameter forced to 1.
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{{0, kAudioUnitScope_Global, 0, 0.0F},
                                                          {11, kAudioUnitScope_Global, 0, 0.0F},
                                                          {90, kAudioUnitScope_Global, 0, 1.0F}}));
  EXPECT_TRUE(veneer->KeyModeAccepted());
  EXPECT_DOUBLE_EQ(veneer.Latency(), 112.0 / 44100.0);

  const auto lines = LinesFrom(logtext::kComponentPath);
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(lines[1], std::string(logtext::kFoundVariant) + "Auto-Tune Pro");
  EXPECT_EQ(lines[2], std::string(logtext::kCorrectionModeForced) + "0.000000");
  EXPECT_EQ(lines[3], std::string(logtext::kScaleCheckPassed) + "162 = Modern Scale");
  EXPECT_EQ(LogLines().front(), "[main]" + std::string(logtext::kInitializeCalled) + "0");
}

TEST_F(CreationTest, ForcesOnlyTheParametersTheProductHas) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::kEfx);
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  standin::Unit* inner = standin::Find(veneer->InnerUnit());
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(inner->Writes(),
            (std::vector<ParameterWrite>{{10, kAudioUnitScope_Global, 0, 1.0F}, {8, kAudioUnitScope_Global, 0, 0.0F}}));
  EXPECT_TRUE(Logged(std::string(logtext::kScaleCheckPassed) + "7 = Auto-Tune Scale"));
  for (const auto& line : LogLines()) {
    EXPECT_EQ(line.rfind("correction mode forced", 0), std::string::npos);
  }
}

struct StepFailure {
  const char* what;
  AudioUnitPropertyID property;
  AudioUnitScope scope;
  std::string line;
};

TEST_F(CreationTest, EachConfigurationFailureDisposesTheInstance) {
  const StepFailure failures[] = {
      {"input format", kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input,
       std::string(logtext::kCreateFailedInputFormat) + "-5001"},
      {"output format", kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output,
       std::string(logtext::kCreateFailedOutputFormat) + "-5001"},
      {"callback", kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input,
       std::string(logtext::kCreateFailedRenderCallback) + "-5001"},
      {"slice size", kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global,
       std::string(logtext::kCreateFailedMaximumFrames) + "-5001"},
  };
  AudioComponent component = standin::Register(Variant::kPro);
  for (const auto& failure : failures) {
    SCOPED_TRACE(failure.what);
    standin::FaultsOf(component).Clear();
    standin::FaultsOf(component).FailSetProperty(failure.property, failure.scope, -5001);
    std::filesystem::remove(SupportFolder() / "veneer_debug.log");
    HostedVeneer veneer;
    EXPECT_EQ(veneer.Initialize(), noErr);
    EXPECT_EQ(veneer->InnerUnit(), nullptr);
    EXPECT_EQ(standin::LiveCount(), 0U);
    const auto lines = LinesFrom(failure.line);
    ASSERT_GE(lines.size(), 4U);
    EXPECT_EQ(lines[1], std::string(logtext::kCreateFailedAfterInitialize) + "-5001");
    EXPECT_EQ(lines[2], std::string(logtext::kCreateFailedReleasing) + "-5001");
    EXPECT_EQ(lines[3], std::string(logtext::kInitializeEnsureFailed) + "-5001");
    EXPECT_STREQ(veneer->Variant()->name, "Auto-Tune Pro");
  }
}

TEST_F(CreationTest, FailedInitializeDisposesAndAlreadyInitializedIsTolerated) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  AudioComponent component = standin::Register(Variant::k2026);
  standin::FaultsOf(component).initialize = -1111;
  {
    HostedVeneer veneer;
    EXPECT_EQ(veneer.Initialize(), noErr);
    EXPECT_EQ(veneer->InnerUnit(), nullptr);
    EXPECT_EQ(standin::LiveCount(), 0U);
    const auto lines = LinesFrom(std::string(logtext::kCreateFailedInitialize) + "-1111");
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[1], std::string(logtext::kCreateFailedAfterInitialize) + "-1111");
    EXPECT_EQ(lines[2], std::string(logtext::kCreateFailedReleasing) + "-1111");
  }
  std::filesystem::remove(SupportFolder() / "veneer_debug.log");
  standin::FaultsOf(component).initialize = kAudioUnitErr_Initialized;
  HostedVeneer veneer;
  EXPECT_EQ(veneer.Initialize(), noErr);
  ASSERT_NE(veneer->InnerUnit(), nullptr);
  EXPECT_TRUE(Logged(std::string(logtext::kCreateFailedInitialize) + "-10849"));
  EXPECT_FALSE(Logged(std::string(logtext::kCreateFailedAfterInitialize) + "-10849"));
  EXPECT_TRUE(Logged(std::string(logtext::kScaleCheckPassed) + "1138679482 = Scale"));
}

TEST_F(CreationTest, FailedInstanceCreationLeavesNothing) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  AudioComponent component = standin::Register(Variant::kArtist);
  standin::FaultsOf(component).instanceNew = -1234;
  HostedVeneer veneer;
  EXPECT_EQ(veneer.Initialize(), noErr);
  EXPECT_EQ(veneer->InnerUnit(), nullptr);
  EXPECT_TRUE(Logged(std::string(logtext::kCreateFailedInstanceNew) + "-1234"));
  EXPECT_FALSE(Logged(std::string(logtext::kCreateFailedAfterInitialize) + "-1234"));
  EXPECT_TRUE(Logged(std::string(logtext::kInitializeEnsureFailed) + "-1234"));
}

TEST_F(CreationTest, ScaleSelfCheckFailuresAreReportedButDoNotStopTheCreation) {
  AudioComponent component = standin::Register(Variant::kPro);
  standin::FaultsOf(component).scaleInfo = kAudioUnitErr_InvalidParameter;
  {
    HostedVeneer veneer;
    ASSERT_EQ(veneer.Initialize(), noErr);
    EXPECT_NE(veneer->InnerUnit(), nullptr);
    EXPECT_FALSE(veneer->KeyModeAccepted());
    EXPECT_TRUE(Logged(std::string(logtext::kScaleCheckUnreadable) + "162"));
  }
  standin::FaultsOf(component).scaleInfo = noErr;
  standin::FaultsOf(component).SetScaleName("Scale Mode");
  {
    HostedVeneer veneer;
    ASSERT_EQ(veneer.Initialize(), noErr);
    EXPECT_NE(veneer->InnerUnit(), nullptr);
    EXPECT_FALSE(veneer->KeyModeAccepted());
    EXPECT_TRUE(Logged(std::string(logtext::kScaleCheckMismatch) + "Modern Scale」，实际「Scale "
                                                                   "Mode」）——这个版本的 "
                                                                   "Auto-Tune "
                                                                   "可能不认我们的调式"));
  }
  // A name given only in the fixed field is read from there.
  standin::FaultsOf(component).SetScaleName("");
  standin::FaultsOf(component).namesAsStringObjects = false;
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  EXPECT_TRUE(veneer->KeyModeAccepted());
}

TEST_F(CreationTest, LatencyIsTheShellsOwnAndUntouchedWhenTheProductCannotSay) {
  AudioComponent component = standin::Register(Variant::kPro);
  standin::FaultsOf(component).latencySeconds = 0.5;
  {
    HostedVeneer veneer;
    EXPECT_DOUBLE_EQ(veneer.Latency(), 0.0);  // nothing known yet
    ASSERT_EQ(veneer.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
    EXPECT_DOUBLE_EQ(veneer.Latency(), 112.0 / 48000.0);
  }
  standin::FaultsOf(component).latencyGet = kAudioUnitErr_InvalidProperty;
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  EXPECT_NE(veneer->InnerUnit(), nullptr);
  EXPECT_DOUBLE_EQ(veneer.Latency(), 0.0);
}

}  // namespace
