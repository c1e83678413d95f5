// The settings the companion application steers, one row each. Everything
// else about them is derived from this table: the settings file's keys, the
// order in which a file is applied, the shell's own parameters and read-backs,
// the cached fields and their defaults, the snapshot and the manual-change
// report. Adding a setting means adding a row here.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "shell/Variants.h"
#include "shell/Veneer.h"

namespace veneer {

// How a setting's value relates to the inner parameter behind it.
enum class Conversion : uint8_t {
  kPlain,        // the same value everywhere
  kKey,          // a key index (0-11): cached / 11, sent / keyDivisor, read back x keyDivisor
  kScale,        // a scale index: cached / 14, sent as scaleValues[index] or / scaleDivisor to both scale
                 // columns, read back through ScaleSemantic
  kInputType,    // sent x inputTypeFactor, read back / inputTypeFactor
  kClassicMode,  // sent, then kept (as a double) with the latency it implies
};

// Shell steps per normalised unit of the own Key and Scale parameters.
inline constexpr float kKeySteps = 11.0F;    // key index / 11
inline constexpr float kScaleSteps = 14.0F;  // scale index / 14

inline constexpr int kNoOwnParameter = -1;
inline constexpr AudioUnitParameterID kNoReadBack = 0;

struct SteeredSetting {
  std::string_view fileKey;      // in the settings file and the back file
  std::string_view fileAlias{};  // a second key the settings file may use, or empty
  AudioUnitParameterID VariantInfo::*column;
  Conversion conversion;
  std::atomic<float> Veneer::*cache;  // null: not cached as a float
  float defaultValue;                 // the cache's first value and the own parameter's default
  int ownParameter;                   // 0-10, or kNoOwnParameter
  const char* ownName;                // the own parameter's name
  AudioUnitParameterID readBack;      // 200-213, or kNoReadBack
  // Positions (from 1; 0 = not there) in the lists whose order the companion
  // application or the inner unit sees: the back file's lines, the snapshot's
  // reads, and the reads of the "readback" log line.
  uint8_t reportRank;
  uint8_t snapshotRank;
  uint8_t readbackRank;
  std::string_view readbackLabel{};  // in the "readback" log line, when it is not the file key
};

// Friend of Veneer, for the cached fields.
struct SteeredSettings {
  // In the order a settings file is applied.
  static constexpr std::array<SteeredSetting, 15> kAll{{
      {.fileKey = "key",
       .column = &VariantInfo::keyParam,
       .conversion = Conversion::kKey,
       .cache = &Veneer::key_,
       .defaultValue = 0.0F,
       .ownParameter = 0,
       .ownName = "Key",
       .readBack = 201,
       .reportRank = 13,
       .snapshotRank = 1,
       .readbackRank = 2},
      {.fileKey = "scale",
       .column = &VariantInfo::scaleParam,
       .conversion = Conversion::kScale,
       .cache = &Veneer::scale_,
       .defaultValue = 1.0F / 14.0F,
       .ownParameter = 1,
       .ownName = "Scale",
       .readBack = 206,
       .reportRank = 14,
       .snapshotRank = 2,
       .readbackRank = 11},
      {.fileKey = "correctionMode",
       .fileAlias = "0",  // the number one product knows it by
       .column = &VariantInfo::correctionModeParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::correctionMode_,
       .defaultValue = 0.0F,
       .ownParameter = kNoOwnParameter,
       .ownName = nullptr,
       .readBack = kNoReadBack,
       .reportRank = 0,  // tracked, never reported
       .snapshotRank = 15,
       .readbackRank = 0},
      {.fileKey = "transpose",
       .column = &VariantInfo::transposeParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::transpose_,
       .defaultValue = 0.5F,
       .ownParameter = kNoOwnParameter,
       .ownName = nullptr,
       .readBack = kNoReadBack,
       .reportRank = 11,
       .snapshotRank = 14,
       .readbackRank = 0},
      {.fileKey = "classicMode",
       .column = &VariantInfo::classicModeParam,
       .conversion = Conversion::kClassicMode,
       .cache = nullptr,  // classicMode_ is a double
       .defaultValue = 0.0F,
       .ownParameter = kNoOwnParameter,
       .ownName = nullptr,
       .readBack = 204,
       .reportRank = 12,
       .snapshotRank = 7,
       .readbackRank = 0},
      {.fileKey = "retune",
       .column = &VariantInfo::retuneParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::retuneSpeed_,
       .defaultValue = 0.686F,
       .ownParameter = 2,
       .ownName = "RetuneSpeed",
       .readBack = 200,
       .reportRank = 1,
       .snapshotRank = 3,
       .readbackRank = 1},
      {.fileKey = "inputType",
       .column = &VariantInfo::inputTypeParam,
       .conversion = Conversion::kInputType,
       .cache = &Veneer::inputType_,
       .defaultValue = 0.25F,
       .ownParameter = 3,
       .ownName = "InputType",
       .readBack = 203,
       .reportRank = 10,
       .snapshotRank = 13,
       .readbackRank = 0},
      {.fileKey = "humanize",
       .column = &VariantInfo::humanizeParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::humanize_,
       .defaultValue = 0.0F,
       .ownParameter = 4,
       .ownName = "Humanize",
       .readBack = 207,
       .reportRank = 2,
       .snapshotRank = 4,
       .readbackRank = 9},
      {.fileKey = "flexTune",
       .column = &VariantInfo::flexTuneParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::flexTune_,
       .defaultValue = 0.0F,
       .ownParameter = 5,
       .ownName = "FlexTune",
       .readBack = 213,
       .reportRank = 3,
       .snapshotRank = 5,
       .readbackRank = 8},
      {.fileKey = "naturalVibrato",
       .column = &VariantInfo::naturalVibratoParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::naturalVibrato_,
       .defaultValue = 0.5F,
       .ownParameter = 6,
       .ownName = "NaturalVibrato",
       .readBack = 208,
       .reportRank = 4,
       .snapshotRank = 11,
       .readbackRank = 10},
      {.fileKey = "vibratoAmplitude",
       .fileAlias = "47",  // likewise
       .column = &VariantInfo::vibratoAmplitudeParam,
       .conversion = Conversion::kPlain,
       .cache = nullptr,  // sent only
       .defaultValue = 0.0F,
       .ownParameter = kNoOwnParameter,
       .ownName = nullptr,
       .readBack = 209,
       .reportRank = 5,
       .snapshotRank = 12,
       .readbackRank = 4,
       .readbackLabel = "vibratoAmp"},
      {.fileKey = "tracking",
       .column = &VariantInfo::trackingParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::tracking_,
       .defaultValue = 0.5F,
       .ownParameter = 7,
       .ownName = "Tracking",
       .readBack = 210,
       .reportRank = 6,
       .snapshotRank = 6,
       .readbackRank = 7},
      {.fileKey = "formant",
       .column = &VariantInfo::formantParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::formant_,
       .defaultValue = 1.0F,
       .ownParameter = 8,
       .ownName = "Formant",
       .readBack = 211,
       .reportRank = 7,
       .snapshotRank = 8,
       .readbackRank = 5},
      {.fileKey = "throat",
       .column = &VariantInfo::throatParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::throat_,
       .defaultValue = 0.5F,
       .ownParameter = 9,
       .ownName = "Throat",
       .readBack = 212,
       .reportRank = 8,
       .snapshotRank = 9,
       .readbackRank = 6},
      {.fileKey = "wetDry",
       .column = &VariantInfo::wetDryParam,
       .conversion = Conversion::kPlain,
       .cache = &Veneer::wetDry_,
       .defaultValue = 1.0F,
       .ownParameter = 10,
       .ownName = "WetDry",
       .readBack = 202,
       .reportRank = 9,
       .snapshotRank = 10,
       .readbackRank = 3},
  }};
};

inline constexpr const std::array<SteeredSetting, 15>& kSteeredSettings = SteeredSettings::kAll;
inline constexpr size_t kSteeredSettingCount = kSteeredSettings.size();

// The settings that have a position in the list `rank` orders, in that order.
template <uint8_t SteeredSetting::*Rank>
constexpr auto SettingsInOrder() {
  constexpr auto kCount = static_cast<size_t>(
      std::count_if(kSteeredSettings.begin(), kSteeredSettings.end(), [](const auto& s) { return s.*Rank != 0; }));
  std::array<const SteeredSetting*, kCount> ordered{};
  for (size_t position = 1, filled = 0; filled < kCount; ++position) {
    for (const SteeredSetting& setting : kSteeredSettings) {
      if (setting.*Rank == position) {
        ordered[filled++] = &setting;
      }
    }
  }
  return ordered;
}

// The own parameters 0-10, by id.
inline constexpr AudioUnitParameterID kLastOwnParameter = 10;
inline constexpr auto kOwnParameters = [] {
  std::array<const SteeredSetting*, kLastOwnParameter + 1> own{};
  for (const SteeredSetting& setting : kSteeredSettings) {
    if (setting.ownParameter != kNoOwnParameter) {
      own[static_cast<size_t>(setting.ownParameter)] = &setting;
    }
  }
  return own;
}();

// The row whose settings-file key or alias is `key`; null for none.
constexpr const SteeredSetting* SettingForFileKey(std::string_view key) {
  for (const SteeredSetting& setting : kSteeredSettings) {
    if (key == setting.fileKey || (!setting.fileAlias.empty() && key == setting.fileAlias)) {
      return &setting;
    }
  }
  return nullptr;
}

// The row's position in kSteeredSettings.
constexpr size_t IndexOf(const SteeredSetting& setting) {
  return static_cast<size_t>(&setting - kSteeredSettings.data());
}

}  // namespace veneer
