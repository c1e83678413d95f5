// The link's main step: the heartbeat, the settings file, the quit marker, and
// a new settings file written into the inner unit.
#include <sys/stat.h>

#include <cmath>
#include <ctime>
#include <string>

#include "link/SettingsFile.h"
#include "shell/DebugLog.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr std::time_t kHeartbeatTimeoutSeconds = 10;
// A private code the shell sends its own instance with the new latency.
constexpr AudioUnitPropertyID kLatencyNoticeProperty = 0x6C617463;  // 'latc'

std::string Text(float value) { return std::to_string(value); }

}  // namespace

void Veneer::ApplyFileToInner() {
  // The heartbeat: the companion application keeps the settings file fresh.
  struct stat status {};
  const std::time_t now = std::time(nullptr);
  const bool lost = stat(IpcPath().c_str(), &status) != 0 || now - status.st_mtime >= kHeartbeatTimeoutSeconds;
  if (lost) {
    if (!appState_.load().appLost_) {
      appState_.store({true, true});
      DebugLog("app heartbeat lost -> bypass ON");
    }
  } else if (appState_.load().appLost_) {
    appState_.store({false, false});
    DebugLog("app heartbeat back -> bypass OFF");
  }

  const std::optional<Settings> file = ReadSettingsFile(IpcPath());
  if (!file) {
    return;
  }
  const Settings& settings = *file;
  if (settings.appRunning == 0.0 && !appState_.load().appLost_) {
    appState_.store({true, true});
    DebugLog("app quit marker -> bypass ON");
  }

  // A counter is applied once; one that arrives before the inner unit waits for it.
  if (settings.seq < 0 || settings.seq == lastSeq_.load() || innerUnit_.load() == nullptr) {
    return;
  }
  lastSeq_.store(settings.seq);
  const VariantInfo& variant = *variant_.load();

  const auto send = [this](AudioUnitParameterID id, double value) {
    AudioUnit inner = innerUnit_.load();  // the main thread may create it meanwhile
    if (id != kNoParam && inner != nullptr) {
      AudioUnitSetParameter(inner, id, kAudioUnitScope_Global, 0, static_cast<float>(value), 0);
    }
  };
  if (const double v = settings.key; v >= 0) {
    key_.store(static_cast<float>(v / 11.0));
    send(variant.keyParam, v / variant.keyDivisor);
  }
  if (const double v = settings.scale; v >= 0) {
    scale_.store(static_cast<float>(v / 14.0));
    const double x = v <= 2.0 ? variant.scaleValues[static_cast<size_t>(v)] : v / variant.scaleDivisor;
    send(variant.scaleParam, x);
    send(variant.scaleParam2, x);
  }
  if (const double v = settings.correctionMode; v >= 0) {
    correctionMode_.store(static_cast<float>(v));
    send(variant.correctionModeParam, v);
  }
  if (const double v = settings.transpose; v >= 0) {
    transpose_.store(static_cast<float>(v));
    send(variant.transposeParam, v);
  }
  if (const double v = settings.classicMode; v >= 0) {
    send(variant.classicModeParam, v);
    classicMode_.store(v);
    const Float64 sampleRate = Output(0)->GetStreamFormat().mSampleRate;
    if (sampleRate > 0) {
      double latency = (v > 0.5 ? 37.0 : 112.0) / sampleRate;
      latencySeconds_.store(latency);
      AudioUnitSetProperty(GetComponentInstance(), kLatencyNoticeProperty, kAudioUnitScope_Global, 0, &latency,
                           sizeof latency);
    }
  }
  if (const double v = settings.retune; v >= 0) {
    retuneSpeed_.store(static_cast<float>(v));
    send(variant.retuneParam, v);
  }
  if (const double v = settings.inputType; v >= 0) {
    inputType_.store(static_cast<float>(v));
    send(variant.inputTypeParam, v * variant.inputTypeFactor);
  }
  if (const double v = settings.humanize; v >= 0) {
    humanize_.store(static_cast<float>(v));
    send(variant.humanizeParam, v);
  }
  if (const double v = settings.flexTune; v >= 0) {
    flexTune_.store(static_cast<float>(v));
    send(variant.flexTuneParam, v);
  }
  if (const double v = settings.naturalVibrato; v >= 0) {
    naturalVibrato_.store(static_cast<float>(v));
    send(variant.naturalVibratoParam, v);
  }
  if (const double v = settings.vibratoAmplitude; v >= 0) {
    send(variant.vibratoAmplitudeParam, v);
  }
  if (const double v = settings.tracking; v >= 0) {
    tracking_.store(static_cast<float>(v));
    send(variant.trackingParam, v);
  }
  if (const double v = settings.formant; v >= 0) {
    formant_.store(static_cast<float>(v));
    send(variant.formantParam, v);
  }
  if (const double v = settings.throat; v >= 0) {
    throat_.store(static_cast<float>(v));
    send(variant.throatParam, v);
  }
  if (const double v = settings.wetDry; v >= 0) {
    wetDry_.store(static_cast<float>(v));
    send(variant.wetDryParam, v);
  }

  DebugLog("ipc# " + std::to_string(settings.seq) + " mode=" + Text(correctionMode_.load()) +
           " retune=" + Text(retuneSpeed_.load()) + " transpose=" + Text(transpose_.load()) +
           " key=" + Text(key_.load()) + " scale=" + Text(scale_.load()));

  const auto read = [this](AudioUnitParameterID id) {
    float value = -1.0F;
    AudioUnit inner = innerUnit_.load();
    if (id != kNoParam && inner != nullptr) {
      AudioUnitGetParameter(inner, id, kAudioUnitScope_Global, 0, &value);
    }
    return value;
  };
  const float retune = read(variant.retuneParam);
  const float key = read(variant.keyParam) * variant.keyDivisor;
  const float wetDry = read(variant.wetDryParam);
  const float vibratoAmplitude = read(variant.vibratoAmplitudeParam);
  const float formant = read(variant.formantParam);
  const float throat = read(variant.throatParam);
  const float tracking = read(variant.trackingParam);
  const float flexTune = read(variant.flexTuneParam);
  const float humanize = read(variant.humanizeParam);
  const float naturalVibrato = read(variant.naturalVibratoParam);
  const float rawScale = read(variant.scaleParam);
  float scaleIndex = -1.0F;
  if (rawScale != -1.0F && rawScale >= 0) {
    scaleIndex = rawScale * variant.scaleDivisor;
    for (int i = 0; i < 3; ++i) {
      if (std::fabs(rawScale - variant.scaleValues[static_cast<size_t>(i)]) < 0.002F) {
        scaleIndex = static_cast<float>(i);
        break;
      }
    }
  }
  DebugLog("readback retune=" + Text(retune) + " key=" + Text(key) + " scale=" + Text(scaleIndex) + "(raw " +
           Text(rawScale) + ")" + " wetDry=" + Text(wetDry) + " vibratoAmp=" + Text(vibratoAmplitude) +
           " formant=" + Text(formant) + " throat=" + Text(throat) + " tracking=" + Text(tracking) +
           " flexTune=" + Text(flexTune) + " humanize=" + Text(humanize) + " naturalVibrato=" + Text(naturalVibrato));

  // Last: the values just written are the baseline the manual-change report compares against.
  SnapshotInnerValues();
}

}  // namespace veneer
