// Small file helpers: whole-file reads, atomic replacement, modification ages.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace companion {

// The whole file, or nothing when it cannot be opened or is not a regular file
// (a named pipe or a device is never waited on).
std::optional<std::string> ReadWholeFile(const std::string& path);
// Its last `maxBytes` bytes (all of a shorter file), on the same terms.
std::optional<std::string> ReadFileTail(const std::string& path, std::size_t maxBytes);

// Writes `content` to a new file beside `path` and renames it into place, so a reader
// sees either the old or the new file, never a part of one.
bool ReplaceFileAtomically(const std::string& path, std::string_view content, std::string* error);

// Creates an empty hidden file beside `path` (same folder, so a rename stays on one file
// system) for writing what will replace it; nothing, with `error` filled, on failure.
std::optional<std::string> CreateFileBeside(const std::string& path, std::string* error);
// Renames `temp` to `path` when `written`, else removes it; false (and `error`) when not done.
bool CommitFileBeside(const std::string& temp, const std::string& path, bool written, std::string* error);

// Modification time in whole seconds, or nothing when the file is missing.
std::optional<std::time_t> ModificationTime(const std::string& path);

// Serialises the tools that rewrite plugin_state.txt (set against a running
// heartbeat), so neither puts back an older file over the other's. The plug-in never locks.
class StateLock {
 public:
  explicit StateLock(const std::string& folder);
  ~StateLock();
  StateLock(const StateLock&) = delete;
  StateLock& operator=(const StateLock&) = delete;

 private:
  int fd_ = -1;
};

}  // namespace companion
