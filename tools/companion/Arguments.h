// Checks what people type on the command line, with messages that name the problem.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace companion {

// A finite number written as a whole (strtod must consume all of `text`).
std::optional<double> ParseNumber(std::string_view text);

// A whole number >= 0, digits only.
std::optional<long> ParseCount(std::string_view text);

struct SettingChange {
  std::size_t index;  // into kStateKeys
  double value;
};

// The plug-in's own value for every setting, as changes to send: where a render starts
// when it is told to forget what an earlier one left in the settings file.
std::vector<SettingChange> VeneerDefaults();

// One KEY=VALUE of `set`. On failure returns nothing and fills `error`.
std::optional<SettingChange> ParseSettingArg(std::string_view arg, std::string* error);

}  // namespace companion
