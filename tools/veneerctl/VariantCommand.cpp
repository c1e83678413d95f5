// veneerctl variant: chooses the product variant through force_variant.txt and prefer_variant.txt.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "Commands.h"
#include "FileAccess.h"
#include "StateUpdate.h"
#include "VariantNames.h"

namespace veneerctl {

namespace {

std::string NameList() {
  std::string list;
  for (const std::string_view name : companion::kVariantNames) {
    list += "  \"" + std::string(name) + "\"\n";
  }
  return list;
}

int WriteChoice(const SupportFolder& folder, std::string_view file, const std::string& name, const char* what) {
  if (!EnsureSupportFolder(folder, "veneerctl")) {
    return kExitFailure;
  }
  const std::string path = folder.File(file);
  std::string error;
  if (!ReplaceFileAtomically(path, name + "\n", &error)) {
    std::cerr << "veneerctl variant: " << error << "\n";
    return kExitFailure;
  }
  std::cout << "wrote " << path << ": " << what << " \"" << name << "\"\n"
            << "takes effect when the plug-in next creates its inner unit (its next initialise)\n";
  return kExitOk;
}

int Clear(const SupportFolder& folder) {
  int status = kExitOk;
  for (const std::string_view file : {kForceVariantFile, kPreferVariantFile}) {
    const std::string path = folder.File(file);
    if (std::remove(path.c_str()) == 0) {
      std::cout << "removed " << path << "\n";
    } else if (errno == ENOENT) {
      std::cout << "no " << file << " to remove\n";
    } else {
      std::cerr << "veneerctl variant: cannot remove " << path << ": " << std::strerror(errno) << "\n";
      status = kExitFailure;
    }
  }
  return status;
}

}  // namespace

int RunVariant(const Invocation& invocation, VariantAction action, const std::string& name) {
  if (action != VariantAction::kClear && std::find(companion::kVariantNames.begin(), companion::kVariantNames.end(),
                                                   name) == companion::kVariantNames.end()) {
    std::cerr << "veneerctl variant: unknown variant \"" << name
              << "\"; nothing was written. Use one of these exact names:\n"
              << NameList();
    return kExitUsage;
  }
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  switch (action) {
    case VariantAction::kForce:
      return WriteChoice(*folder, kForceVariantFile, name, "forced variant");
    case VariantAction::kPrefer:
      return WriteChoice(*folder, kPreferVariantFile, name, "preferred variant");
    case VariantAction::kClear:
      break;
  }
  return Clear(*folder);
}

}  // namespace veneerctl
