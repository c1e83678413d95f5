#include "StopSignal.h"

#include <csignal>
#include <ctime>

namespace companion {

namespace {

volatile std::sig_atomic_t gStop = 0;

void OnStopSignal(int) { gStop = 1; }

}  // namespace

void InstallStopHandlers() {
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  action.sa_flags = SA_RESETHAND;  // a second one ends the process at once, as people expect
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool StopRequested() { return gStop != 0; }

bool SleepUnlessStopped(double seconds) {
  // Short slices bound the delay when a signal lands just before a sleep starts.
  constexpr double kSlice = 0.1;
  while (seconds > 0 && !StopRequested()) {
    const double step = seconds < kSlice ? seconds : kSlice;
    timespec wait{static_cast<std::time_t>(step), static_cast<long>((step - static_cast<long>(step)) * 1e9)};
    nanosleep(&wait, nullptr);
    seconds -= step;
  }
  return !StopRequested();
}

}  // namespace companion
