// The companion application's settings file: where it lies and what it says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace veneer {

// One read of the settings file. Every entry starts each read at its default,
// so a key the file omits is "not given"; negative settings mean the same.
struct Settings {
  int64_t seq = -1;
  double appRunning = 1.0;
  double key = -1.0;
  double scale = -1.0;
  double correctionMode = -1.0;
  double retune = -1.0;
  double transpose = -1.0;
  double classicMode = -1.0;
  double inputType = -1.0;
  double humanize = -1.0;
  double flexTune = -1.0;
  double naturalVibrato = -1.0;
  double vibratoAmplitude = -1.0;
  double tracking = -1.0;
  double formant = -1.0;
  double throat = -1.0;
  double wetDry = -1.0;
};

// [any thread] HOME (or "." when unset) + the support folder + "plugin_state.txt".
std::string IpcPath();

// [any thread] Applies one line ("key=value") to `settings`; other lines change nothing.
void ApplySettingsLine(std::string_view line, Settings& settings);

// [any thread] The settings a file's bytes give: lines split on "\n", each applied in order.
Settings ParseSettings(std::string_view bytes);

// [link thread] Reads and parses the file at `path`; nothing when it cannot be opened.
std::optional<Settings> ReadSettingsFile(const std::string& path);

}  // namespace veneer
