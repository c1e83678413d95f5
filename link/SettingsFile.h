// The companion application's settings file: where it lies and what it says.
#pragma once

#include <array>
#include <cstddef>
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

// What one read of the settings file takes in: its first 64 KiB. A real file
// is a few hundred bytes; reading more of one that is not would cost every
// instance's link thread time and memory each second.
inline constexpr size_t kSettingsReadLimit = size_t{64} * 1024;

// The longest line applied; a longer one is skipped whole. The longest key
// ("vibratoAmplitude") is 16 bytes and a value a companion writes is a short
// decimal (at most the 19 digits of a counter): 1 KiB leaves room for any real
// line, blanks and a CR included, and keeps the reader's line buffer small.
inline constexpr size_t kSettingsLineLimit = 1024;

// [any thread] HOME (or "." when unset) + the support folder + "plugin_state.txt".
std::string IpcPath();

// [any thread] Applies one line ("key=value") to `settings`; other lines change nothing.
void ApplySettingsLine(std::string_view line, Settings& settings);

// [any thread] The settings a file's bytes give: lines split on "\n", each
// applied in order, except those longer than kSettingsLineLimit.
Settings ParseSettings(std::string_view bytes);

// [link thread] Reads and parses the file at `path` as ParseSettings does its
// bytes, up to kSettingsReadLimit: a last line that the limit cuts is dropped.
// Nothing when it cannot be opened or is not a regular file.
std::optional<Settings> ReadSettingsFile(const std::string& path);

}  // namespace veneer
