#include "CaptureStderr.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace testsupport {

CaptureStderr::CaptureStderr() {
  std::fflush(stderr);
  char path[] = "/tmp/veneer-stderr-XXXXXX";
  fileFd_ = mkstemp(path);
  if (fileFd_ < 0) {
    std::abort();
  }
  unlink(path);
  savedFd_ = dup(STDERR_FILENO);
  dup2(fileFd_, STDERR_FILENO);
}

CaptureStderr::~CaptureStderr() { Finish(); }

std::string CaptureStderr::Finish() {
  if (finished_) {
    return text_;
  }
  finished_ = true;
  std::fflush(stderr);
  dup2(savedFd_, STDERR_FILENO);
  close(savedFd_);
  lseek(fileFd_, 0, SEEK_SET);
  char buffer[4096];
  ssize_t n = 0;
  while ((n = read(fileFd_, buffer, sizeof buffer)) > 0) {
    text_.append(buffer, static_cast<size_t>(n));
  }
  close(fileFd_);
  return text_;
}

}  // namespace testsupport
