// veneerctl: the companion application's side of Veneer's file link, for people who
// build or support the application.
#include <iostream>
#include <map>
#include <string>

#include "Commands.h"

namespace {

using Command = int (*)(const veneerctl::Invocation&);

const std::map<std::string, Command, std::less<>> kCommands = {
    {"set", veneerctl::RunSet},       {"heartbeat", veneerctl::RunHeartbeat},
    {"status", veneerctl::RunStatus}, {"changes", veneerctl::RunChanges},
    {"log", veneerctl::RunLog},       {"variant", veneerctl::RunVariant},
};

}  // namespace

int main(int argc, char** argv) {
  veneerctl::Invocation invocation;
  std::string command;
  // --home may stand anywhere; everything else keeps its order.
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--home" || arg.rfind("--home=", 0) == 0) {
      std::string home;
      if (arg == "--home") {
        if (i + 1 >= argc) {
          std::cerr << "veneerctl: --home needs a folder\n";
          return veneerctl::kExitUsage;
        }
        home = argv[++i];
      } else {
        home = arg.substr(7);
      }
      if (home.empty()) {
        std::cerr << "veneerctl: --home needs a folder\n";
        return veneerctl::kExitUsage;
      }
      invocation.home = home;
    } else if (command.empty()) {
      command = arg;
    } else {
      invocation.args.push_back(arg);
    }
  }
  if (command.empty() || command == "help" || command == "--help" || command == "-h") {
    veneerctl::PrintUsage(std::cout);
    return veneerctl::kExitOk;
  }
  const auto found = kCommands.find(command);
  if (found == kCommands.end()) {
    std::cerr << "veneerctl: unknown command '" << command << "'\n\n";
    veneerctl::PrintUsage(std::cerr);
    return veneerctl::kExitUsage;
  }
  return found->second(invocation);
}
