// veneer-host: a command-line host that plays the DAW for Veneer.
#include <exception>
#include <iostream>

#include "Commands.h"

int main(int argc, char** argv) {
  // Whatever escapes (a file too large for memory, say) is one line and a failure, not a crash.
  try {
    return host::RunCommandLine(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "veneer-host: " << failure.what() << "\n";
    return host::kExitFailure;
  }
}
