// The support folder shared with the companion application, and its files.
// Their names are fixed: the application looks for exactly these.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace veneer {

// Below HOME.
inline constexpr std::string_view kSupportFolder = "/Library/Application Support/Tonvale/";

inline constexpr std::string_view kSettingsFileName = "plugin_state.txt";
inline constexpr std::string_view kBackFileName = "plugin_params_back.txt";
inline constexpr std::string_view kAliveFileName = "veneer_alive.txt";
inline constexpr std::string_view kDebugLogFileName = "veneer_debug.log";
inline constexpr std::string_view kForceVariantFileName = "force_variant.txt";
inline constexpr std::string_view kPreferVariantFileName = "prefer_variant.txt";

// [any thread] HOME + the support folder + `fileName`, built anew on every call
// (a host may change HOME). Nothing when HOME is unset: the caller then drops
// what it would have read or written.
std::optional<std::string> SupportFilePath(std::string_view fileName);

}  // namespace veneer
