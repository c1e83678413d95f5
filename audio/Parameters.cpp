// The shell's own parameters (normalised 0-1, cached and forwarded to the inner
// unit by the variant's row) and the read-only ids that report the inner unit.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "shell/SteeredSettings.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr float kNotAvailable = -1.0F;
constexpr float kScaleTolerance = 0.002F;

// Answered from the shell's own fields rather than the inner unit.
constexpr AudioUnitParameterID kInnerPresentId = 205;
constexpr AudioUnitParameterID kVariantIndexId = 214;
constexpr AudioUnitParameterID kKeyModeAcceptedId = 215;
constexpr AudioUnitParameterID kAudioLevelId = 220;

const SteeredSetting* ReadBackSetting(AudioUnitParameterID id) {
  const auto* found = std::find_if(kSteeredSettings.begin(), kSteeredSettings.end(),
                                   [id](const SteeredSetting& setting) { return setting.readBack == id; });
  return id != kNoReadBack && found != kSteeredSettings.end() ? found : nullptr;
}

}  // namespace

std::atomic<float>& Veneer::OwnParameter(AudioUnitParameterID id) { return this->*kOwnParameters[id]->cache; }

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
  const SteeredSetting& parameter = *kOwnParameters[inParameterID];
  outParameterInfo.defaultValue = parameter.defaultValue;
  const size_t length = std::min(std::strlen(parameter.ownName), sizeof outParameterInfo.name - 1);
  std::memcpy(outParameterInfo.name, parameter.ownName, length);
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
  const SteeredSetting* readBack = ReadBackSetting(inID);
  if (readBack == nullptr) {
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
    case Conversion::kKey:
      outValue = value * variant->keyDivisor;
      break;
    case Conversion::kInputType:
      outValue = value / variant->inputTypeFactor;
      break;
    case Conversion::kScale:
      outValue = ScaleSemantic(value);
      break;
    case Conversion::kPlain:
    case Conversion::kClassicMode:
      outValue = value;
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
  const SteeredSetting& parameter = *kOwnParameters[inID];
  const AudioUnitParameterID target = variant->*parameter.column;
  if (target == kNoParam) {
    return noErr;
  }
  // Input type goes out unscaled here; only the settings file's path applies the row's factor.
  AudioUnitParameterValue converted = inValue;
  if (parameter.conversion == Conversion::kKey) {
    converted = inValue * kKeySteps / variant->keyDivisor;
  } else if (parameter.conversion == Conversion::kScale) {
    converted = inValue * kScaleSteps / variant->scaleDivisor;
  }
  AudioUnitSetParameter(inner, target, kAudioUnitScope_Global, 0, converted, 0);
  return noErr;
}

float Veneer::ScaleSemantic(float innerScaleValue) const { return ScaleIndex(variant_.load(), innerScaleValue); }

float Veneer::ScaleIndex(const VariantInfo* variant, float innerScaleValue) {
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
