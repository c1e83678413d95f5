// The veneerctl commands. Each returns the process exit status.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Heartbeat.h"
#include "SupportFolder.h"

namespace veneerctl {

// The files and their model are shared with the other tools that play the application.
using namespace companion;  // NOLINT(google-build-using-namespace)

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;  // something to report is missing, or a file operation failed
inline constexpr int kExitUsage = 2;    // bad arguments or no HOME; nothing was written

struct Invocation {
  std::optional<std::string> home;  // --home DIR
  std::vector<std::string> args;    // what follows the command name
};

// Locates the support folder or explains on stderr why it cannot.
std::optional<SupportFolder> LocateFolder(const Invocation& invocation);

int RunSet(const Invocation& invocation);
int RunHeartbeat(const Invocation& invocation);
int RunStatus(const Invocation& invocation);
int RunChanges(const Invocation& invocation);
int RunLog(const Invocation& invocation);
int RunVariant(const Invocation& invocation);

void PrintUsage(std::ostream& out);

}  // namespace veneerctl
