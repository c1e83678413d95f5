// The shell's one log: a line per call appended to the support folder's debug log.
#pragma once

#include <string>

namespace veneer {

// [any thread] Appends "[HH:MM:SS] message\n" to the support folder's
// "veneer_debug.log". Drops the line when HOME is unset or the file cannot be
// opened; never reports failure.
void DebugLog(const std::string& message);

// [any thread] "[main]" on the process's main thread, "[bg ]" elsewhere.
const char* ThreadTag();

}  // namespace veneer
