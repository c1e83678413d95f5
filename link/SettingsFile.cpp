#include "link/SettingsFile.h"

#include <cmath>
#include <cstdlib>
#include <fstream>

#include "shell/DebugLog.h"

namespace veneer {

std::string IpcPath() {
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : ".") + kSupportFolder + "plugin_state.txt";
}

void ApplySettingsLine(std::string_view line, Settings& settings) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) {
    return;
  }
  const std::string_view key = line.substr(0, equals);
  // atof reads the longest numeric prefix after leading blanks and ignores the rest.
  const double value = std::atof(std::string(line.substr(equals + 1)).c_str());
  struct Entry {
    std::string_view key;
    double Settings::*field;
  };
  static constexpr Entry kEntries[] = {
      {"appRunning", &Settings::appRunning},
      {"key", &Settings::key},
      {"scale", &Settings::scale},
      {"correctionMode", &Settings::correctionMode},
      {"0", &Settings::correctionMode},  // the number one variant knows it by
      {"retune", &Settings::retune},
      {"transpose", &Settings::transpose},
      {"classicMode", &Settings::classicMode},
      {"inputType", &Settings::inputType},
      {"humanize", &Settings::humanize},
      {"flexTune", &Settings::flexTune},
      {"naturalVibrato", &Settings::naturalVibrato},
      {"vibratoAmplitude", &Settings::vibratoAmplitude},
      {"47", &Settings::vibratoAmplitude},  // likewise
      {"tracking", &Settings::tracking},
      {"formant", &Settings::formant},
      {"throat", &Settings::throat},
      {"wetDry", &Settings::wetDry},
  };
  if (key == "seq") {
    // Truncated toward zero. Out of range saturates instead of overflowing, and
    // "nan" counts as negative: it is never a counter to apply.
    if (std::isnan(value)) {
      settings.seq = INT64_MIN;
    } else if (value >= 9.2233720368547758e18) {
      settings.seq = INT64_MAX;
    } else if (value <= -9.2233720368547758e18) {
      settings.seq = INT64_MIN;
    } else {
      settings.seq = static_cast<int64_t>(value);
    }
    return;
  }
  for (const Entry& entry : kEntries) {
    if (key == entry.key) {
      settings.*entry.field = value;
      return;
    }
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
