// A named pipe where a support file should be, and a watchdog for calls that
// must not block on it: past its deadline the watchdog opens the pipe's other
// end, again and again until the call returns, so that a call that blocks
// makes its test fail instead of hang.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>
#include <utility>

namespace shelltest {

class FifoInPlace {
 public:
  explicit FifoInPlace(std::filesystem::path path) : path_(std::move(path)) {
    // A writer the watchdog freed may still write after the read end is gone.
    std::signal(SIGPIPE, SIG_IGN);
    made_ = mkfifo(path_.c_str(), 0600) == 0;
  }
  ~FifoInPlace() {
    if (reader_ >= 0) {
      close(reader_);
    }
  }
  FifoInPlace(const FifoInPlace&) = delete;
  FifoInPlace& operator=(const FifoInPlace&) = delete;

  [[nodiscard]] bool Made() const { return made_; }

  // Opens the read end, as a reader of the pipe would, so that a writer's open
  // does not wait; what is written collects in the pipe.
  void HoldReadEnd() {
    if (reader_ < 0) {
      reader_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
    }
  }

  // The bytes written into the pipe since the read end was held.
  size_t Written() {
    std::array<char, 4096> buffer{};
    for (ssize_t got = 0; reader_ >= 0 && (got = read(reader_, buffer.data(), buffer.size())) > 0;) {
      written_ += static_cast<size_t>(got);
    }
    return written_;
  }

  // Runs `call` here; true when it returned within `limit`.
  template <typename Call>
  bool ReturnsWithin(Call&& call, std::chrono::milliseconds limit = std::chrono::seconds(3)) {
    std::atomic<bool> done{false};
    bool late = false;  // the watchdog's own until it is joined
    std::thread watchdog([&] {
      const auto deadline = std::chrono::steady_clock::now() + limit;
      while (!done.load()) {
        if (std::chrono::steady_clock::now() >= deadline) {
          late = true;
          Release();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    });
    std::forward<Call>(call)();
    done.store(true);
    watchdog.join();
    return !late;
  }

 private:
  // Frees a reader waiting in open (it then reads the end of the file) and a
  // writer waiting in open (its bytes collect behind the held read end).
  void Release() {
    if (const int writer = open(path_.c_str(), O_WRONLY | O_NONBLOCK); writer >= 0) {
      close(writer);
    }
    HoldReadEnd();
    Written();
  }

  std::filesystem::path path_;
  bool made_ = false;
  int reader_ = -1;
  size_t written_ = 0;
};

}  // namespace shelltest
