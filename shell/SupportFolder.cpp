#include "shell/SupportFolder.h"

#include <cstdlib>

namespace veneer {

std::optional<std::string> SupportFilePath(std::string_view fileName) {
  const char* home = std::getenv("HOME");
  if (home == nullptr) {
    return std::nullopt;
  }
  std::string path(home);
  path += kSupportFolder;
  path += fileName;
  return path;
}

}  // namespace veneer
