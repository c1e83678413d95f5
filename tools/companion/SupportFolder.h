// The folder where the plug-in and the companion application meet.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace companion {

class SupportFolder {
 public:
  // From `homeOverride` (--home) or else $HOME; nothing, with `error` filled, when neither is set.
  static std::optional<SupportFolder> Locate(const std::optional<std::string>& homeOverride, std::string* error);

  [[nodiscard]] const std::string& Path() const { return path_; }
  [[nodiscard]] std::string File(std::string_view name) const { return path_ + "/" + std::string(name); }

  // Creates the folder and its parents when missing; `created` says whether it had to.
  bool Ensure(bool* created, std::string* error) const;

 private:
  explicit SupportFolder(std::string path) : path_(std::move(path)) {}

  std::string path_;
};

inline constexpr std::string_view kStateFile = "plugin_state.txt";
inline constexpr std::string_view kBackFile = "plugin_params_back.txt";
inline constexpr std::string_view kAliveFile = "veneer_alive.txt";
inline constexpr std::string_view kForceVariantFile = "force_variant.txt";
inline constexpr std::string_view kPreferVariantFile = "prefer_variant.txt";
inline constexpr std::string_view kDebugLog = "veneer_debug.log";

}  // namespace companion
