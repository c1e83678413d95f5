// The veneer-host commands. Each returns the process exit status.
#pragma once

#include <string>
#include <vector>

namespace host {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;  // the unit or a file failed
inline constexpr int kExitUsage = 2;    // bad arguments or unusable input; nothing was rendered

// [main thread]
int RunRender(const std::vector<std::string>& args);
// [main thread]
int RunValidate(const std::vector<std::string>& args);
const char* ValidateUsage();

}  // namespace host
