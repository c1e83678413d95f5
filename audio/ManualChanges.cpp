// What the user changed by hand in the inner unit's own editor, found against a
// snapshot of the inner values and written back for the companion application.
#include <cmath>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/SteeredSettings.h"
#include "shell/SupportFile.h"
#include "shell/SupportFolder.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr float kChangeThreshold = 0.0005F;

constexpr auto kSnapshotOrder = SettingsInOrder<&SteeredSetting::snapshotRank>();
constexpr auto kReportOrder = SettingsInOrder<&SteeredSetting::reportRank>();

// What a reported row's raw inner value is multiplied by; scale is converted apart.
float FactorOf(const VariantInfo& variant, Conversion conversion) {
  switch (conversion) {
    case Conversion::kInputType:
      return variant.inputTypeFactor > 0.0F ? 1.0F / variant.inputTypeFactor : 1.0F;
    case Conversion::kKey:
      return variant.keyDivisor;
    case Conversion::kPlain:
    case Conversion::kScale:
    case Conversion::kClassicMode:
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
  renderingThread_.ExpectNotHere("SnapshotInnerValues");
  const VariantInfo* variant = variant_.load();
  const AudioUnit inner = innerUnit_.load();
  if (variant == nullptr || inner == nullptr) {
    return;
  }
  innerSnapshot_.clear();
  for (const SteeredSetting* setting : kSnapshotOrder) {
    const AudioUnitParameterID id = variant->*setting->column;
    AudioUnitParameterValue value = 0.0F;
    if (id != kNoParam && ReadInner(inner, id, value)) {
      innerSnapshot_[id] = value;
    }
  }
}

void Veneer::ReportManualChanges() {
  renderingThread_.ExpectNotHere("ReportManualChanges");
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
  for (const SteeredSetting* setting : kReportOrder) {
    // The scale row alone lets a difference of exactly the threshold pass unreported.
    const bool isScale = setting->conversion == Conversion::kScale;
    AudioUnitParameterValue value = 0.0F;
    if (changed(variant->*setting->column, isScale, value)) {
      const float shown = isScale ? ScaleSemantic(value) : value * FactorOf(*variant, setting->conversion);
      report += std::string(setting->fileKey) + "=" + format(shown) + "\n";
    }
  }
  if (report.empty()) {
    return;
  }

  const std::optional<std::string> path = SupportFilePath(kBackFileName);
  if (!path) {
    return;
  }
  const SupportFile file(*path, SupportFile::Mode::kRewrite);
  if (!file) {
    return;
  }
  file.Write("seq=" + std::to_string(WallClockMilliseconds()) + "\n" + report);
  DebugLog(logtext::kManualChangesSent + report);
}

}  // namespace veneer
