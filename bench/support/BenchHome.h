// The home folder the benchmarks run in: a fresh temporary HOME with the
// support folder and a fresh settings file, so the link neither bypasses nor
// applies anything unless a benchmark asks it to.
#pragma once

#include <filesystem>
#include <string>

namespace bench {

class BenchHome {
 public:
  // [main thread] Points HOME at the new folder and clears VENEER_COMPONENT_PATH,
  // so that only components registered in this process are found.
  BenchHome();
  // [main thread] Restores HOME and removes the folder.
  ~BenchHome();
  BenchHome(const BenchHome&) = delete;
  BenchHome& operator=(const BenchHome&) = delete;

  [[nodiscard]] std::filesystem::path SupportFolder() const { return home_ / "Library/Application Support/Tonvale"; }
  // Writes plugin_state.txt as the companion does: a complete file renamed into place.
  void WriteSettings(const std::string& text) const;

 private:
  std::filesystem::path home_;
  std::string savedHome_;
  bool hadHome_ = false;
};

// [main thread] The process's one home, made on the first call (call it first
// thing in main) and removed when the process ends.
BenchHome& Home();

}  // namespace bench
