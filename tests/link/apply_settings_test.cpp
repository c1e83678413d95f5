// A settings file applied to the inner unit: per variant, the writes the
// stand-in records and the exact log lines.
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <bit>
#include <cstdint>
#include <string>

#include "LinkHarness.h"

namespace {

using linktest::LinkTest;
using standin::ParameterWrite;
using standin::Variant;

constexpr AudioUnitScope kGlobal = kAudioUnitScope_Global;

class ApplySettings : public LinkTest {};

TEST_F(ApplySettings, ScaleOnProUsesTheTableForLowIndexesAndBothScaleParameters) {
  standin::Unit* inner = OpenWithInner(Variant::kPro);
  ASSERT_NE(inner, nullptr);
  WriteSettings("seq=1\nscale=1.7\n");
  (*veneer_)->ApplyFileToInner();
  const float oneFourteenth = std::bit_cast<float>(0x3D924925U);
  EXPECT_EQ(inner->Writes(),
            (std::vector<ParameterWrite>{{162, kGlobal, 0, oneFourteenth}, {1, kGlobal, 0, oneFourteenth}}));
  AudioUnitParameterValue cached = 0;
  ASSERT_EQ(AudioUnitGetParameter(veneer_->unit(), 1, kGlobal, 0, &cached), noErr);
  EXPECT_FLOAT_EQ(cached, static_cast<float>(1.7 / 14.0));

  inner->ClearWrites();
  WriteSettings("seq=2\nscale=5\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{{162, kGlobal, 0, static_cast<float>(5.0 / 14.0)},
                                                          {1, kGlobal, 0, static_cast<float>(5.0 / 14.0)}}));
}

// The products read these fractions back by truncating value x 14 (or x 28): one
// unit in the last place below the exact single-precision value is another scale.
TEST_F(ApplySettings, LowScaleIndexesSendTheTablesFractionsBitForBit) {
  struct Case {
    const char* product;
    Variant variant;
    int index;
    AudioUnitParameterID param;
    uint32_t bits;
  };
  for (const Case& c : {Case{"Auto-Tune Pro", Variant::kPro, 1, 162, 0x3D924925U},
                        Case{"Auto-Tune Pro", Variant::kPro, 2, 162, 0x3E124925U},
                        Case{"Auto-Tune Artist", Variant::kArtist, 0, 2, 0x3D924925U},
                        Case{"Auto-Tune Artist", Variant::kArtist, 2, 2, 0x3D124925U}}) {
    WriteSupportFile("force_variant.txt", c.product);  // both products are installed after the first cases
    standin::Unit* inner = OpenWithInner(c.variant);
    ASSERT_NE(inner, nullptr);
    WriteSettings("seq=1\nscale=" + std::to_string(c.index) + "\n");
    (*veneer_)->ApplyFileToInner();
    const std::vector<ParameterWrite> writes = inner->Writes();
    ASSERT_FALSE(writes.empty()) << c.index;
    EXPECT_EQ(writes[0].id, c.param);
    EXPECT_EQ(std::bit_cast<uint32_t>(writes[0].value), c.bits) << c.product << ", scale " << c.index;
  }
}

TEST_F(ApplySettings, ScaleAndInputTypeOnAdvanced) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Unit* inner = OpenWithInner(Variant::kAdvanced);
  ASSERT_NE(inner, nullptr);
  WriteSettings("seq=1\nscale=3\ninputType=0.25\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{{0x43DEDEBA, kGlobal, 0, static_cast<float>(3.0 / 39.0)},
                                                          {0x3D520394, kGlobal, 0, 1.0F}}));
  inner->ClearWrites();
  WriteSettings("seq=2\nscale=2\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{{0x43DEDEBA, kGlobal, 0, 2.0F}}));
  AudioUnitParameterValue cached = 0;
  ASSERT_EQ(AudioUnitGetParameter(veneer_->unit(), 3, kGlobal, 0, &cached), noErr);
  EXPECT_FLOAT_EQ(cached, 0.25F);
}

TEST_F(ApplySettings, KeyOn2026AndTheLogLines) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Unit* inner = OpenWithInner(Variant::k2026);
  ASSERT_NE(inner, nullptr);
  NewLines();
  WriteSettings("seq=7\nkey=9\nretune=0.25\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_EQ(inner->Writes(),
            (std::vector<ParameterWrite>{{0x00340FCF, kGlobal, 0, 9.0F}, {0x04EC07CC, kGlobal, 0, 0.25F}}));
  const auto lines = NewLines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "ipc# 7 mode=0.000000 retune=0.250000 transpose=0.500000 key=0.818182 scale=0.071429");
  // The stand-in's defaults for the rest; 2026 has no wet/dry, vibrato, formant, throat or natural vibrato.
  EXPECT_EQ(lines[1].substr(0, lines[1].find(" wetDry=")),
            "readback retune=0.250000 key=9.000000 scale=0.000000(raw 0.000000)");
  EXPECT_NE(lines[1].find(" wetDry=-1.000000 vibratoAmp=-1.000000 formant=-1.000000 throat=-1.000000 "),
            std::string::npos);
  EXPECT_NE(lines[1].find(" naturalVibrato=-1.000000"), std::string::npos);
}

