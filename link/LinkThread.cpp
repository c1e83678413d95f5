// The link thread's pass: applying the companion application's settings,
// reporting manual changes, the heartbeat and the alive file.
#include "shell/Veneer.h"

namespace veneer {

void Veneer::RunLinkCycle() {
  // The pass's work arrives with the companion link; until then the thread only
  // keeps its rhythm, so that start, pause and stop behave as they will.
}

}  // namespace veneer
