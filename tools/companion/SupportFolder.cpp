#include "SupportFolder.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace companion {

std::optional<SupportFolder> SupportFolder::Locate(const std::optional<std::string>& homeOverride, std::string* error) {
  std::string home;
  if (homeOverride) {
    home = *homeOverride;
  } else if (const char* env = std::getenv("HOME")) {
    home = env;
  }
  if (home.empty()) {
    *error = "HOME is not set; set it or pass --home DIR";
    return std::nullopt;
  }
  while (home.size() > 1 && home.back() == '/') {
    home.pop_back();
  }
  return SupportFolder(home + "/Library/Application Support/Tonvale");
}

bool SupportFolder::Ensure(bool* created, std::string* error) const {
  *created = false;
  struct stat info {};
  if (stat(path_.c_str(), &info) == 0) {
    if (S_ISDIR(info.st_mode)) {
      return true;
    }
    *error = path_ + " exists but is not a folder";
    return false;
  }
  // mkdir -p: each missing component in turn, tolerating a racing creator.
  for (std::size_t slash = path_.find('/', 1);; slash = path_.find('/', slash + 1)) {
    const std::string part = path_.substr(0, slash);
    if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) {
      *error = "cannot create " + part + ": " + std::strerror(errno);
      return false;
    }
    if (slash == std::string::npos) {
      break;
    }
  }
  *created = true;
  return true;
}

}  // namespace companion
