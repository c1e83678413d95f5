// Collects the lines the Audio Unit framework logs (ausdk::LogError) through
// its log sink, each followed by "\n". On macOS those lines go to the unified
// log, not to standard error, so tests read them here on both platforms.
#pragma once

#include <string>

namespace testsupport {

// Captures from construction until Finish. Captures may nest: the newest one
// collects, and the one before it collects again once it finishes.
class LogCapture {
 public:
  LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture();

  // Stops capturing (if still capturing) and returns the lines logged since construction.
  std::string Finish();

 private:
  // [any thread] The sink: appends `line` to the newest capture.
  static void Collect(const char* line);

  LogCapture* previous_ = nullptr;
  std::string text_;
  bool finished_ = false;
};

}  // namespace testsupport
