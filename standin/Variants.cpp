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
    ParameterSpec{0, "Correction Mode", kIndexed, 0.0F, 1.0F, 0.0F},
    ParameterSpec{1, "Legacy Scale", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{2, "Key", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{4, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.686F},
    ParameterSpec{9, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{10, "Input Type", kGeneric, 0.0F, 1.0F, 0.25F},
    ParameterSpec{11, "Classic Mode", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterSpec{47, "Vibrato Amount", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{61, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{62, "Natural Vibrato", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{70, "Formant", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterSpec{71, "Throat Length", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{74, "Transpose", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{89, "Flex-Tune", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{90, "Active", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterSpec{91, "Mix", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterSpec{162, "Modern Scale", kGeneric, 0.0F, 1.0F, 0.0F},
};

// Advanced and 2026 share the hashed ids; they differ in the scale's range.
constexpr ParameterSpec kHashedKey{0x00340FCF, "Key", kIndexed, 0.0F, 11.0F, 0.0F};
constexpr ParameterSpec kHashedRetune{0x04EC07CC, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.5F};
constexpr ParameterSpec kHashedHumanize{0x02090197, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F};
constexpr ParameterSpec kHashedFlexTune{0x49C04421, "Flex-Tune", kGeneric, 0.0F, 1.0F, 0.0F};
constexpr ParameterSpec kHashedTracking{0x2D851347, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F};
constexpr ParameterSpec kHashedActive{0x36F54D31, "Active", kBoolean, 0.0F, 1.0F, 0.0F};
constexpr ParameterSpec kHashedInputType{0x3D520394, "Input Type", kIndexed, 0.0F, 4.0F, 1.0F};
constexpr AudioUnitParameterID kHashedScale = 0x43DEDEBA;

constexpr std::array kAdvancedParameters{
    kHashedKey,      ParameterSpec{kHashedScale, "Scale", kGeneric, 0.0F, 39.0F, 0.0F},
    kHashedRetune,   kHashedHumanize,
    kHashedFlexTune, kHashedTracking,
    kHashedActive,   kHashedInputType,
};

constexpr std::array k2026Parameters{
    kHashedKey,      ParameterSpec{kHashedScale, "Scale", kIndexed, 0.0F, 14.0F, 0.0F},
    kHashedRetune,   kHashedHumanize,
    kHashedFlexTune, kHashedTracking,
    kHashedActive,   kHashedInputType,
};

constexpr std::array kArtistParameters{
    ParameterSpec{0, "Input Type", kGeneric, 0.0F, 1.0F, 0.25F},
    ParameterSpec{1, "Key", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{2, "Scale", kGeneric, 0.0F, 1.0F, 0.0714286F},
    ParameterSpec{4, "Throat Length", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{5, "Formant", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterSpec{6, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.686F},
    ParameterSpec{7, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{8, "Natural Vibrato", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{18, "Vibrato Amount", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{20, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{22, "Classic Mode", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterSpec{27, "Flex-Tune", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{34, "Transpose", kGeneric, 0.0F, 1.0F, 0.5F},
};

constexpr std::array kEfxParameters{
    ParameterSpec{0, "Mix", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterSpec{2, "Input Type", kGeneric, 0.0F, 1.0F, 0.25F},
    ParameterSpec{6, "Key", kGeneric, 0.0F, 1.0F, 0.0F},
    ParameterSpec{7, "Auto-Tune Scale", kGeneric, 0.0F, 7.0F, 1.0F},
    ParameterSpec{8, "Bypass", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterSpec{9, "Formant", kGeneric, 0.0F, 1.0F, 1.0F},
    ParameterSpec{10, "Active", kBoolean, 0.0F, 1.0F, 0.0F},
    ParameterSpec{11, "Tracking", kGeneric, 0.0F, 1.0F, 0.5F},
    ParameterSpec{12, "Retune Speed", kGeneric, 0.0F, 1.0F, 0.686F},
    ParameterSpec{13, "Humanize", kGeneric, 0.0F, 1.0F, 0.0F},
};

struct Product {
  const char* name;
  AudioComponentDescription description;
  std::span<const ParameterSpec> parameters;
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

std::span<const ParameterSpec> ParametersOf(Variant variant) { return ProductOf(variant).parameters; }

AudioUnitParameterID ScaleParameterOf(Variant variant) { return ProductOf(variant).scaleParameter; }

const ParameterSpec* FindParameter(Variant variant, AudioUnitParameterID id) {
  for (const ParameterSpec& spec : ParametersOf(variant)) {
    if (spec.id == id) {
      return &spec;
    }
  }
  return nullptr;
}

}  // namespace standin
