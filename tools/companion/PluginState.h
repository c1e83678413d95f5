// The companion's model of plugin_state.txt: read the way the plug-in reads it,
// written back in one fixed order with canonical key names.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace companion {

// What a value must look like before `set` writes it.
enum class ValueRule { kNonNegative, kKeyIndex, kScaleIndex };

struct StateKey {
  std::string_view name;
  std::string_view alias;  // empty when the key has none
  ValueRule rule;
  // The plug-in's own value for the setting before any file is applied, in the file's units
  // (a key or scale index); negative for appRunning, which is no setting.
  double veneerDefault;
  // The plug-in's own parameter that the setting overrides, or -1.
  int ownParameter;
};

// Every key besides "seq", in the order in which the file lists them.
inline constexpr std::array<StateKey, 16> kStateKeys{{
    {"appRunning", "", ValueRule::kNonNegative, -1.0, -1},
    {"key", "", ValueRule::kKeyIndex, 0.0, 0},
    {"scale", "", ValueRule::kScaleIndex, 1.0, 1},
    {"correctionMode", "0", ValueRule::kNonNegative, 0.0, -1},
    {"retune", "", ValueRule::kNonNegative, 0.686, 2},
    {"transpose", "", ValueRule::kNonNegative, 0.5, -1},
    {"classicMode", "", ValueRule::kNonNegative, 0.0, -1},
    {"inputType", "", ValueRule::kNonNegative, 0.25, 3},
    {"humanize", "", ValueRule::kNonNegative, 0.0, 4},
    {"flexTune", "", ValueRule::kNonNegative, 0.0, 5},
    {"naturalVibrato", "", ValueRule::kNonNegative, 0.5, 6},
    {"vibratoAmplitude", "47", ValueRule::kNonNegative, 0.0, -1},
    {"tracking", "", ValueRule::kNonNegative, 0.5, 7},
    {"formant", "", ValueRule::kNonNegative, 1.0, 8},
    {"throat", "", ValueRule::kNonNegative, 0.5, 9},
    {"wetDry", "", ValueRule::kNonNegative, 1.0, 10},
}};
inline constexpr std::size_t kAppRunningIndex = 0;

// Index into kStateKeys of a key or alias, exact and case-sensitive; "seq" is not found.
std::optional<std::size_t> FindStateKey(std::string_view key);

struct PluginState {
  std::optional<std::int64_t> seq;
  std::array<std::optional<double>, kStateKeys.size()> values;
  std::size_t ignoredLines = 0;  // non-empty lines the plug-in ignores too
};

// Same reading rules as the plug-in: key before the first '=', value by atof, last line wins.
PluginState ParsePluginState(std::string_view text);

// "seq" first (when known), then every known value, one "key=value\n" line each.
std::string FormatPluginState(const PluginState& state);

// Shortest text that reads back as exactly `value`.
std::string FormatNumber(double value);

}  // namespace companion
