#include <iostream>

#include "Commands.h"

namespace veneerctl {

std::optional<SupportFolder> LocateFolder(const Invocation& invocation) {
  std::string error;
  auto folder = SupportFolder::Locate(invocation.home, &error);
  if (!folder) {
    std::cerr << "veneerctl: " << error << "\n";
  }
  return folder;
}

}  // namespace veneerctl
