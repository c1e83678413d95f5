// veneerctl: the companion application's side of Veneer's file link, for people who
// build or support the application.
#include <exception>
#include <iostream>

#include "Commands.h"

int main(int argc, char** argv) {
  // Whatever escapes is one line and a failure, not a crash.
  try {
    return veneerctl::RunCommandLine(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "veneerctl: " << failure.what() << "\n";
    return veneerctl::kExitFailure;
  }
}
