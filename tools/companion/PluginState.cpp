#include "PluginState.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace companion {

std::optional<std::size_t> FindStateKey(std::string_view key) {
  for (std::size_t i = 0; i < kStateKeys.size(); ++i) {
    if (key == kStateKeys[i].name || (!kStateKeys[i].alias.empty() && key == kStateKeys[i].alias)) {
      return i;
    }
  }
  return std::nullopt;
}

namespace {

// A counter the plug-in would see; out-of-range values are clamped so the next one stays defined.
std::optional<std::int64_t> SeqFromDouble(double value) {
  if (std::isnan(value)) {
    return std::nullopt;
  }
  constexpr double kLimit = 9.2e18;
  if (value >= kLimit) {
    return std::numeric_limits<std::int64_t>::max();
  }
  if (value <= -kLimit) {
    return std::numeric_limits<std::int64_t>::min();
  }
  return static_cast<std::int64_t>(value);
}

}  // namespace

PluginState ParsePluginState(std::string_view text) {
  PluginState state;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) {
      end = text.size();
    }
    const std::string_view line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty()) {
      continue;
    }
    const std::size_t eq = line.find('=');
    if (eq == std::string_view::npos) {
      ++state.ignoredLines;
      continue;
    }
    const std::string_view key = line.substr(0, eq);
    const double value = std::atof(std::string(line.substr(eq + 1)).c_str());
    if (key == "seq") {
      state.seq = SeqFromDouble(value);
    } else if (const auto index = FindStateKey(key)) {
      state.values[*index] = value;
    } else {
      ++state.ignoredLines;
    }
  }
  return state;
}

std::string FormatNumber(double value) {
  if (value == 0.0) {
    return "0";  // also for -0, which the plug-in would otherwise see as "-0"
  }
  char text[64];
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(text, sizeof text, "%.*g", precision, value);
    if (std::strtod(text, nullptr) == value) {
      break;
    }
  }
  return text;
}

std::string FormatPluginState(const PluginState& state) {
  std::string text;
  if (state.seq) {
    text += "seq=" + std::to_string(*state.seq) + "\n";
  }
  for (std::size_t i = 0; i < kStateKeys.size(); ++i) {
    if (state.values[i]) {
      text += std::string(kStateKeys[i].name) + "=" + FormatNumber(*state.values[i]) + "\n";
    }
  }
  return text;
}

}  // namespace companion
