#include "shell/DebugLog.h"

#include "shell/SupportFolder.h"

#include <pthread.h>

#include <cstdio>
#include <ctime>
#include <optional>

namespace veneer {

void DebugLog(const std::string& message) {
  const std::optional<std::string> path = SupportFilePath(kDebugLogFileName);
  if (!path) {
    return;
  }
  char stamp[32];
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
  // Opened and closed per line; concurrent writers rely on append mode.
  std::FILE* file = std::fopen(path->c_str(), "a");
  if (file == nullptr) {
    return;
  }
  const std::string line = std::string("[") + stamp + "] " + message + "\n";
  std::fwrite(line.data(), 1, line.size(), file);
  std::fclose(file);
}

const char* ThreadTag() { return pthread_main_np() != 0 ? "[main]" : "[bg ]"; }

}  // namespace veneer
