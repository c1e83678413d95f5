#include "shell/SupportFolder.h"

#include <cstdlib>

namespace veneer {

std::optional<std::string> SupportFilePath(std::string_view fileName) {
  // Read anew on every call, as the platform's getenv is meant to be read: a
  // host may change HOME while it runs, never while a plug-in reads it.
  const char* home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe)
  if (home == nullptr) {
    return std::nullopt;
  }
  std::string path(home);
  path += kSupportFolder;
  path += fileName;
  return path;
}

}  // namespace veneer
