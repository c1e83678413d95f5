#include "SavedFile.h"

#include <system_error>
#include <utility>

#include "FileAccess.h"

namespace host {

namespace fs = std::filesystem;

SavedFile::SavedFile(std::string path) : path_(std::move(path)), content_(companion::ReadWholeFile(path_)) {
  std::error_code failure;
  existed_ = fs::symlink_status(path_, failure).type() != fs::file_type::not_found;
  modified_ = fs::last_write_time(path_, failure);
  permissions_ = fs::status(path_, failure).permissions();
}

bool SavedFile::Restore(std::string* error) const {
  std::error_code failure;
  if (!Saved()) {
    *error = "cannot put back " + path_ + ": it could not be read";
    return false;
  }
  if (!content_) {
    fs::remove(path_, failure);  // none there is as good
    if (failure) {
      *error = "cannot remove " + path_ + ": " + failure.message();
    }
    return !failure;
  }
  if (!companion::ReplaceFileAtomically(path_, *content_, error)) {
    return false;
  }
  if (permissions_ != fs::perms::unknown) {
    fs::permissions(path_, permissions_, failure);
  }
  if (!failure) {
    fs::last_write_time(path_, modified_, failure);
  }
  if (failure) {
    *error = "cannot put back the permissions and time of " + path_ + ": " + failure.message();
  }
  return !failure;
}

}  // namespace host
