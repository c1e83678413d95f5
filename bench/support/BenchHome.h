// The home folder the benchmarks run in: a fresh temporary HOME with the
// support folder and a fresh settings file, so the link neither bypasses nor
// applies anything unless a benchmark asks it to.
#pragma once

#include <string>

#include "harness/TempHome.h"

namespace bench {

// [main thread] The process's one home, made on the first call (call it first
// thing in main) and removed when the process ends. VENEER_COMPONENT_PATH is
// cleared, so that only components registered in this process are found.
harness::TempHome& Home();

// [main thread] Writes plugin_state.txt as the companion does.
inline void WriteSettings(const std::string& text) { Home().WriteSupportFile("plugin_state.txt", text); }

}  // namespace bench
