// A fresh temporary HOME holding the support folder, so that Veneer's link and
// log read and write there and nowhere else; the old HOME comes back after.
#pragma once

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

namespace harness {

class TempHome {
 public:
  // [main thread] Makes <TMPDIR or /tmp>/<prefix>-XXXXXX with the support
  // folder inside and points HOME at it; throws std::runtime_error when it cannot.
  explicit TempHome(const std::string& prefix);
  // [main thread] Restores HOME and removes the folder.
  ~TempHome();
  TempHome(const TempHome&) = delete;
  TempHome& operator=(const TempHome&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return home_; }
  [[nodiscard]] std::filesystem::path SupportFolder() const;
  // [any thread] Writes a support file as the companion does: complete, then
  // renamed into place, so a reader never sees half of it; dated `modified`
  // when given.
  void WriteSupportFile(const std::string& name, const std::string& text,
                        std::optional<std::time_t> modified = std::nullopt) const;

 private:
  std::filesystem::path home_;
  std::optional<std::string> savedHome_;
};

}  // namespace harness
