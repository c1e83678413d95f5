// The shell's own parameters as a host sets and reads them, what reaches each
// product's inner parameters, and the read-backs of the inner unit's values.
#include <AudioToolbox/AudioUnit.h>
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "ParameterModelHarness.h"
#include "ShellFixture.h"
#include "standin/StandIn.h"

namespace {

using parametertest::InnerUnitTest;
using ParametersTest = InnerUnitTest;
using shelltest::HostedVeneer;
using standin::ParameterWrite;
using standin::Variant;

constexpr AudioUnitScope kGlobal = kAudioUnitScope_Global;

// One value per own parameter 0-10, each distinct, so a write shows where it came from.
constexpr std::array<float, 11> kValues{1.0F, 0.5F, 0.2F, 0.75F, 0.1F, 0.4F, 0.6F, 0.7F, 0.8F, 0.9F, 0.3F};

struct ConversionCase {
  Variant variant;
  // What setting kValues on ids 0-10 in order must write to the product.
  std::vector<ParameterWrite> writes;
};

void PrintTo(const ConversionCase& conversion, std::ostream* out) { *out << standin::NameOf(conversion.variant); }

std::string CaseName(const testing::TestParamInfo<ConversionCase>& info) {
  constexpr std::array<const char*, 5> kNames{"Pro", "Advanced", "Y2026", "Artist", "Efx"};
  return kNames.at(static_cast<size_t>(info.param.variant));
}

const ConversionCase kConversionCases[] = {
    {Variant::kPro,
     {{2, kGlobal, 0, 1.0F},    // key 1.0 x 11 / 11
      {162, kGlobal, 0, 0.5F},  // scale 0.5 x 14 / 14
      {4, kGlobal, 0, 0.2F},
      {10, kGlobal, 0, 0.75F},
      {61, kGlobal, 0, 0.1F},
      {89, kGlobal, 0, 0.4F},
      {62, kGlobal, 0, 0.6F},
      {9, kGlobal, 0, 0.7F},
      {70, kGlobal, 0, 0.8F},
      {71, kGlobal, 0, 0.9F},
      {91, kGlobal, 0, 0.3F}}},
    {Variant::kAdvanced,
     {{0x00340FCF, kGlobal, 0, 11.0F},
      {0x43DEDEBA, kGlobal, 0, 7.0F / 39.0F},
      {0x04EC07CC, kGlobal, 0, 0.2F},
      {0x3D520394, kGlobal, 0, 0.75F},  // input type goes out without the row's factor of 4
      {0x02090197, kGlobal, 0, 0.1F},
      {0x49C04421, kGlobal, 0, 0.4F},
      {0x2D851347, kGlobal, 0, 0.7F}}},
    {Variant::k2026,
     {{0x00340FCF, kGlobal, 0, 11.0F},
      {0x43DEDEBA, kGlobal, 0, 7.0F},
      {0x04EC07CC, kGlobal, 0, 0.2F},
      {0x3D520394, kGlobal, 0, 0.75F},
      {0x02090197, kGlobal, 0, 0.1F},
      {0x49C04421, kGlobal, 0, 0.4F},
      {0x2D851347, kGlobal, 0, 0.7F}}},
    {Variant::kArtist,
     {{1, kGlobal, 0, 1.0F},
      {2, kGlobal, 0, 0.25F},  // 0.5 x 14 / 28
      {6, kGlobal, 0, 0.2F},
      {0, kGlobal, 0, 0.75F},
      {7, kGlobal, 0, 0.1F},
      {27, kGlobal, 0, 0.4F},
      {8, kGlobal, 0, 0.6F},
      {20, kGlobal, 0, 0.7F},
      {5, kGlobal, 0, 0.8F},
      {4, kGlobal, 0, 0.9F}}},
    {Variant::kEfx,
     {{6, kGlobal, 0, 1.0F},
      {7, kGlobal, 0, 3.5F},  // 0.5 x 14 / 2
      {12, kGlobal, 0, 0.2F},
      {2, kGlobal, 0, 0.75F},
      {13, kGlobal, 0, 0.1F},
      {11, kGlobal, 0, 0.7F},
      {9, kGlobal, 0, 0.8F},
      {0, kGlobal, 0, 0.3F}}},
};

class ParametersConversion : public InnerUnitTest, public testing::WithParamInterface<ConversionCase> {};

TEST_P(ParametersConversion, ForwardsEachOwnParameterByTheProductsRow) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, GetParam().variant);
  ASSERT_NE(inner, nullptr);

  for (AudioUnitParameterID id = 0; id < kValues.size(); ++id) {
    // Any scope and element: the shell's parameters are addressed by number only.
    EXPECT_EQ(AudioUnitSetParameter(veneer.unit(), id, kAudioUnitScope_Output, 3, kValues[id], 0), noErr);
  }
  EXPECT_EQ(inner->Writes(), GetParam().writes);
  for (AudioUnitParameterID id = 0; id < kValues.size(); ++id) {
    EXPECT_EQ(Read(veneer, id), kValues[id]) << "parameter " << id;  // cached unconverted
  }
}

