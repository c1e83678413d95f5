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
};

// Every key besides "seq", in the order in which the file lists them.
inline constexpr std::array<StateKey, 16> kStateKeys{{
    {"appRunning", "", ValueRule::kNonNegative},
    {"key", "", ValueRule::kKeyIndex},
    {"scale", "", ValueRule::kScaleIndex},
    {"correctionMode", "0", ValueRule::kNonNegative},
    {"retune", "", ValueRule::kNonNegative},
    {"transpose", "", ValueRule::kNonNegative},
    {"classicMode", "", ValueRule::kNonNegative},
    {"inputType", "", ValueRule::kNonNegative},
    {"humanize", "", ValueRule::kNonNegative},
    {"flexTune", "", ValueRule::kNonNegative},
    {"naturalVibrato", "", ValueRule::kNonNegative},
    {"vibratoAmplitude", "47", ValueRule::kNonNegative},
    {"tracking", "", ValueRule::kNonNegative},
    {"formant", "", ValueRule::kNonNegative},
    {"throat", "", ValueRule::kNonNegative},
    {"wetDry", "", ValueRule::kNonNegative},
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
