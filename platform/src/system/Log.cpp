// os_log to standard error: one line per message, written with one write(2).
#include <os/log.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// Only the enabled flag: OS_LOG_DEFAULT and OS_LOG_DISABLED are constant data,
// valid even in a copy the executable's loader made of them.
struct os_log_s {
  bool enabled;
};

extern "C" {
constinit os_log_s _os_log_default{true};
constinit os_log_s _os_log_disabled{false};
}

namespace {

// Messages up to this length are formatted without allocating.
constexpr size_t kStackLineSize = 1024;
constexpr size_t kStackFormatSize = 512;

// Copies `format` into `out` (at least as long) without the {...} annotations
// that may follow a '%'; "%%" stays as it is.
void StripAnnotations(const char* format, char* out) {
  while (*format != '\0') {
    if (*format != '%') {
      *out++ = *format++;
      continue;
    }
    *out++ = *format++;
    if (*format == '%') {
      *out++ = *format++;
    } else if (*format == '{') {
      const char* close = std::strchr(format, '}');
      if (close != nullptr) {
        format = close + 1;
      }
    }
  }
  *out = '\0';
}

void WriteAll(const char* data, size_t size) {
  while (size > 0) {
    const ssize_t written = write(STDERR_FILENO, data, size);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return;
    }
    data += written;
    size -= static_cast<size_t>(written);
  }
}

void WriteLine(const char* format, va_list arguments) {
  char line[kStackLineSize];
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(line, sizeof line - 1, format, arguments);
  if (length < 0) {
    va_end(again);
    return;
  }
  const auto size = static_cast<size_t>(length);
  if (size < sizeof line - 1) {
    line[size] = '\n';
    WriteAll(line, size + 1);
  } else {
    std::vector<char> longLine(size + 2);
    std::vsnprintf(longLine.data(), size + 1, format, again);
    longLine[size] = '\n';
    WriteAll(longLine.data(), size + 1);
  }
  va_end(again);
}

}  // namespace

extern "C" {

os_log_t os_log_create(const char* subsystem, const char* category) {
  std::string key = subsystem == nullptr ? "" : subsystem;
  key.push_back('\0');
  key += category == nullptr ? "" : category;
  static std::mutex mutex;
  static auto* const logs = new std::map<std::string, os_log_s>();  // lives for the process
  const std::lock_guard lock(mutex);
  // Map nodes never move, so the log stays valid as others are added.
  return &logs->try_emplace(std::move(key), os_log_s{true}).first->second;
}

bool os_log_type_enabled(os_log_t log, os_log_type_t /*type*/) { return log != nullptr && log->enabled; }

void _os_log_write_line(os_log_t log, os_log_type_t type, const char* format, ...) {
  if (format == nullptr || !os_log_type_enabled(log, type)) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  if (std::strstr(format, "%{") == nullptr) {
    WriteLine(format, arguments);
  } else {
    const size_t length = std::strlen(format);
    char stackFormat[kStackFormatSize];
    std::vector<char> heapFormat;
    char* plain = stackFormat;
    if (length >= sizeof stackFormat) {
      heapFormat.resize(length + 1);
      plain = heapFormat.data();
    }
    StripAnnotations(format, plain);
    WriteLine(plain, arguments);
  }
  va_end(arguments);
}

}  // extern "C"
