#include "ausdk/AUUtility.h"

#include <os/log.h>

#include <cstdarg>

namespace ausdk {

namespace {
std::atomic<LogSink> gLogSink{nullptr};
static_assert(std::atomic<LogSink>::is_always_lock_free, "LogError runs on the render thread");
}  // namespace

void SetLogSink(LogSink sink) { gLogSink.store(sink, std::memory_order_release); }

void Throw(OSStatus err) {
  LogError("throwing %d", static_cast<int>(err));
  throw AUException(err);
}

void ThrowQuiet(OSStatus err) { throw AUException(err); }

void LogError(const char* format, ...) {
  char line[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  os_log_error(OS_LOG_DEFAULT, "%{public}s", line);
  if (const LogSink sink = gLogSink.load(std::memory_order_acquire); sink != nullptr) {
    sink(line);
  }
}

std::string FourCC(UInt32 code) {
  std::string text(4, '.');
  for (int i = 0; i < 4; ++i) {
    const auto byte = static_cast<unsigned char>(code >> (24 - 8 * i));
    if (byte >= 32 && byte <= 126) {
      text[static_cast<size_t>(i)] = static_cast<char>(byte);
    }
  }
  return text;
}

}  // namespace ausdk
