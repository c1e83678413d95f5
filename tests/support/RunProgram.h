// Runs a program of ours to completion, as a user at a shell would, and keeps
// what it printed.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

struct ProgramResult {
  int status = -1;  // exit status; -1 when it did not exit normally
  std::string out;
  std::string err;
};

// `argv[0]` is the program's path; `environment` entries ("NAME=value") are set on top of
// this process's environment, and a bare "NAME" removes one. Output goes through files in
// `scratchFolder`.
ProgramResult RunProgram(const std::vector<std::string>& argv, const std::vector<std::string>& environment,
                         const std::string& scratchFolder);

}  // namespace testsupport
