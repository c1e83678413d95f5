// The veneer-host commands. Each returns the process exit status.
#pragma once

#include <string>
#include <vector>

#include "Arguments.h"
#include "Components.h"
#include "RenderOptions.h"

namespace host {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;   // the unit or a file failed
inline constexpr int kExitUsage = 2;     // bad arguments or unusable input; nothing was rendered
inline constexpr int kExitBypassed = 3;  // rendered, but Veneer bypassed blocks that should have been processed

struct ValidateOptions {
  ComponentChoice component;
  std::vector<companion::SettingChange> settings;
  bool playsCompanion = true;
};

struct ViewOptions {
  ComponentChoice component;
  bool playsCompanion = true;
};

// [main thread] Parses the command line and runs the command.
int RunCommandLine(int argc, char** argv);
// [main thread]
int RunRender(RenderOptions options);
// [main thread]
int RunValidate(const ValidateOptions& options);
// [main thread]
int RunView(const ViewOptions& options);

}  // namespace host
