// The companion application's settings file: where it lies and what it says.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "shell/SteeredSettings.h"

namespace veneer {

// One read of the settings file. Every entry starts each read at its default,
// so a key the file omits is "not given"; negative settings mean the same.
struct Settings {
  int64_t seq = -1;
  double appRunning = 1.0;
  // By the settings table's rows (kSteeredSettings); -1: not given.
  std::array<double, kSteeredSettingCount> values = [] {
    std::array<double, kSteeredSettingCount> notGiven{};
    notGiven.fill(-1.0);
    return notGiven;
  }();

  // [any thread] The value of the row whose file key is `fileKey`.
  [[nodiscard]] double Value(std::string_view fileKey) const { return values[IndexOf(*SettingForFileKey(fileKey))]; }
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
