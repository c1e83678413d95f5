// veneerctl heartbeat: stands in for a running application by keeping plugin_state.txt fresh.
#include <iostream>

#include "Arguments.h"
#include "Commands.h"
#include "StateUpdate.h"
#include "StopSignal.h"

namespace veneerctl {

namespace {

// Rewrites the current content (whatever `set` last sent) with appRunning set to `running`.
bool Rewrite(const SupportFolder& folder, bool running, PluginState* written) {
  std::string error;
  if (!RewriteForHeartbeat(folder, running, written, &error)) {
    std::cerr << "veneerctl heartbeat: " << error << "\n";
    return false;
  }
  return true;
}

std::string SeqText(const PluginState& state) { return state.seq ? std::to_string(*state.seq) : "none"; }

}  // namespace

int RunHeartbeat(const Invocation& invocation, const HeartbeatOptions& options) {
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  if (!EnsureSupportFolder(*folder, "veneerctl")) {
    return kExitFailure;
  }
  if (options.interval >= kHeartbeatTimeout) {
    std::cerr << "veneerctl heartbeat: warning: an interval of " << kHeartbeatTimeout
              << " s or more lets the plug-in bypass between rewrites\n";
  }
  InstallStopHandlers();

  PluginState state;
  if (!Rewrite(*folder, true, &state)) {
    return kExitFailure;
  }
  std::cout << "heartbeat: rewriting " << folder->File(kStateFile) << " every " << FormatNumber(options.interval)
            << " s (seq " << SeqText(state) << "); Ctrl-C stops and writes the quit marker" << std::endl;
  long beats = 1;
  long rewrites = 1;
  while ((options.count == 0 || beats < options.count) && SleepUnlessStopped(options.interval)) {
    ++beats;
    // A failed rewrite is reported and tried again on the next beat.
    if (Rewrite(*folder, true, &state)) {
      ++rewrites;
    }
  }
  if (!Rewrite(*folder, false, &state)) {
    return kExitFailure;
  }
  std::cout << "heartbeat: stopped after " << rewrites << " rewrite(s); wrote the quit marker appRunning=0 (seq "
            << SeqText(state) << ")" << std::endl;
  return kExitOk;
}

}  // namespace veneerctl
