// What the support folder says about the companion application and about the
// inner unit's creation (the debug log), and a thread that keeps reading it so
// that a window's main thread never waits on a file.
#pragma once

#include <condition_variable>
#include <ctime>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "WindowPlan.h"

namespace veneerview {

struct SupportFacts {
  CompanionFiles companion = CompanionFiles::kUnknown;
  Creation creation = Creation::kStarting;
  std::string creationDetail;
};

// [any thread] The support folder of $HOME at `now`.
SupportFacts ReadSupportFacts(std::time_t now);

// [any thread] Why there is no inner unit, from the debug log's text: the last
// creation attempt it records. `detail` gets the line that names the failure.
Creation CreationFromLog(std::string_view log, std::string* detail);

class SupportWatch {
 public:
  // [main thread] Starts reading at once, then every half second.
  SupportWatch();
  // [main thread] Stops the thread; a read under way is short (regular files only, bounded).
  ~SupportWatch();
  SupportWatch(const SupportWatch&) = delete;
  SupportWatch& operator=(const SupportWatch&) = delete;

  // [main thread] The latest reading; `previous` again when the reader holds it
  // just now (never waits).
  SupportFacts Latest(const SupportFacts& previous);

 private:
  void Run();  // the watch thread

  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  bool read_ = false;
  SupportFacts latest_;
  std::thread thread_;
};

}  // namespace veneerview
