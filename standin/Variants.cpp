#include "standin/Variants.h"

#include <array>

namespace standin {
namespace {

constexpr auto kGeneric = kAudioUnitParameterUnit_Generic;
constexpr auto kIndexed = kAudioUnitParameterUnit_Indexed;
constexpr auto kBoolean = kAudioUnitParameterUnit_Boolean;

// Parameter sets as the products publish them. The hashed ids of the Antares
// products are their own; key and scale ranges follow each product's value scale.
constexpr std::array kProParameters{
    ParameterModel{0, "Correction Mode", kIndexed, 0.0F, 1.0F, 0.0F},
    ParameterModel{1, "Legacy Scale", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{2, "Key", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{4, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.686F},
    ParameterModel{9, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{10, "Input Type", kGeneric, 0.0F, 1.0F, 0.25F},
    ParameterModel{11, "Classic Mode", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterModel{47, "Vibrato Amount", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{61, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{62, "Natural Vibrato", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{70, "Formant", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterModel{71, "Throat Length", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{74, "Transpose", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{89, "Flex-Tune", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{90, "Active", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterModel{91, "Mix", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterModel{162, "Modern Scale", kGeneric, 0.0F, 1.0F, 0.0F},
};

// Advanced and 2026 share the hashed ids; they differ in the scale's range.
constexpr ParameterModel kHashedKey{0x00340FCF, "Key", kIndexed, 0.0F, 11.0F, 0.0F};
constexpr ParameterModel kHashedRetune{0x04EC07CC, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.5F};
constexpr ParameterModel kHashedHumanize{0x02090197, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F};
constexpr ParameterModel kHashedFlexTune{0x49C04421, "Flex-Tune", kGeneric, 0.0F, 1.0F, 0.0F};
constexpr ParameterModel kHashedTracking{0x2D851347, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F};
constexpr ParameterModel kHashedActive{0x36F54D31, "Active", kBoolean, 0.0F, 1.0F, 0.0F};
constexpr ParameterModel kHashedInputType{0x3D520394, "Input Type", kIndexed, 0.0F, 4.0F, 1.0F};
constexpr AudioUnitParameterID kHashedScale = 0x43DEDEBA;

constexpr std::array kAdvancedParameters{
    kHashedKey,      ParameterModel{kHashedScale, "Scale", kGeneric, 0.0F, 39.0F, 0.0F},
    kHashedRetune,   kHashedHumanize,
    kHashedFlexTune, kHashedTracking,
    kHashedActive,   kHashedInputType,
};

constexpr std::array k2026Parameters{
    kHashedKey,      ParameterModel{kHashedScale, "Scale", kIndexed, 0.0F, 14.0F, 0.0F},
    kHashedRetune,   kHashedHumanize,
    kHashedFlexTune, kHashedTracking,
    kHashedActive,   kHashedInputType,
};

constexpr std::array kArtistParameters{
    ParameterModel{0, "Input Type", kGeneric, 0.0F, 1.0F, 0.25F},
    ParameterModel{1, "Key", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{2, "Scale", kGeneric, 0.0F, 1.0F, 0.0714286F},
    ParameterModel{4, "Throat Length", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{5, "Formant", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterModel{6, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.686F},
    ParameterModel{7, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{8, "Natural Vibrato", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{18, "Vibrato Amount", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{20, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{22, "Classic Mode", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterModel{27, "Flex-Tune", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{34, "Transpose", kGeneric, 0.0F, 1.0F, 0.5F},
};

constexpr std::array kEfxParameters{
    ParameterModel{0, "Mix", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterModel{2, "Input Type", kGeneric, 0.0F, 1.0F, 0.25F},
    ParameterModel{6, "Key", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterModel{7, "Auto-Tune Scale", kGeneric, 0.0F, 7.0F, 1.0F},
    ParameterModel{8, "Bypass", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterModel{9, "Formant", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterModel{10, "Active", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterModel{11, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterModel{12, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.686F},
    ParameterModel{13, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F},
};

struct Product {
  const char* name;
  AudioComponentDescription description;
  std::span<const ParameterModel> parameters;
  AudioUnitParameterID scaleParameter;
};

const Product& ProductOf(Variant variant) {
  static const std::array<Product, 5> kProducts{{
      {"Auto-Tune Pro", {'aumf', 'AT81', 'VST ', 0, 0}, kProParameters, 162},
      {"AutoTune Advanced", {'aumf', 'Advn', 'Antr', 0, 0}, kAdvancedParameters, kHashedScale},
      {"AutoTune 2026", {'aufx', 'Core', 'Antr', 0, 0}, k2026Parameters, kHashedScale},
      {"Auto-Tune Artist", {'aumf', 'ATxL', 'VST ', 0, 0}, kArtistParameters, 2},
      {"Auto-Tune EFX+", {'aufx', 'Vefx', 'Antr', 0, 0}, kEfxParameters, 7},
  }};
  return kProducts.at(static_cast<size_t>(variant));
}

}  // namespace

AudioComponentDescription DescriptionOf(Variant variant) { return ProductOf(variant).description; }

const char* NameOf(Variant variant) { return ProductOf(variant).name; }

std::span<const ParameterModel> ParametersOf(Variant variant) { return ProductOf(variant).parameters; }

AudioUnitParameterID ScaleParameterOf(Variant variant) { return ProductOf(variant).scaleParameter; }

const ParameterModel* FindParameter(Variant variant, AudioUnitParameterID id) {
  for (const ParameterModel& parameter : ParametersOf(variant)) {
    if (parameter.id == id) {
      return &parameter;
    }
  }
  return nullptr;
}

}  // namespace standin
