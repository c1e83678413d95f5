#include "Heartbeat.h"

#include "FileAccess.h"

namespace companion {

HeartbeatReading ReadHeartbeat(const SupportFolder& folder, std::time_t now) {
  HeartbeatReading reading;
  const std::string path = folder.File(kStateFile);
  const auto modified = ModificationTime(path);
  if (!modified) {
    return reading;
  }
  reading.ageSeconds = static_cast<long>(now - *modified);
  reading.state = ParsePluginState(ReadWholeFile(path).value_or(""));
  if (reading.ageSeconds >= kHeartbeatTimeout) {
    reading.verdict = Heartbeat::kStale;
  } else if (reading.state.values[kAppRunningIndex] == 0.0) {
    reading.verdict = Heartbeat::kQuitMarker;
  } else {
    reading.verdict = Heartbeat::kFresh;
  }
  return reading;
}

}  // namespace companion
