#include "StateUpdate.h"

#include <iostream>

#include "FileAccess.h"

namespace veneerctl {

bool UpdatePluginState(const SupportFolder& folder, const std::function<void(PluginState&)>& edit, PluginState* written,
                       std::string* error) {
  const std::string path = folder.File(kStateFile);
  StateLock lock(folder.Path());
  PluginState state = ParsePluginState(ReadWholeFile(path).value_or(""));
  edit(state);
  if (!ReplaceFileAtomically(path, FormatPluginState(state), error)) {
    return false;
  }
  *written = state;
  return true;
}

bool EnsureSupportFolder(const SupportFolder& folder) {
  bool created = false;
  std::string error;
  if (!folder.Ensure(&created, &error)) {
    std::cerr << "veneerctl: " << error << "\n";
    return false;
  }
  if (created) {
    std::cout << "created the support folder " << folder.Path() << "\n";
  }
  return true;
}

}  // namespace veneerctl
