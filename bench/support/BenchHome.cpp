#include "support/BenchHome.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace bench {

BenchHome::BenchHome() {
  if (const char* home = std::getenv("HOME"); home != nullptr) {
    hadHome_ = true;
    savedHome_ = home;
  }
  char pattern[] = "/tmp/veneer-bench-home-XXXXXX";
  if (mkdtemp(pattern) == nullptr) {
    throw std::runtime_error("cannot create a temporary home folder");
  }
  home_ = pattern;
  std::filesystem::create_directories(SupportFolder());
  setenv("HOME", home_.c_str(), 1);
  unsetenv("VENEER_COMPONENT_PATH");
  // Fresh and without a counter: the heartbeat holds, nothing is applied.
  WriteSettings("appRunning=1\n");
}

BenchHome::~BenchHome() {
  if (hadHome_) {
    setenv("HOME", savedHome_.c_str(), 1);
  } else {
    unsetenv("HOME");
  }
  std::error_code ignored;
  std::filesystem::remove_all(home_, ignored);
}

void BenchHome::WriteSettings(const std::string& text) const {
  const std::filesystem::path target = SupportFolder() / "plugin_state.txt";
  const std::filesystem::path temporary = SupportFolder() / "plugin_state.txt.tmp";
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << text;
  }
  std::rename(temporary.c_str(), target.c_str());
}

}  // namespace bench

namespace bench {

BenchHome& Home() {
  static BenchHome home;
  return home;
}

}  // namespace bench
