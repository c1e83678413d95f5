// What `veneer-host render` was asked to do.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Arguments.h"
#include "CompanionRole.h"
#include "Components.h"

namespace host {

struct RenderOptions {
  std::optional<std::string> input;  // none: the embedded demo
  std::optional<std::string> output;
  std::optional<std::string> report;
  UInt32 blockFrames = 512;
  UInt32 maxFrames = 0;  // 0: the block size
  ComponentChoice component;
  std::vector<companion::SettingChange> settings;
  std::vector<TimedSettings> timedSettings;
  std::vector<std::pair<AudioUnitParameterID, AudioUnitParameterValue>> parameters;
  std::optional<std::string> savePreset;
  std::optional<std::string> loadPreset;
  bool realTime = true;
  bool initializeOnWorker = false;
  bool progress = true;
  // Plays the companion application (the heartbeat) unless --no-companion leaves the link alone.
  bool playsCompanion = true;
  // --bypass: the host's bypass switch on for the run, so bypassed blocks are what was asked for.
  bool hostBypass = false;
  // --veneer-defaults: the settings sent before the run start from Veneer's own values, not
  // from what the settings file holds.
  bool fromDefaults = false;
  // The demo's own settings are not the user's: the settings file is put back after the run.
  bool putsSettingsBack = false;

  // Whether this run sends settings of its own.
  [[nodiscard]] bool SendsSettings() const { return !settings.empty() || !timedSettings.empty() || fromDefaults; }
};

// The parsers of the option values; nothing (and `error`) for text they cannot use.
std::optional<TimedSettings> ParseTimedSetting(const std::string& text, std::string* error);  // SECONDS:KEY=VALUE
std::optional<std::pair<AudioUnitParameterID, AudioUnitParameterValue>> ParseParameter(const std::string& text,
                                                                                       std::string* error);  // ID=VALUE

// What the options say against each other, or nothing when they agree.
std::optional<std::string> CheckRenderOptions(const RenderOptions& options);

// Fills in what the embedded demo uses where the options leave it open: an output file,
// a report beside it, and a set of settings with one change half-way.
void ApplyDemoDefaults(RenderOptions& options, double demoSeconds);

}  // namespace host
