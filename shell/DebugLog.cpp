#include "shell/DebugLog.h"

#include "shell/SupportFile.h"
#include "shell/SupportFolder.h"

#include <pthread.h>

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
  // Opened and closed per line; concurrent writers rely on append mode and on
  // each line going out in one write.
  const SupportFile file(*path, SupportFile::Mode::kAppend);
  if (!file) {
    return;
  }
  file.Write(std::string("[") + stamp + "] " + message + "\n");
}

const char* ThreadTag() { return pthread_main_np() != 0 ? "[main]" : "[bg ]"; }

}  // namespace veneer
