#include "RenderOptions.h"

#include <cmath>

namespace host {

std::optional<TimedSettings> ParseTimedSetting(const std::string& text, std::string* error) {
  const std::size_t colon = text.find(':');
  const auto seconds = colon == std::string::npos ? std::nullopt : companion::ParseNumber(text.substr(0, colon));
  if (!seconds || *seconds < 0) {
    *error = "needs SECONDS:KEY=VALUE with SECONDS a number not below 0, not '" + text + "'";
    return std::nullopt;
  }
  auto change = companion::ParseSettingArg(text.substr(colon + 1), error);
  if (!change) {
    return std::nullopt;
  }
  return TimedSettings{*seconds, {*change}};
}

std::optional<std::pair<AudioUnitParameterID, AudioUnitParameterValue>> ParseParameter(const std::string& text,
                                                                                       std::string* error) {
  const std::size_t eq = text.find('=');
  const auto id = eq == std::string::npos ? std::nullopt : companion::ParseCount(text.substr(0, eq));
  const auto value = eq == std::string::npos ? std::nullopt : companion::ParseNumber(text.substr(eq + 1));
  if (!id || !value) {
    *error = "needs ID=VALUE with a whole-number ID and a finite value, not '" + text + "'";
    return std::nullopt;
  }
  return std::make_pair(static_cast<AudioUnitParameterID>(*id), static_cast<AudioUnitParameterValue>(*value));
}

std::optional<std::string> CheckRenderOptions(const RenderOptions& options) {
  if (!options.playsCompanion && options.SendsSettings()) {
    return "--no-companion leaves the link alone, so --set, --set-at and --veneer-defaults cannot send settings";
  }
  if (options.maxFrames != 0 && options.blockFrames > options.maxFrames) {
    return "--block " + std::to_string(options.blockFrames) + " is larger than --max-frames " +
           std::to_string(options.maxFrames) + ": a host never renders more than the maximum it set";
  }
  return std::nullopt;
}

void ApplyDemoDefaults(RenderOptions& options, double demoSeconds) {
  if (!options.output) {
    options.output = "veneer-demo.wav";
  }
  if (!options.report) {
    const std::string& output = *options.output;
    const std::size_t dot = output.find_last_of('.');
    const std::size_t slash = output.find_last_of('/');
    const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    options.report = (hasExtension ? output.substr(0, dot) : output) + ".txt";
  }
  if (options.SendsSettings() || !options.playsCompanion) {
    return;
  }
  options.putsSettingsBack = true;
  std::string unused;
  // A minor, hard and fast correction, a little humanised; halfway through the retune slows.
  for (const char* setting : {"key=9", "scale=1", "correctionMode=0", "retune=0.1", "humanize=0.2", "tracking=0.5",
                              "formant=1", "wetDry=1"}) {
    options.settings.push_back(*companion::ParseSettingArg(setting, &unused));
  }
  options.timedSettings.push_back(
      {std::round(demoSeconds * 50.0) / 100.0, {*companion::ParseSettingArg("retune=0.4", &unused)}});
}

}  // namespace host
