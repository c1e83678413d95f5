// A file as it was before a command changed it, to be put back afterwards: the
// same bytes, permissions and modification time (for plugin_state.txt the time
// is the companion's heartbeat), or no file when there was none.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace host {

class SavedFile {
 public:
  // [main thread] Remembers `path` as it is now.
  explicit SavedFile(std::string path);

  // [main thread] Puts it back as it was; false, with `error` filled, when that failed.
  bool Restore(std::string* error) const;

  [[nodiscard]] const std::string& Path() const { return path_; }
  [[nodiscard]] bool Existed() const { return existed_; }
  // [main thread] False for a file that is there but could not be read: it cannot be put back.
  [[nodiscard]] bool Saved() const { return content_.has_value() || !existed_; }

 private:
  std::string path_;
  bool existed_ = false;
  std::optional<std::string> content_;
  std::filesystem::file_time_type modified_;
  std::filesystem::perms permissions_ = std::filesystem::perms::unknown;
};

}  // namespace host