TEST_F(ApplySettings, EverySettingReachesItsParameterInOrderOnPro) {
  standin::Unit* inner = OpenWithInner(Variant::kPro);
  ASSERT_NE(inner, nullptr);
  WriteSettings(
      "seq=3\nkey=2\nscale=0\ncorrectionMode=1\ntranspose=0.25\nclassicMode=0\nretune=0.5\ninputType=0.75\n"
      "humanize=0.1\nflexTune=0.2\nnaturalVibrato=0.3\nvibratoAmplitude=0.4\ntracking=0.6\nformant=0.7\n"
      "throat=0.8\nwetDry=0.9\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{
                                 {2, kGlobal, 0, static_cast<float>(2.0 / 11.0)},
                                 {162, kGlobal, 0, 0.0F},
                                 {1, kGlobal, 0, 0.0F},
                                 {0, kGlobal, 0, 1.0F},
                                 {74, kGlobal, 0, 0.25F},
                                 {11, kGlobal, 0, 0.0F},
                                 {4, kGlobal, 0, 0.5F},
                                 {10, kGlobal, 0, 0.75F},
                                 {61, kGlobal, 0, 0.1F},
                                 {89, kGlobal, 0, 0.2F},
                                 {62, kGlobal, 0, 0.3F},
                                 {47, kGlobal, 0, 0.4F},
                                 {9, kGlobal, 0, 0.6F},
                                 {70, kGlobal, 0, 0.7F},
                                 {71, kGlobal, 0, 0.8F},
                                 {91, kGlobal, 0, 0.9F},
                             }));
}

TEST_F(ApplySettings, ClassicModeSetsTheLatencyFromTheOutputRate) {
  standin::Unit* inner = OpenWithInner(Variant::kPro, 2, 48000.0);
  ASSERT_NE(inner, nullptr);
  WriteSettings("seq=1\nclassicMode=1\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_DOUBLE_EQ(veneer_->Latency(), 37.0 / 48000.0);
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{{11, kGlobal, 0, 1.0F}}));

  ASSERT_EQ(veneer_->SetFormat(kAudioUnitScope_Output, 2, 44100.0), noErr);
  EXPECT_DOUBLE_EQ(veneer_->Latency(), 37.0 / 44100.0);  // the format change keeps classic mode
  WriteSettings("seq=2\nclassicMode=0\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_DOUBLE_EQ(veneer_->Latency(), 112.0 / 44100.0);
}

TEST_F(ApplySettings, NegativeValuesAndRepeatedCountersChangeNothing) {
  standin::Unit* inner = OpenWithInner(Variant::kPro);
  ASSERT_NE(inner, nullptr);
  WriteSettings("seq=5\nkey=-1\nretune=-0.5\nwetDry=0.5\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{{91, kGlobal, 0, 0.5F}}));
  AudioUnitParameterValue cachedKey = -5;
  ASSERT_EQ(AudioUnitGetParameter(veneer_->unit(), 0, kGlobal, 0, &cachedKey), noErr);
  EXPECT_EQ(cachedKey, 0.0F);

  inner->ClearWrites();
  NewLines();
  WriteSettings("seq=5\nkey=4\nwetDry=0.1\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_TRUE(inner->Writes().empty());
  EXPECT_TRUE(NewLines().empty());

  WriteSettings("seq=-3\nkey=4\n");
  (*veneer_)->ApplyFileToInner();
  EXPECT_TRUE(inner->Writes().empty());
}

TEST_F(ApplySettings, FileThatArrivesBeforeTheInnerUnitIsAppliedOnceItExists) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  veneer_ = std::make_unique<shelltest::HostedVeneer>();
  WriteSettings("seq=9\nretune=0.3\n");
  (*veneer_)->ApplyFileToInner();  // no product installed yet
  EXPECT_EQ((*veneer_)->InnerUnit(), nullptr);
  standin::Register(Variant::kArtist);
  ASSERT_EQ(veneer_->SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  standin::Unit* inner = standin::Find((*veneer_)->InnerUnit());
  ASSERT_NE(inner, nullptr);
  inner->ClearWrites();
  (*veneer_)->ApplyFileToInner();
  EXPECT_EQ(inner->Writes(), (std::vector<ParameterWrite>{{6, kGlobal, 0, 0.3F}}));
}

TEST_F(ApplySettings, AppliedValuesAreNotReportedAsManualChanges) {
  standin::Unit* inner = OpenWithInner(Variant::kPro);
  ASSERT_NE(inner, nullptr);
  WriteSettings("seq=1\nretune=0.25\nkey=3\n");
  (*veneer_)->ApplyFileToInner();
  (*veneer_)->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(SupportFolder() / "plugin_params_back.txt"));
}

}  // namespace
