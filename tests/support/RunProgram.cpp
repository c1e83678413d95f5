#include "RunProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <fstream>
#include <iterator>
#include <map>

extern char** environ;

namespace testsupport {

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

ProgramResult RunProgram(const std::vector<std::string>& argv, const std::vector<std::string>& environment,
                         const std::string& scratchFolder) {
  // Later entries win, so the given ones replace inherited ones of the same name.
  std::map<std::string, std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text(*entry);
    variables[text.substr(0, text.find('='))] = text;
  }
  for (const std::string& text : environment) {
    if (text.find('=') == std::string::npos) {
      variables.erase(text);
    } else {
      variables[text.substr(0, text.find('='))] = text;
    }
  }
  std::vector<char*> env;
  for (auto& [name, text] : variables) {
    env.push_back(text.data());
  }
  env.push_back(nullptr);
  std::vector<char*> args;
  for (const std::string& arg : argv) {
    args.push_back(const_cast<char*>(arg.c_str()));
  }
  args.push_back(nullptr);

  const std::string outPath = scratchFolder + "/stdout.txt";
  const std::string errPath = scratchFolder + "/stderr.txt";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), env.data());
  posix_spawn_file_actions_destroy(&actions);
  ProgramResult result;
  int status = 0;
  if (spawned == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
    result.status = WEXITSTATUS(status);
  }
  result.out = ReadAll(outPath);
  result.err = ReadAll(errPath);
  return result;
}

}  // namespace testsupport