INSTANTIATE_TEST_SUITE_P(ParametersOfEachProduct, ParametersConversion, testing::ValuesIn(kConversionCases), CaseName);

TEST_F(ParametersTest, AreCachedUnclampedAndForwardedEveryTime) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);

  EXPECT_EQ(Write(veneer, 5, 2.0F), noErr);
  EXPECT_EQ(Write(veneer, 5, 2.0F), noErr);
  EXPECT_EQ(Write(veneer, 0, -3.0F), noErr);
  EXPECT_EQ(Read(veneer, 5), 2.0F);
  EXPECT_EQ(Read(veneer, 0), -3.0F);
  EXPECT_EQ(inner->Writes(),
            (std::vector<ParameterWrite>{{89, kGlobal, 0, 2.0F}, {89, kGlobal, 0, 2.0F}, {2, kGlobal, 0, -3.0F}}));
}

TEST_F(ParametersTest, ThoseTheProductLacksAreOnlyCached) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kAdvanced);
  ASSERT_NE(inner, nullptr);

  EXPECT_EQ(Write(veneer, 10, 0.3F), noErr);
  EXPECT_EQ(Read(veneer, 10), 0.3F);
  EXPECT_TRUE(inner->Writes().empty());
  EXPECT_EQ(Read(veneer, 202), -1.0F);
}

TEST_F(ParametersTest, AreCachedWithoutAnInnerUnit) {
  HostedVeneer veneer;  // never initialised: no inner unit
  EXPECT_EQ(Write(veneer, 7, 0.9F), noErr);
  EXPECT_EQ(Read(veneer, 7), 0.9F);

  // Stored before the inner unit exists, forwarded only by later writes.
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(Read(veneer, 7), 0.9F);
  AudioUnitParameterValue tracking = 0.0F;
  ASSERT_EQ(AudioUnitGetParameter(veneer->InnerUnit(), 9, kGlobal, 0, &tracking), noErr);
  EXPECT_EQ(tracking, 0.5F);
}

TEST_F(ParametersTest, RefuseUnknownIds) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);

  for (const AudioUnitParameterID id : {11U, 199U, 216U, 219U, 221U, 0xFFFFFFFFU}) {
    AudioUnitParameterValue value = 42.0F;
    EXPECT_EQ(AudioUnitGetParameter(veneer.unit(), id, kGlobal, 0, &value), kAudioUnitErr_InvalidParameter) << id;
    EXPECT_EQ(value, 42.0F) << id;
  }
  // The read-backs are read-only.
  for (const AudioUnitParameterID id : {11U, 200U, 205U, 220U}) {
    EXPECT_EQ(Write(veneer, id, 0.5F), kAudioUnitErr_InvalidParameter) << id;
  }
  EXPECT_TRUE(inner->Writes().empty());
}

