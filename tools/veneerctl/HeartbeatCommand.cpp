// veneerctl heartbeat: stands in for a running application by keeping plugin_state.txt fresh.
#include <iostream>

#include "Arguments.h"
#include "Commands.h"
#include "StateUpdate.h"
#include "StopSignal.h"

namespace veneerctl {

namespace {

struct HeartbeatOptions {
  double interval = 2.0;
  long count = 0;  // 0: until interrupted
};

std::optional<HeartbeatOptions> ParseOptions(const std::vector<std::string>& args) {
  HeartbeatOptions options;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const bool hasValue = i + 1 < args.size();
    if (args[i] == "--interval" && hasValue) {
      const auto seconds = ParseNumber(args[++i]);
      if (!seconds || *seconds <= 0) {
        std::cerr << "veneerctl heartbeat: --interval needs a number of seconds above 0, not '" << args[i] << "'\n";
        return std::nullopt;
      }
      options.interval = *seconds;
    } else if (args[i] == "--count" && hasValue) {
      const auto count = ParseCount(args[++i]);
      if (!count || *count == 0) {
        std::cerr << "veneerctl heartbeat: --count needs a whole number above 0, not '" << args[i] << "'\n";
        return std::nullopt;
      }
      options.count = *count;
    } else {
      std::cerr << "veneerctl heartbeat: unexpected argument '" << args[i]
                << "' (use --interval SECONDS and --count N)\n";
      return std::nullopt;
    }
  }
  return options;
}

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

int RunHeartbeat(const Invocation& invocation) {
  const auto options = ParseOptions(invocation.args);
  if (!options) {
    return kExitUsage;
  }
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  if (!EnsureSupportFolder(*folder, "veneerctl")) {
    return kExitFailure;
  }
  if (options->interval >= kHeartbeatTimeout) {
    std::cerr << "veneerctl heartbeat: warning: an interval of " << kHeartbeatTimeout
              << " s or more lets the plug-in bypass between rewrites\n";
  }
  InstallStopHandlers();

  PluginState state;
  if (!Rewrite(*folder, true, &state)) {
    return kExitFailure;
  }
  std::cout << "heartbeat: rewriting " << folder->File(kStateFile) << " every " << FormatNumber(options->interval)
            << " s (seq " << SeqText(state) << "); Ctrl-C stops and writes the quit marker" << std::endl;
  long beats = 1;
  long rewrites = 1;
  while ((options->count == 0 || beats < options->count) && SleepUnlessStopped(options->interval)) {
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
