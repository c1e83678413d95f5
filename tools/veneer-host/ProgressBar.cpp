#include "ProgressBar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

namespace host {

namespace {

double Seconds() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

// The bar's share of the line; narrower than this it is left out.
constexpr std::size_t kMaxBar = 40;
constexpr std::size_t kMinBar = 10;

// The terminal's width now (it may have been resized since the last draw).
std::size_t Columns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return 80;
}

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
  char numbers[96];
  std::snprintf(numbers, sizeof numbers, "%3d%%  %.2f / %.2f s", static_cast<int>(fraction * 100.0),
                static_cast<double>(framesDone) / sampleRate_, static_cast<double>(total_) / sampleRate_);
  // One line that never reaches the last column, so the terminal never wraps it.
  const std::size_t room = Columns() - 1;
  std::string line = numbers;
  const std::size_t barRoom = room > line.size() + 4 ? std::min(kMaxBar, room - line.size() - 4) : 0;
  if (barRoom >= kMinBar) {
    const auto filled = static_cast<std::size_t>(fraction * static_cast<double>(barRoom));
    line = "[" + std::string(filled, '#') + std::string(barRoom - filled, '.') + "] " + line;
  }
  line.resize(std::min(line.size(), room));
  // Back to the line's start, then clear what a longer earlier line left.
  std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
  std::fflush(stderr);
}

}  // namespace host
