#include "StopSignal.h"

#include <string.h>  // strdup
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>

namespace companion {

namespace {

// Signals received; lock-free, since two may land on two threads at once.
std::atomic<int> gStops{0};
static_assert(std::atomic<int>::is_always_lock_free);

// Owned copies of the paths, reachable from the handler without a lock.
std::array<std::atomic<char*>, 4> gRemoveIfKilled{};

void OnStopSignal(int number) {
  if (gStops.fetch_add(1) == 0) {
    return;
  }
  for (std::atomic<char*>& slot : gRemoveIfKilled) {
    if (const char* path = slot.load(); path != nullptr) {
      unlink(path);
    }
  }
  std::signal(number, SIG_DFL);
  std::raise(number);
}

}  // namespace

void InstallStopHandlers() {
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  action.sa_flags = 0;  // no restart: a blocking read or wait returns, so the stop is seen
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

void RemoveIfKilled(const std::string& path) {
  for (std::atomic<char*>& slot : gRemoveIfKilled) {
    char* expected = nullptr;
    char* copy = strdup(path.c_str());
    if (slot.compare_exchange_strong(expected, copy)) {
      return;
    }
    std::free(copy);
  }
}

void ForgetIfKilled(const std::string& path) {
  for (std::atomic<char*>& slot : gRemoveIfKilled) {
    char* held = slot.load();
    if (held != nullptr && path == held && slot.compare_exchange_strong(held, nullptr)) {
      std::free(held);
    }
  }
}

bool StopRequested() { return gStops.load() != 0; }

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
