#include "StateUpdate.h"

#include <iostream>
#include <limits>

#include "FileAccess.h"

namespace companion {

namespace {

// The plug-in applies a file only when its counter is >= 0 and new, so step past any
// negative or exhausted counter to 1.
std::int64_t NextSeq(const std::optional<std::int64_t>& current) {
  if (!current || *current < 0 || *current == std::numeric_limits<std::int64_t>::max()) {
    return 1;
  }
  return *current + 1;
}

}  // namespace

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

bool SendSettings(const SupportFolder& folder, std::span<const SettingChange> changes, PluginState* written,
                  std::optional<std::int64_t>* previousSeq, std::string* error) {
  return UpdatePluginState(
      folder,
      [&](PluginState& state) {
        *previousSeq = state.seq;
        state.seq = NextSeq(state.seq);
        state.values[kAppRunningIndex] = 1.0;  // an explicit appRunning among the changes wins
        for (const SettingChange& change : changes) {
          state.values[change.index] = change.value;
        }
      },
      written, error);
}

bool RewriteForHeartbeat(const SupportFolder& folder, bool running, PluginState* written, std::string* error) {
  return UpdatePluginState(
      folder, [running](PluginState& state) { state.values[kAppRunningIndex] = running ? 1.0 : 0.0; }, written, error);
}

bool EnsureSupportFolder(const SupportFolder& folder, std::string_view program) {
  bool created = false;
  std::string error;
  if (!folder.Ensure(&created, &error)) {
    std::cerr << program << ": " << error << "\n";
    return false;
  }
  if (created) {
    std::cout << "created the support folder " << folder.Path() << "\n";
  }
  return true;
}

}  // namespace companion
