// veneer-host: a command-line host that plays the DAW for Veneer.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "Commands.h"
#include "RenderOptions.h"

namespace {

void PrintUsage(std::ostream& out) {
  out << "usage: veneer-host COMMAND [arguments]\n\n"
         "  render [INPUT] [options]   render a file (or the embedded demo) through Veneer\n"
         "  validate [options]         check that a unit behaves as hosts expect\n"
         "  help                       this text and the options of both\n\n"
      << host::RenderUsage() << "\n"
      << host::ValidateUsage();
}

int Dispatch(int argc, char** argv) {
  const std::vector<std::string> args(argv + std::min(argc, 2), argv + argc);
  const std::string command = argc > 1 ? argv[1] : "help";
  if (command == "help" || command == "--help" || command == "-h") {
    PrintUsage(std::cout);
    return host::kExitOk;
  }
  if (command == "render") {
    return host::RunRender(args);
  }
  if (command == "validate") {
    return host::RunValidate(args);
  }
  std::cerr << "veneer-host: unknown command '" << command << "'\n\n";
  PrintUsage(std::cerr);
  return host::kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  // Whatever escapes (a file too large for memory, say) is one line and a failure, not a crash.
  try {
    return Dispatch(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "veneer-host: " << failure.what() << "\n";
    return host::kExitFailure;
  }
}
