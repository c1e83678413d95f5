// The companion application's heartbeat, played by the benchmark: a thread of
// its own renews the settings file's modification time every two seconds, so
// that instances left idle for longer than the timeout still find the
// application alive and keep their inner units rendering.
#pragma once

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>

namespace bench {

class Heartbeat {
 public:
  // [main thread] Starts beating on plugin_state.txt in the benchmark's home (bench::Home()).
  Heartbeat();
  // [main thread] Stops the thread and waits for it.
  ~Heartbeat();
  Heartbeat(const Heartbeat&) = delete;
  Heartbeat& operator=(const Heartbeat&) = delete;

 private:
  // The heartbeat's own thread: renews the time, then waits a period or for the stop.
  void Run();

  std::filesystem::path file_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace bench
