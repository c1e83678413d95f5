// A progress bar on one line of the terminal, fitted to its width; silent when stderr
// is not a terminal.
#pragma once

#include <cstddef>

namespace host {

class ProgressBar {
 public:
  // [main thread]
  ProgressBar(std::size_t totalFrames, double sampleRate, bool wanted);
  // [main thread] Redraws at most ten times a second.
  void Update(std::size_t framesDone);
  // [main thread] Draws the full bar and ends its line.
  void Finish();

 private:
  void Draw(std::size_t framesDone);

  std::size_t total_;
  double sampleRate_;
  bool enabled_;
  double lastDraw_ = -1;
};

}  // namespace host
