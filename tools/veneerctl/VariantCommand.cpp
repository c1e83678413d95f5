// veneerctl variant: chooses the product variant through force_variant.txt and prefer_variant.txt.
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
  for (const std::string_view name : kVariantNames) {
    list += "  \"" + std::string(name) + "\"\n";
  }
  return list;
}

// The name may be quoted as one argument or typed as several words.
std::string JoinWords(const std::vector<std::string>& args, std::size_t from) {
  std::string name;
  for (std::size_t i = from; i < args.size(); ++i) {
    name += (i == from ? "" : " ") + args[i];
  }
  return name;
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

int RunVariant(const Invocation& invocation) {
  const auto& args = invocation.args;
  const std::string action = args.empty() ? "" : args.front();
  const bool choose = action == "force" || action == "prefer";
  if (!choose && !(action == "clear" && args.size() == 1)) {
    std::cerr << "veneerctl variant: use 'variant force NAME', 'variant prefer NAME' or 'variant clear'\n";
    return kExitUsage;
  }
  std::string name;
  if (choose) {
    name = JoinWords(args, 1);
    bool known = false;
    for (const std::string_view variant : kVariantNames) {
      known = known || name == variant;
    }
    if (!known) {
      std::cerr << "veneerctl variant: unknown variant \"" << name
                << "\"; nothing was written. Use one of these exact names:\n"
                << NameList();
      return kExitUsage;
    }
  }
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  if (action == "force") {
    return WriteChoice(*folder, kForceVariantFile, name, "forced variant");
  }
  if (action == "prefer") {
    return WriteChoice(*folder, kPreferVariantFile, name, "preferred variant");
  }
  return Clear(*folder);
}

}  // namespace veneerctl
