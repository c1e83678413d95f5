#include "ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

namespace host {

namespace {

double Seconds() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

constexpr int kWidth = 40;

}  // namespace

ProgressBar::ProgressBar(std::size_t totalFrames, double sampleRate, bool wanted)
    : total_(totalFrames), sampleRate_(sampleRate), enabled_(wanted && isatty(STDERR_FILENO) != 0) {}

void ProgressBar::Update(std::size_t framesDone) {
  if (!enabled_ || Seconds() - lastDraw_ < 0.1) {
    return;
  }
  Draw(framesDone);
}

void ProgressBar::Finish() {
  if (!enabled_) {
    return;
  }
  Draw(total_);
  std::fputc('\n', stderr);
  enabled_ = false;
}

void ProgressBar::Draw(std::size_t framesDone) {
  lastDraw_ = Seconds();
  const double fraction =
      total_ == 0 ? 1.0 : std::min(1.0, static_cast<double>(framesDone) / static_cast<double>(total_));
  const int filled = static_cast<int>(fraction * kWidth);
  const std::string bar =
      std::string(static_cast<std::size_t>(filled), '#') + std::string(static_cast<std::size_t>(kWidth - filled), '.');
  std::fprintf(stderr, "\r  [%s] %3d%%  %6.2f / %.2f s", bar.c_str(), static_cast<int>(fraction * 100.0),
               static_cast<double>(framesDone) / sampleRate_, static_cast<double>(total_) / sampleRate_);
  std::fflush(stderr);
}

}  // namespace host
