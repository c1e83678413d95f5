#include "support/BenchHome.h"

#include <cstdlib>

namespace bench {

harness::TempHome& Home() {
  static harness::TempHome& home = []() -> harness::TempHome& {
    static harness::TempHome made("veneer-bench-home");
    unsetenv("VENEER_COMPONENT_PATH");
    // Fresh and without a counter: the heartbeat holds, nothing is applied.
    made.WriteSupportFile("plugin_state.txt", "appRunning=1\n");
    return made;
  }();
  return home;
}

}  // namespace bench
