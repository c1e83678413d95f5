// Read-modify-write of plugin_state.txt, shared by set and heartbeat.
#pragma once

#include <functional>
#include <string>

#include "PluginState.h"
#include "SupportFolder.h"

namespace veneerctl {

// Under the state lock: reads the current file (a missing file reads as empty), lets `edit`
// change it, and replaces the file atomically. `written` receives what was written.
bool UpdatePluginState(const SupportFolder& folder, const std::function<void(PluginState&)>& edit, PluginState* written,
                       std::string* error);

// Prints "created the support folder ..." when it had to; false (message on stderr) on failure.
bool EnsureSupportFolder(const SupportFolder& folder);

}  // namespace veneerctl
