// The link's main step: the heartbeat, the settings file, the quit marker, and
// a new settings file written into the inner unit.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <string>

#include "link/SettingsFile.h"
#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/SteeredSettings.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr std::time_t kHeartbeatTimeoutSeconds = 10;
// A private code the shell sends its own instance with the new latency.
constexpr AudioUnitPropertyID kLatencyNoticeProperty = 0x6C617463;  // 'latc'

std::string Text(float value) { return std::to_string(value); }

}  // namespace

void Veneer::ApplySetting(const SteeredSetting& setting, double value, const VariantInfo& variant) {
  const auto send = [this](AudioUnitParameterID id, double sent) {
    AudioUnit inner = innerUnit_.load();  // the main thread may create it meanwhile
    if (id != kNoParam && inner != nullptr) {
      AudioUnitSetParameter(inner, id, kAudioUnitScope_Global, 0, static_cast<float>(sent), 0);
    }
  };
  const AudioUnitParameterID id = variant.*setting.column;
  double cached = value;
  double sent = value;
  switch (setting.conversion) {
    case Conversion::kKey:
      cached = value / kKeySteps;
      sent = value / variant.keyDivisor;
      break;
    case Conversion::kScale:
      cached = value / kScaleSteps;
      sent = value <= 2.0 ? variant.scaleValues[static_cast<size_t>(value)] : value / variant.scaleDivisor;
      break;
    case Conversion::kInputType:
      sent = value * variant.inputTypeFactor;
      break;
    case Conversion::kClassicMode: {
      // Sent first, then kept with the latency it implies.
      send(id, value);
      classicMode_.store(value);
      const Float64 sampleRate = Output(0)->GetStreamFormat().mSampleRate;
      if (sampleRate > 0) {
        double latency = LatencyFor(sampleRate);
        latencySeconds_.store(latency);
        AudioUnitSetProperty(GetComponentInstance(), kLatencyNoticeProperty, kAudioUnitScope_Global, 0, &latency,
                             sizeof latency);
      }
      return;
    }
    case Conversion::kPlain:
      break;
  }
  if (setting.cache != nullptr) {
    (this->*setting.cache).store(static_cast<float>(cached));
  }
  send(id, sent);
  if (setting.conversion == Conversion::kScale) {
    send(variant.scaleParam2, sent);
  }
}

void Veneer::LogReadBack(const VariantInfo& variant) {
  constexpr auto kReadOrder = SettingsInOrder<&SteeredSetting::readbackRank>();
  std::array<std::string, kReadOrder.size()> shown;
  for (size_t i = 0; i < kReadOrder.size(); ++i) {
    const SteeredSetting& setting = *kReadOrder[i];
    float raw = -1.0F;  // also what a missing parameter or a failed read shows
    AudioUnit inner = innerUnit_.load();
    if (const AudioUnitParameterID id = variant.*setting.column; id != kNoParam && inner != nullptr) {
      AudioUnitGetParameter(inner, id, kAudioUnitScope_Global, 0, &raw);
    }
    const std::string_view label = setting.readbackLabel.empty() ? setting.fileKey : setting.readbackLabel;
    shown[i] = " " + std::string(label) + "=";
    if (setting.conversion == Conversion::kKey) {
      shown[i] += Text(raw * variant.keyDivisor);
    } else if (setting.conversion == Conversion::kScale) {
      shown[i] += Text(raw < 0 ? -1.0F : ScaleIndex(&variant, raw)) + "(raw " + Text(raw) + ")";
    } else {
      shown[i] += Text(raw);
    }
  }
  // Scale is read last but shown right after the key.
  const auto position = [&](Conversion conversion) {
    return std::find_if(kReadOrder.begin(), kReadOrder.end(),
                        [conversion](const SteeredSetting* s) { return s->conversion == conversion; }) -
           kReadOrder.begin();
  };
  const auto key = position(Conversion::kKey);
  const auto scale = position(Conversion::kScale);
  std::rotate(shown.begin() + key + 1, shown.begin() + scale, shown.begin() + scale + 1);

  std::string line = logtext::kReadBack;
  for (const std::string& piece : shown) {
    line += piece;
  }
  DebugLog(line);
}

void Veneer::ApplyFileToInner() {
  renderingThread_.ExpectNotHere("ApplyFileToInner");
  // The heartbeat: the companion application keeps the settings file fresh.
  struct stat status {};
  const std::time_t now = std::time(nullptr);
  const bool lost = stat(IpcPath().c_str(), &status) != 0 || now - status.st_mtime >= kHeartbeatTimeoutSeconds;
  if (lost) {
    if (!appState_.load().appLost_) {
      appState_.store({true, true});
      DebugLog(logtext::kHeartbeatLost);
    }
  } else if (appState_.load().appLost_) {
    appState_.store({false, false});
    DebugLog(logtext::kHeartbeatBack);
  }

  const std::optional<Settings> file = ReadSettingsFile(IpcPath());
  if (!file) {
    return;
  }
  const Settings& settings = *file;
  if (settings.appRunning == 0.0 && !appState_.load().appLost_) {
    appState_.store({true, true});
    DebugLog(logtext::kQuitMarker);
  }

  // A counter is applied once; one that arrives before the inner unit waits for it.
  if (settings.seq < 0 || settings.seq == lastSeq_.load() || innerUnit_.load() == nullptr) {
    return;
  }
  lastSeq_.store(settings.seq);
  const VariantInfo& variant = *variant_.load();

  for (const SteeredSetting& setting : kSteeredSettings) {
    if (const double value = settings.values[IndexOf(setting)]; value >= 0) {
      ApplySetting(setting, value, variant);
    }
  }

  DebugLog(logtext::kApplied + std::to_string(settings.seq) + " mode=" + Text(correctionMode_.load()) +
           " retune=" + Text(retuneSpeed_.load()) + " transpose=" + Text(transpose_.load()) +
           " key=" + Text(key_.load()) + " scale=" + Text(scale_.load()));
  LogReadBack(variant);

  // Last: the values just written are the baseline the manual-change report compares against.
  SnapshotInnerValues();
}

}  // namespace veneer
