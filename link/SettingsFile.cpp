#include "link/SettingsFile.h"

#include <cmath>
#include <cstdlib>
#include <fstream>

#include "shell/SupportFolder.h"

namespace veneer {

std::string IpcPath() {
  // The one file whose path does not depend on HOME being set: without it the
  // path is relative to the host's working folder.
  if (std::optional<std::string> path = SupportFilePath(kSettingsFileName)) {
    return *path;
  }
  std::string relative(".");
  relative += kSupportFolder;
  relative += kSettingsFileName;
  return relative;
}

void ApplySettingsLine(std::string_view line, Settings& settings) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) {
    return;
  }
  const std::string_view key = line.substr(0, equals);
  // atof reads the longest numeric prefix after leading blanks and ignores the rest.
  const double value = std::atof(std::string(line.substr(equals + 1)).c_str());
  if (key == "seq") {
    // Truncated toward zero. Out of range saturates instead of overflowing, and
    // "nan" counts as negative: it is never a counter to apply.
    if (std::isnan(value) || value <= -9.2233720368547758e18) {
      settings.seq = INT64_MIN;
    } else if (value >= 9.2233720368547758e18) {
      settings.seq = INT64_MAX;
    } else {
      settings.seq = static_cast<int64_t>(value);
    }
    return;
  }
  if (key == "appRunning") {
    settings.appRunning = value;
  } else if (const SteeredSetting* setting = SettingForFileKey(key); setting != nullptr) {
    settings.values[IndexOf(*setting)] = value;
  }
}

Settings ParseSettings(std::string_view bytes) {
  Settings settings;
  while (!bytes.empty()) {
    const size_t end = bytes.find('\n');
    ApplySettingsLine(bytes.substr(0, end), settings);
    if (end == std::string_view::npos) {
      break;
    }
    bytes.remove_prefix(end + 1);
  }
  return settings;
}

std::optional<Settings> ReadSettingsFile(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    return std::nullopt;
  }
  Settings settings;
  std::string line;
  while (std::getline(file, line, '\n')) {
    ApplySettingsLine(line, settings);
  }
  return settings;
}

}  // namespace veneer
