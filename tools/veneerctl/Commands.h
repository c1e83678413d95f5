// The veneerctl commands. Each returns the process exit status.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Heartbeat.h"
#include "SupportFolder.h"

namespace veneerctl {

// The files and their model are shared with the other tools that play the application.
using namespace companion;  // NOLINT(google-build-using-namespace)

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;  // something to report is missing, or a file operation failed
inline constexpr int kExitUsage = 2;    // bad arguments or no HOME; nothing was written
inline constexpr int kExitStopped = 3;  // status: an alive file, but no plug-in instance keeps it fresh

struct Invocation {
  std::optional<std::string> home;  // --home DIR
};

struct HeartbeatOptions {
  double interval = 2.0;
  long count = 0;  // 0: until interrupted
};

struct LogOptions {
  bool follow = false;
  long lines = 50;
};

enum class VariantAction { kForce, kPrefer, kClear };

// Locates the support folder or explains on stderr why it cannot.
std::optional<SupportFolder> LocateFolder(const Invocation& invocation);

// Parses the command line and runs the command.
int RunCommandLine(int argc, char** argv);

int RunSet(const Invocation& invocation, const std::vector<SettingChange>& changes);
int RunHeartbeat(const Invocation& invocation, const HeartbeatOptions& options);
int RunStatus(const Invocation& invocation);
int RunChanges(const Invocation& invocation, bool follow);
int RunLog(const Invocation& invocation, const LogOptions& options);
// `name` is checked here, so that a wrong one is answered with the list of right ones.
int RunVariant(const Invocation& invocation, VariantAction action, const std::string& name);

}  // namespace veneerctl
