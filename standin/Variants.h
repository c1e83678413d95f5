// The outside products that the stand-ins impersonate: component descriptions,
// names and parameters, as the products themselves publish them.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <span>

namespace standin {

enum class Variant { kPro, kAdvanced, k2026, kArtist, kEfx };

inline constexpr Variant kAllVariants[] = {Variant::kPro, Variant::kAdvanced, Variant::k2026, Variant::kArtist,
                                           Variant::kEfx};

// One parameter of a product, global scope.
struct ParameterModel {
  AudioUnitParameterID id;
  const char* name;
  AudioUnitParameterUnit unit;
  AudioUnitParameterValue minValue;
  AudioUnitParameterValue maxValue;
  AudioUnitParameterValue defaultValue;
};

// [any thread] Type, subtype and manufacturer of the product's component; flags 0.
AudioComponentDescription DescriptionOf(Variant variant);
// [any thread] The product's name, e.g. "Auto-Tune Pro".
const char* NameOf(Variant variant);
// [any thread] Every parameter the product publishes.
std::span<const ParameterModel> ParametersOf(Variant variant);
// [any thread] The product's scale (key mode) parameter.
AudioUnitParameterID ScaleParameterOf(Variant variant);
// [any thread] The description of `id`, or null when the product has no such parameter.
const ParameterModel* FindParameter(Variant variant, AudioUnitParameterID id);

}  // namespace standin