TEST_F(ParametersTest, DescribeTheOwnElevenOnly) {
  HostedVeneer veneer;
  constexpr std::array<const char*, 11> kNames{"Key",      "Scale",    "RetuneSpeed",    "InputType",
                                               "Humanize", "FlexTune", "NaturalVibrato", "Tracking",
                                               "Formant",  "Throat",   "WetDry"};
  constexpr std::array<float, 11> kDefaults{
      0.0F, std::bit_cast<float>(0x3D924925U), 0.686F, 0.25F, 0.0F, 0.0F, 0.5F, 0.5F, 1.0F, 0.5F, 1.0F};
  for (AudioUnitParameterID id = 0; id < kNames.size(); ++id) {
    AudioUnitParameterInfo info{};
    UInt32 size = sizeof info;
    ASSERT_EQ(
        AudioUnitGetProperty(veneer.unit(), kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Input, id, &info, &size),
        noErr)
        << id;
    EXPECT_STREQ(info.name, kNames[id]);
    EXPECT_EQ(std::bit_cast<uint32_t>(info.defaultValue), std::bit_cast<uint32_t>(kDefaults[id])) << id;
    // Before any settings arrive the cached value is the advertised default, to the bit.
    EXPECT_EQ(std::bit_cast<uint32_t>(Read(veneer, id)), std::bit_cast<uint32_t>(info.defaultValue)) << id;
    EXPECT_EQ(info.minValue, 0.0F);
    EXPECT_EQ(info.maxValue, 1.0F);
    EXPECT_EQ(info.unit, kAudioUnitParameterUnit_Generic);
    EXPECT_EQ(info.flags, 0U);
    EXPECT_EQ(info.cfNameString, nullptr);
    EXPECT_EQ(info.unitName, nullptr);
  }

  // Unknown ids still get the common description before they are refused.
  AudioUnitParameterInfo info{};
  std::memset(&info, 0xAB, sizeof info);
  EXPECT_EQ(veneer->GetParameterInfo(kGlobal, 11, info), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(info.flags, 0U);
  EXPECT_EQ(info.unit, kAudioUnitParameterUnit_Generic);
  EXPECT_EQ(info.minValue, 0.0F);
  EXPECT_EQ(info.maxValue, 1.0F);
  UInt32 size = sizeof info;
  EXPECT_EQ(AudioUnitGetProperty(veneer.unit(), kAudioUnitProperty_ParameterInfo, kGlobal, 200, &info, &size),
            kAudioUnitErr_InvalidParameter);
}

TEST_F(ParametersTest, ListIsEmptyInEveryScope) {
  HostedVeneer veneer;
  for (const AudioUnitScope scope : {kAudioUnitScope_Global, kAudioUnitScope_Input, kAudioUnitScope_Output}) {
    UInt32 size = 99;
    Boolean writable = true;
    EXPECT_EQ(AudioUnitGetPropertyInfo(veneer.unit(), kAudioUnitProperty_ParameterList, scope, 0, &size, &writable),
              noErr);
    EXPECT_EQ(size, 0U);
    UInt32 count = 99;
    EXPECT_EQ(veneer->GetParameterList(scope, nullptr, count), noErr);
    EXPECT_EQ(count, 0U);
  }
}

TEST_F(ParametersTest, ReadBackTheInnerValues) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  struct InnerValue {
    AudioUnitParameterID inner;
    float value;
  };
  for (const InnerValue& set : {InnerValue{4, 0.25F},
                                {2, 7.0F / 11.0F},
                                {91, 0.4F},
                                {10, 0.6F},
                                {11, 1.0F},
                                {162, 0.5F},
                                {61, 0.11F},
                                {62, 0.22F},
                                {47, 0.33F},
                                {9, 0.44F},
                                {70, 0.55F},
                                {71, 0.66F},
                                {89, 0.77F}}) {
    ASSERT_EQ(inner->SetParameterAsUser(set.inner, set.value), noErr) << set.inner;
  }

  EXPECT_FLOAT_EQ(Read(veneer, 200), 0.25F);
  EXPECT_FLOAT_EQ(Read(veneer, 201), 7.0F);  // a key index
  EXPECT_FLOAT_EQ(Read(veneer, 202), 0.4F);
  EXPECT_FLOAT_EQ(Read(veneer, 203), 0.6F);
  EXPECT_FLOAT_EQ(Read(veneer, 204), 1.0F);
  EXPECT_EQ(Read(veneer, 205), 1.0F);
  EXPECT_FLOAT_EQ(Read(veneer, 206), 7.0F);  // a scale index
  EXPECT_FLOAT_EQ(Read(veneer, 207), 0.11F);
  EXPECT_FLOAT_EQ(Read(veneer, 208), 0.22F);
  EXPECT_FLOAT_EQ(Read(veneer, 209), 0.33F);
  EXPECT_FLOAT_EQ(Read(veneer, 210), 0.44F);
  EXPECT_FLOAT_EQ(Read(veneer, 211), 0.55F);
  EXPECT_FLOAT_EQ(Read(veneer, 212), 0.66F);
  EXPECT_FLOAT_EQ(Read(veneer, 213), 0.77F);
  EXPECT_EQ(Read(veneer, 214), 0.0F);
  EXPECT_EQ(Read(veneer, 215), 1.0F);
  EXPECT_EQ(Read(veneer, 220), 0.0F);  // nothing rendered yet
  EXPECT_TRUE(inner->Writes().empty());
  // Near the row's values within 0.002, else by the divisor.
  EXPECT_EQ(veneer->ScaleSemantic(0.0714F), 1.0F);
  EXPECT_EQ(veneer->ScaleSemantic(0.1428F), 2.0F);
}

