// The shell's own parameters (normalised 0-1, cached and forwarded to the inner
// unit by the variant's row) and the read-only ids that report the inner unit.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr AudioUnitParameterID kLastOwnParameter = 10;
constexpr float kNotAvailable = -1.0F;
constexpr float kKeySteps = 11.0F;    // key index / 11
constexpr float kScaleSteps = 14.0F;  // scale index / 14
constexpr float kScaleTolerance = 0.002F;

struct OwnParameterInfo {
  const char* name;
  float defaultValue;
  AudioUnitParameterID VariantInfo::*column;
};

// By id 0-10.
constexpr std::array<OwnParameterInfo, kLastOwnParameter + 1> kOwnParameters{{
    {"Key", 0.0F, &VariantInfo::keyParam},
    {"Scale", 1.0F / 14.0F, &VariantInfo::scaleParam},
    {"RetuneSpeed", 0.686F, &VariantInfo::retuneParam},
    {"InputType", 0.25F, &VariantInfo::inputTypeParam},
    {"Humanize", 0.0F, &VariantInfo::humanizeParam},
    {"FlexTune", 0.0F, &VariantInfo::flexTuneParam},
    {"NaturalVibrato", 0.5F, &VariantInfo::naturalVibratoParam},
    {"Tracking", 0.5F, &VariantInfo::trackingParam},
    {"Formant", 1.0F, &VariantInfo::formantParam},
    {"Throat", 0.5F, &VariantInfo::throatParam},
    {"WetDry", 1.0F, &VariantInfo::wetDryParam},
}};

enum class ReadBack { kRaw, kTimesKeyDivisor, kByInputTypeFactor, kScaleIndex };

struct InnerReadBack {
  AudioUnitParameterID id;
  AudioUnitParameterID VariantInfo::*column;
  ReadBack conversion;
};

// The read-backs that read an inner parameter; 205, 214, 215 and 220 are answered from the shell's own fields.
constexpr std::array<InnerReadBack, 13> kInnerReadBacks{{
    {200, &VariantInfo::retuneParam, ReadBack::kRaw},
    {201, &VariantInfo::keyParam, ReadBack::kTimesKeyDivisor},
    {202, &VariantInfo::wetDryParam, ReadBack::kRaw},
    {203, &VariantInfo::inputTypeParam, ReadBack::kByInputTypeFactor},
    {204, &VariantInfo::classicModeParam, ReadBack::kRaw},
    {206, &VariantInfo::scaleParam, ReadBack::kScaleIndex},
    {207, &VariantInfo::humanizeParam, ReadBack::kRaw},
    {208, &VariantInfo::naturalVibratoParam, ReadBack::kRaw},
    {209, &VariantInfo::vibratoAmplitudeParam, ReadBack::kRaw},
    {210, &VariantInfo::trackingParam, ReadBack::kRaw},
    {211, &VariantInfo::formantParam, ReadBack::kRaw},
    {212, &VariantInfo::throatParam, ReadBack::kRaw},
    {213, &VariantInfo::flexTuneParam, ReadBack::kRaw},
}};

constexpr AudioUnitParameterID kInnerPresentId = 205;
constexpr AudioUnitParameterID kVariantIndexId = 214;
constexpr AudioUnitParameterID kKeyModeAcceptedId = 215;
constexpr AudioUnitParameterID kAudioLevelId = 220;

}  // namespace

std::atomic<float>& Veneer::OwnParameter(AudioUnitParameterID id) {
  const std::array<std::atomic<float>*, kLastOwnParameter + 1> fields{
      &key_,      &scale_,   &retuneSpeed_, &inputType_, &humanize_, &flexTune_, &naturalVibrato_,
      &tracking_, &formant_, &throat_,      &wetDry_};
  return *fields[id];
}

OSStatus Veneer::GetParameterList(AudioUnitScope /*inScope*/, AudioUnitParameterID* /*outParameterList*/,
                                  UInt32& outNumParameters) {
  // The ids are reached by number only: hosts show no generic controls for them.
  outNumParameters = 0;
  return noErr;
}

OSStatus Veneer::GetParameterInfo(AudioUnitScope /*inScope*/, AudioUnitParameterID inParameterID,
                                  AudioUnitParameterInfo& outParameterInfo) {
  outParameterInfo.flags = 0;
  outParameterInfo.unit = kAudioUnitParameterUnit_Generic;
  outParameterInfo.minValue = 0.0F;
  outParameterInfo.maxValue = 1.0F;
  if (inParameterID > kLastOwnParameter) {
    return kAudioUnitErr_InvalidParameter;
  }
  const OwnParameterInfo& parameter = kOwnParameters[inParameterID];
  outParameterInfo.defaultValue = parameter.defaultValue;
  const size_t length = std::min(std::strlen(parameter.name), sizeof outParameterInfo.name - 1);
  std::memcpy(outParameterInfo.name, parameter.name, length);
  outParameterInfo.name[length] = '\0';
  return noErr;
}

