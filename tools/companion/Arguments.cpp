#include "Arguments.h"

#include <cmath>
#include <cstdlib>

#include "PluginState.h"

namespace companion {

std::optional<double> ParseNumber(std::string_view text) {
  if (text.empty()) {
    return std::nullopt;
  }
  const std::string copy(text);
  char* end = nullptr;
  const double value = std::strtod(copy.c_str(), &end);
  if (end != copy.c_str() + copy.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

std::optional<long> ParseCount(std::string_view text) {
  if (text.empty() || text.size() > 9) {
    return std::nullopt;
  }
  long value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      return std::nullopt;
    }
    value = value * 10 + (c - '0');
  }
  return value;
}

namespace {

bool IsWhole(double value) { return std::floor(value) == value; }

std::string KnownKeys() {
  std::string list;
  for (const StateKey& key : kStateKeys) {
    list += list.empty() ? "" : ", ";
    list += key.name;
    if (!key.alias.empty()) {
      list += " (alias " + std::string(key.alias) + ")";
    }
  }
  return list;
}

}  // namespace

std::optional<SettingChange> ParseSettingArg(std::string_view arg, std::string* error) {
  const std::size_t eq = arg.find('=');
  if (eq == std::string_view::npos) {
    *error = "'" + std::string(arg) + "' is not KEY=VALUE";
    return std::nullopt;
  }
  const std::string key(arg.substr(0, eq));
  const std::string text(arg.substr(eq + 1));
  if (key == "seq") {
    *error = "seq cannot be set by hand: it is increased with every change sent";
    return std::nullopt;
  }
  const auto index = FindStateKey(key);
  if (!index) {
    *error = "unknown key '" + key + "' (known keys: " + KnownKeys() + ")";
    return std::nullopt;
  }
  const auto value = ParseNumber(text);
  if (!value) {
    *error = "value of " + key + " is not a number: '" + text + "'";
    return std::nullopt;
  }
  switch (kStateKeys[*index].rule) {
    case ValueRule::kKeyIndex:
      if (*value < 0 || *value > 11 || !IsWhole(*value)) {
        *error = "key must be a whole number from 0 to 11, not " + text;
        return std::nullopt;
      }
      break;
    case ValueRule::kScaleIndex:
      if (*value < 0 || *value > 14 || !IsWhole(*value)) {
        *error = "scale must be a whole number from 0 to 14, not " + text;
        return std::nullopt;
      }
      break;
    case ValueRule::kNonNegative:
      if (*value < 0) {
        *error = key + " must not be negative (the plug-in ignores negative values), not " + text;
        return std::nullopt;
      }
      break;
  }
  return SettingChange{*index, *value};
}

std::vector<SettingChange> VeneerDefaults() {
  std::vector<SettingChange> changes;
  for (std::size_t i = 0; i < kStateKeys.size(); ++i) {
    if (kStateKeys[i].veneerDefault >= 0) {
      changes.push_back({i, kStateKeys[i].veneerDefault});
    }
  }
  return changes;
}

}  // namespace companion