TEST_F(ParametersTest, ReadBackByTheRowsConversions) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kAdvanced);
  ASSERT_NE(inner, nullptr);
  ASSERT_EQ(inner->SetParameterAsUser(0x3D520394, 2.0F), noErr);
  ASSERT_EQ(inner->SetParameterAsUser(0x00340FCF, 5.0F), noErr);
  ASSERT_EQ(inner->SetParameterAsUser(0x43DEDEBA, 1.0F), noErr);

  EXPECT_FLOAT_EQ(Read(veneer, 203), 0.5F);  // 2.0 / 4
  EXPECT_FLOAT_EQ(Read(veneer, 201), 5.0F);
  EXPECT_FLOAT_EQ(Read(veneer, 206), 1.0F);  // the row's value for index 1
  ASSERT_EQ(inner->SetParameterAsUser(0x43DEDEBA, 5.0F), noErr);
  EXPECT_FLOAT_EQ(Read(veneer, 206), 195.0F);  // 5 x 39
  EXPECT_EQ(Read(veneer, 214), 1.0F);
  // Columns the product lacks are not available.
  for (const AudioUnitParameterID id : {202U, 204U, 208U, 209U, 211U, 212U}) {
    EXPECT_EQ(Read(veneer, id), -1.0F) << id;
  }
}

TEST_F(ParametersTest, ReadBackARefusedKeyMode) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::FaultsOf(standin::Register(Variant::kEfx)).SetScaleName("Scale");
  HostedVeneer veneer;
  standin::Unit* inner = InitializeOn(veneer);
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(Read(veneer, 214), 4.0F);
  EXPECT_EQ(Read(veneer, 215), 0.0F);
}

TEST_F(ParametersTest, ReadBackNothingWithoutAnInnerUnit) {
  HostedVeneer veneer;
  for (AudioUnitParameterID id = 200; id <= 215; ++id) {
    EXPECT_EQ(Read(veneer, id), id == 205 ? 0.0F : -1.0F) << id;
  }
  EXPECT_EQ(Read(veneer, 220), 0.0F);

  // Once the inner unit is gone again, the remembered variant alone answers nothing.
  ASSERT_NE(Load(veneer, Variant::kPro), nullptr);
  EXPECT_EQ(Read(veneer, 214), 0.0F);
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  ASSERT_NE(veneer->Variant(), nullptr);
  for (const AudioUnitParameterID id : {201U, 206U, 214U, 215U}) {
    EXPECT_EQ(Read(veneer, id), -1.0F) << id;
  }
  EXPECT_EQ(Read(veneer, 205), 0.0F);
}

TEST_F(ParametersTest, ScaleIndexFollowsTheRowsOrder) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  EXPECT_FLOAT_EQ(veneer->ScaleSemantic(0.5F), 7.0F);  // no variant yet: x 14

  ASSERT_NE(Load(veneer, Variant::kArtist), nullptr);
  EXPECT_EQ(veneer->ScaleSemantic(0.0F), 1.0F);  // Artist lists 1/14 first, then 0
  EXPECT_EQ(veneer->ScaleSemantic(1.0F / 14.0F), 0.0F);
  EXPECT_EQ(veneer->ScaleSemantic(1.0F / 28.0F), 2.0F);
  EXPECT_EQ(veneer->ScaleSemantic(0.0019F), 1.0F);
  EXPECT_FLOAT_EQ(veneer->ScaleSemantic(0.25F), 7.0F);  // x 28
  // Just outside the tolerance of 0.002 around 1/14: converted by the divisor.
  EXPECT_FLOAT_EQ(veneer->ScaleSemantic(1.0F / 14.0F + 0.0021F), (1.0F / 14.0F + 0.0021F) * 28.0F);
}

TEST_F(ParametersTest, InnerParamReadsTheInnerUnit) {
  HostedVeneer veneer;
  float value = 0.0F;
  EXPECT_EQ(veneer->GetInnerParam(4, value), kAudioUnitErr_InvalidElement);

  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  ASSERT_EQ(inner->SetParameterAsUser(4, 0.125F), noErr);
  EXPECT_EQ(veneer->GetInnerParam(4, value), noErr);
  EXPECT_EQ(value, 0.125F);
  EXPECT_EQ(veneer->GetInnerParam(veneer::kNoParam, value), kAudioUnitErr_InvalidElement);
  EXPECT_NE(veneer->GetInnerParam(3, value), noErr);  // the product has no parameter 3
}

}  // namespace
