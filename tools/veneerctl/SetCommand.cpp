// veneerctl set: sends new settings to every plug-in instance.
#include <ctime>
#include <iostream>

#include "Arguments.h"
#include "Commands.h"
#include "FileAccess.h"
#include "StateUpdate.h"

namespace veneerctl {

int RunSet(const Invocation& invocation, const std::vector<SettingChange>& changes) {
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  if (!EnsureSupportFolder(*folder, "veneerctl")) {
    return kExitFailure;
  }

  const std::string path = folder->File(kStateFile);
  const auto before = ModificationTime(path);
  const bool wasFresh = before && std::time(nullptr) - *before < kHeartbeatTimeout;
  std::optional<std::int64_t> previousSeq;
  PluginState written;
  std::string error;
  if (!SendSettings(*folder, changes, &written, &previousSeq, &error)) {
    std::cerr << "veneerctl set: " << error << "\n";
    return kExitFailure;
  }

  std::cout << "wrote " << path << " with seq=" << *written.seq;
  if (previousSeq) {
    std::cout << " (was " << *previousSeq << ")";
  }
  std::cout << "\nsent:";
  for (const SettingChange& change : changes) {
    std::cout << " " << kStateKeys[change.index].name << "=" << FormatNumber(change.value);
  }
  std::cout << "\n";
  if (written.ignoredLines > 0) {
    std::cout << "dropped " << written.ignoredLines << " line(s) with unknown keys from the old file\n";
  }
  if (!wasFresh) {
    std::cout << "note: no heartbeat kept this file fresh; the plug-in bypasses again in " << kHeartbeatTimeout
              << " s unless the application or `veneerctl heartbeat` keeps rewriting it\n";
  }
  return kExitOk;
}

}  // namespace veneerctl
