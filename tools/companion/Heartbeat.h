// How the plug-in judges the companion's heartbeat on each link pass, for the
// tools that report on it.
#pragma once

#include <ctime>
#include <optional>

#include "PluginState.h"
#include "SupportFolder.h"

namespace companion {

// Seconds the plug-in allows between rewrites of plugin_state.txt before it bypasses.
inline constexpr long kHeartbeatTimeout = 10;

enum class Heartbeat { kFresh, kMissing, kStale, kQuitMarker };

struct HeartbeatReading {
  Heartbeat verdict = Heartbeat::kMissing;
  long ageSeconds = 0;  // negative: a modification time in the future, which counts as fresh
  PluginState state;
};

// The settings file as the plug-in sees it at `now`.
HeartbeatReading ReadHeartbeat(const SupportFolder& folder, std::time_t now);

}  // namespace companion
