// Captures what a block of code writes to standard error (file descriptor 2),
// so tests can check the exact log lines of the code under test.
#pragma once

#include <string>

namespace testsupport {

class CaptureStderr {
 public:
  CaptureStderr();
  CaptureStderr(const CaptureStderr&) = delete;
  CaptureStderr& operator=(const CaptureStderr&) = delete;
  ~CaptureStderr();

  // Stops capturing (if still capturing) and returns everything written since construction.
  std::string Finish();

 private:
  int savedFd_ = -1;
  int fileFd_ = -1;
  std::string text_;
  bool finished_ = false;
};

}  // namespace testsupport
