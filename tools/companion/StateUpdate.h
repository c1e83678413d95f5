// Read-modify-write of plugin_state.txt, for every tool that plays the application.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Arguments.h"
#include "PluginState.h"
#include "SupportFolder.h"

namespace companion {

// Under the state lock: reads the current file (a missing file reads as empty), lets `edit`
// change it, and replaces the file atomically. `written` receives what was written.
bool UpdatePluginState(const SupportFolder& folder, const std::function<void(PluginState&)>& edit, PluginState* written,
                       std::string* error);

// Sends new settings: the old counter + 1 (1 when there was none or it was negative),
// appRunning=1 unless `changes` say otherwise, every change on top of the current file.
// `previousSeq` receives the old counter.
bool SendSettings(const SupportFolder& folder, std::span<const SettingChange> changes, PluginState* written,
                  std::optional<std::int64_t>* previousSeq, std::string* error);

// Rewrites the file as it is with appRunning=1 (or 0 for the quit marker): the heartbeat.
bool RewriteForHeartbeat(const SupportFolder& folder, bool running, PluginState* written, std::string* error);

// Prints "created the support folder ..." when it had to; false (message on stderr,
// after `program`) on failure.
bool EnsureSupportFolder(const SupportFolder& folder, std::string_view program);

}  // namespace companion
