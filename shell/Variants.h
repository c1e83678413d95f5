// The pitch-correction products the shell can drive, and how it finds one.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <array>
#include <string_view>

namespace veneer {

// A parameter id the product does not have: every user of the table skips it.
inline constexpr AudioUnitParameterID kNoParam = 0xFFFFFFFF;

struct VariantInfo {
  const char* name;
  AudioComponentDescription desc;
  AudioUnitParameterID keyParam;
  AudioUnitParameterID scaleParam;
  AudioUnitParameterID retuneParam;
  AudioUnitParameterID humanizeParam;
  AudioUnitParameterID flexTuneParam;
  AudioUnitParameterID trackingParam;
  AudioUnitParameterID forceOneParam;
  AudioUnitParameterID correctionModeParam;
  AudioUnitParameterID classicModeParam;
  AudioUnitParameterID formantParam;
  AudioUnitParameterID throatParam;
  AudioUnitParameterID wetDryParam;
  AudioUnitParameterID naturalVibratoParam;
  AudioUnitParameterID vibratoAmplitudeParam;
  AudioUnitParameterID inputTypeParam;
  AudioUnitParameterID transposeParam;
  float keyDivisor;
  float scaleDivisor;
  float inputTypeFactor;
  std::array<float, 3> scaleValues;
  AudioUnitParameterID forceZeroParam;
  AudioUnitParameterID scaleParam2;
  const char* scaleParamName;
};

inline constexpr size_t kVariantCount = 5;
extern const std::array<VariantInfo, kVariantCount> kVariants;

// [any thread] The row whose name occurs first in the first line of the support
// folder's `fileName`; null when the file is missing, HOME is unset or no name occurs.
const VariantInfo* VariantFromFile(std::string_view fileName);

// [any thread] The newest installed component matching `desc` (the first found
// among equal versions); logs the versions when there are several. Null when none.
AudioComponent PickNewestComponent(const AudioComponentDescription& desc);

// [main thread] Chooses the variant: forced file, preferred file, then the table's
// order. Sets `variant` and returns the component; null (and `variant` untouched)
// when no variant is installed.
AudioComponent DiscoverInnerComponent(const VariantInfo*& variant);

}  // namespace veneer
