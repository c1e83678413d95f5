#include "shell/ThreadContracts.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"

namespace veneer {

void ThreadContractBroken(const char* what, const char* contract) {
  std::fprintf(stderr, "thread contract broken: %s %s\n", what, contract);
  std::abort();
}

void LogCaught(const char* where, const char* what) noexcept {
  try {
    DebugLog(logtext::kExceptionCaught + std::string(where) + ": " + what);
  } catch (...) {
    // Out of memory, most likely: the line is lost, the thread goes on.
  }
}

}  // namespace veneer
