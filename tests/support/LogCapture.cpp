#include "LogCapture.h"

#include <mutex>

#include "ausdk/AUUtility.h"

namespace testsupport {

namespace {

std::mutex gMutex;
LogCapture* gNewest = nullptr;

}  // namespace

LogCapture::LogCapture() {
  const std::lock_guard lock(gMutex);
  previous_ = gNewest;
  gNewest = this;
  ausdk::SetLogSink(&LogCapture::Collect);
}

LogCapture::~LogCapture() { Finish(); }

std::string LogCapture::Finish() {
  const std::lock_guard lock(gMutex);
  if (!finished_) {
    finished_ = true;
    while (gNewest != nullptr && gNewest->finished_) {
      gNewest = gNewest->previous_;
    }
    if (gNewest == nullptr) {
      ausdk::SetLogSink(nullptr);
    }
  }
  return text_;
}

void LogCapture::Collect(const char* line) {
  const std::lock_guard lock(gMutex);
  if (gNewest != nullptr) {
    gNewest->text_.append(line).append("\n");
  }
}

}  // namespace testsupport
