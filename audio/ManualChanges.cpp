// What the user changed by hand in the inner unit's own editor, found against a
// snapshot of the inner values and written back for the companion application.
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "shell/DebugLog.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr float kChangeThreshold = 0.0005F;
constexpr const char* kBackFileName = "plugin_params_back.txt";

// The columns the snapshot tracks. Correction mode is tracked but never reported.
constexpr std::array<AudioUnitParameterID VariantInfo::*, 15> kTrackedColumns{
    &VariantInfo::keyParam,         &VariantInfo::scaleParam,          &VariantInfo::retuneParam,
    &VariantInfo::humanizeParam,    &VariantInfo::flexTuneParam,       &VariantInfo::trackingParam,
    &VariantInfo::classicModeParam, &VariantInfo::formantParam,        &VariantInfo::throatParam,
    &VariantInfo::wetDryParam,      &VariantInfo::naturalVibratoParam, &VariantInfo::vibratoAmplitudeParam,
    &VariantInfo::inputTypeParam,   &VariantInfo::transposeParam,      &VariantInfo::correctionModeParam,
};

enum class Factor { kOne, kByInputTypeFactor, kKeyDivisor };

struct ReportRow {
  const char* key;
  AudioUnitParameterID VariantInfo::*column;
  Factor factor;
};

// In the order the companion application reads them; scale follows separately.
constexpr std::array<ReportRow, 13> kReportRows{{
    {"retune", &VariantInfo::retuneParam, Factor::kOne},
    {"humanize", &VariantInfo::humanizeParam, Factor::kOne},
    {"flexTune", &VariantInfo::flexTuneParam, Factor::kOne},
    {"naturalVibrato", &VariantInfo::naturalVibratoParam, Factor::kOne},
    {"vibratoAmplitude", &VariantInfo::vibratoAmplitudeParam, Factor::kOne},
    {"tracking", &VariantInfo::trackingParam, Factor::kOne},
    {"formant", &VariantInfo::formantParam, Factor::kOne},
    {"throat", &VariantInfo::throatParam, Factor::kOne},
    {"wetDry", &VariantInfo::wetDryParam, Factor::kOne},
    {"inputType", &VariantInfo::inputTypeParam, Factor::kByInputTypeFactor},
    {"transpose", &VariantInfo::transposeParam, Factor::kOne},
    {"classicMode", &VariantInfo::classicModeParam, Factor::kOne},
    {"key", &VariantInfo::keyParam, Factor::kKeyDivisor},
}};

float FactorOf(const VariantInfo& variant, Factor factor) {
  switch (factor) {
    case Factor::kByInputTypeFactor:
      return variant.inputTypeFactor > 0.0F ? 1.0F / variant.inputTypeFactor : 1.0F;
    case Factor::kKeyDivisor:
      return variant.keyDivisor;
    case Factor::kOne:
      break;
  }
  return 1.0F;
}

struct FourDecimals {
  std::string operator()(float value) const {
    char text[64];
    std::snprintf(text, sizeof text, "%.4f", static_cast<double>(value));
    return text;
  }
};

// [link thread]
bool ReadInner(AudioUnit inner, AudioUnitParameterID id, AudioUnitParameterValue& value) {
  value = 0.0F;
  return AudioUnitGetParameter(inner, id, kAudioUnitScope_Global, 0, &value) == noErr;
}

int64_t WallClockMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

void Veneer::SnapshotInnerValues() {
  const VariantInfo* variant = variant_.load();
  const AudioUnit inner = innerUnit_.load();
  if (variant == nullptr || inner == nullptr) {
    return;
  }
  innerSnapshot_.clear();
  for (const auto column : kTrackedColumns) {
    const AudioUnitParameterID id = variant->*column;
    AudioUnitParameterValue value = 0.0F;
    if (id != kNoParam && ReadInner(inner, id, value)) {
      innerSnapshot_[id] = value;
    }
  }
}

void Veneer::ReportManualChanges() {
  const VariantInfo* variant = variant_.load();
  const AudioUnit inner = innerUnit_.load();
  if (variant == nullptr || inner == nullptr || innerSnapshot_.empty()) {
    return;
  }
  const FourDecimals format;
  std::string report;
  // The snapshot follows each change at once, so a change is reported once.
  const auto changed = [&](AudioUnitParameterID id, bool strict, AudioUnitParameterValue& value) {
    if (id == kNoParam) {
      return false;
    }
    const auto entry = innerSnapshot_.find(id);
    if (entry == innerSnapshot_.end() || !ReadInner(inner, id, value)) {
      return false;
    }
    const float difference = std::fabs(value - entry->second);
    if (strict ? difference <= kChangeThreshold : difference < kChangeThreshold) {
      return false;
    }
    entry->second = value;
    return true;
  };
  for (const ReportRow& row : kReportRows) {
    AudioUnitParameterValue value = 0.0F;
    if (changed(variant->*row.column, false, value)) {
      report += std::string(row.key) + "=" + format(value * FactorOf(*variant, row.factor)) + "\n";
    }
  }
  // The scale row alone lets a difference of exactly the threshold pass unreported.
  if (AudioUnitParameterValue value = 0.0F; changed(variant->scaleParam, true, value)) {
    report += "scale=" + format(ScaleSemantic(value)) + "\n";
  }
  if (report.empty()) {
    return;
  }

  const char* home = std::getenv("HOME");
  if (home == nullptr) {
    return;
  }
  const std::string path = std::string(home) + kSupportFolder + kBackFileName;
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) {
    return;
  }
  const std::string text = "seq=" + std::to_string(WallClockMilliseconds()) + "\n" + report;
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
  DebugLog("顾客手动改的参数已回传:\n" + report);
}

}  // namespace veneer