OSStatus Veneer::GetParameter(AudioUnitParameterID inID, AudioUnitScope /*inScope*/, AudioUnitElement /*inElement*/,
                              AudioUnitParameterValue& outValue) {
  if (inID <= kLastOwnParameter) {
    outValue = OwnParameter(inID).load();
    return noErr;
  }
  const AudioUnit inner = innerUnit_.load();
  const VariantInfo* variant = variant_.load();
  switch (inID) {
    case kInnerPresentId:
      outValue = inner != nullptr ? 1.0F : 0.0F;
      return noErr;
    case kAudioLevelId:
      outValue = audioLevel_.load();
      return noErr;
    case kVariantIndexId:
      outValue =
          inner != nullptr && variant != nullptr ? static_cast<float>(variant - kVariants.data()) : kNotAvailable;
      return noErr;
    case kKeyModeAcceptedId:
      outValue = inner != nullptr && variant != nullptr ? (keyModeAccepted_.load() ? 1.0F : 0.0F) : kNotAvailable;
      return noErr;
    default:
      break;
  }
  const auto* readBack = std::find_if(kInnerReadBacks.begin(), kInnerReadBacks.end(),
                                      [inID](const InnerReadBack& entry) { return entry.id == inID; });
  if (readBack == kInnerReadBacks.end()) {
    return kAudioUnitErr_InvalidParameter;
  }
  outValue = kNotAvailable;
  if (inner == nullptr || variant == nullptr || variant->*readBack->column == kNoParam) {
    return noErr;
  }
  AudioUnitParameterValue value = 0.0F;
  if (AudioUnitGetParameter(inner, variant->*readBack->column, kAudioUnitScope_Global, 0, &value) != noErr) {
    return noErr;
  }
  switch (readBack->conversion) {
    case ReadBack::kRaw:
      outValue = value;
      break;
    case ReadBack::kTimesKeyDivisor:
      outValue = value * variant->keyDivisor;
      break;
    case ReadBack::kByInputTypeFactor:
      outValue = value / variant->inputTypeFactor;
      break;
    case ReadBack::kScaleIndex:
      outValue = ScaleSemantic(value);
      break;
  }
  return noErr;
}

OSStatus Veneer::SetParameter(AudioUnitParameterID inID, AudioUnitScope /*inScope*/, AudioUnitElement /*inElement*/,
                              AudioUnitParameterValue inValue, UInt32 /*inBufferOffsetInFrames*/) {
  if (inID > kLastOwnParameter) {
    return kAudioUnitErr_InvalidParameter;
  }
  OwnParameter(inID).store(inValue);

  const AudioUnit inner = innerUnit_.load();
  const VariantInfo* variant = variant_.load();
  if (inner == nullptr || variant == nullptr) {
    return noErr;
  }
  const AudioUnitParameterID target = variant->*kOwnParameters[inID].column;
  if (target == kNoParam) {
    return noErr;
  }
  // Input type goes out unscaled here; only the settings file's path applies the row's factor.
  AudioUnitParameterValue converted = inValue;
  if (inID == 0) {
    converted = inValue * kKeySteps / variant->keyDivisor;
  } else if (inID == 1) {
    converted = inValue * kScaleSteps / variant->scaleDivisor;
  }
  AudioUnitSetParameter(inner, target, kAudioUnitScope_Global, 0, converted, 0);
  return noErr;
}

float Veneer::ScaleSemantic(float innerScaleValue) const {
  const VariantInfo* variant = variant_.load();
  if (variant == nullptr) {
    return innerScaleValue * kScaleSteps;
  }
  // The row's order decides, not the numeric one: Artist's first two values are 1/14 and 0.
  for (size_t index = 0; index < variant->scaleValues.size(); ++index) {
    if (std::fabs(innerScaleValue - variant->scaleValues[index]) < kScaleTolerance) {
      return static_cast<float>(index);
    }
  }
  return innerScaleValue * variant->scaleDivisor;
}

OSStatus Veneer::GetInnerParam(AudioUnitParameterID id, float& outValue) const {
  const AudioUnit inner = innerUnit_.load();
  if (id == kNoParam || inner == nullptr) {
    return kAudioUnitErr_InvalidElement;
  }
  return AudioUnitGetParameter(inner, id, kAudioUnitScope_Global, 0, &outValue);
}

}  // namespace veneer
