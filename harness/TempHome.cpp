#include "harness/TempHome.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "shell/SupportFolder.h"

namespace harness {

TempHome::TempHome(const std::string& prefix) {
  if (const char* home = std::getenv("HOME"); home != nullptr) {
    savedHome_ = home;
  }
  const char* temp = std::getenv("TMPDIR");
  std::string pattern = std::string(temp != nullptr && *temp != '\0' ? temp : "/tmp") + "/" + prefix + "-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary HOME from " + pattern);
  }
  home_ = pattern;
  std::filesystem::create_directories(SupportFolder());
  setenv("HOME", home_.c_str(), 1);
}

TempHome::~TempHome() {
  if (savedHome_) {
    setenv("HOME", savedHome_->c_str(), 1);
  } else {
    unsetenv("HOME");
  }
  std::error_code ignored;
  std::filesystem::remove_all(home_, ignored);
}

std::filesystem::path TempHome::SupportFolder() const {
  return home_ / std::string(veneer::kSupportFolder).substr(1);  // below HOME, not the root
}

void TempHome::WriteSupportFile(const std::string& name, const std::string& text,
                                std::optional<std::time_t> modified) const {
  const std::filesystem::path target = SupportFolder() / name;
  const std::filesystem::path temporary = SupportFolder() / (name + ".tmp");
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << text;
  }
  if (modified) {
    const timespec times[2] = {{*modified, 0}, {*modified, 0}};
    utimensat(AT_FDCWD, temporary.c_str(), times, 0);
  }
  std::rename(temporary.c_str(), target.c_str());
}

}  // namespace harness
