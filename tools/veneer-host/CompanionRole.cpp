#include "CompanionRole.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "StateUpdate.h"

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::time_t kHeartbeatSeconds = 2;

}  // namespace

CompanionRole::CompanionRole(companion::SupportFolder folder) : folder_(std::move(folder)) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(folder_.File(companion::kDebugLog), error);
  logStart_ = error ? 0 : size;
}

bool CompanionRole::Prepare() const { return companion::EnsureSupportFolder(folder_, "veneer-host"); }

bool CompanionRole::Send(const std::vector<companion::SettingChange>& changes, std::string* error) {
  companion::PluginState written;
  std::optional<std::int64_t> previous;
  if (!companion::SendSettings(folder_, changes, &written, &previous, error)) {
    return false;
  }
  lastSentSeq_ = written.seq;
  lastWrite_ = std::time(nullptr);
  return true;
}

void CompanionRole::KeepAlive() {
  const std::time_t now = std::time(nullptr);
  if (now - lastWrite_ < kHeartbeatSeconds) {
    return;
  }
  companion::PluginState written;
  std::string error;
  if (!companion::RewriteForHeartbeat(folder_, true, &written, &error)) {
    std::cerr << "veneer-host: heartbeat: " << error << "\n";
  }
  lastWrite_ = now;  // a failure is retried on the next beat, not at once
}

std::vector<std::string> CompanionRole::NewLogLines() const {
  std::vector<std::string> lines;
  std::ifstream log(folder_.File(companion::kDebugLog), std::ios::binary);
  std::error_code error;
  const std::uintmax_t size = fs::file_size(folder_.File(companion::kDebugLog), error);
  // A log deleted and begun anew since the start is read from its beginning.
  log.seekg(static_cast<std::streamoff>(!error && size >= logStart_ ? logStart_ : 0));
  for (std::string line; std::getline(log, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> CompanionRole::AppliedLines() const {
  std::vector<std::string> applied;
  for (const std::string& line : NewLogLines()) {
    if (line.find("] ipc# ") != std::string::npos) {
      applied.push_back(line);
    }
  }
  return applied;
}

bool CompanionRole::LastSendApplied() const {
  if (!lastSentSeq_) {
    return true;
  }
  const std::string wanted = "] ipc# " + std::to_string(*lastSentSeq_) + " ";
  for (const std::string& line : AppliedLines()) {
    if (line.find(wanted) != std::string::npos) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> DescribeSupportFolder(const companion::SupportFolder& folder) {
  std::vector<std::string> lines;
  std::error_code error;
  std::vector<fs::directory_entry> entries;
  for (fs::directory_iterator it(folder.Path(), error), end; !error && it != end; it.increment(error)) {
    entries.push_back(*it);
  }
  std::sort(entries.begin(), entries.end());
  const auto now = fs::file_time_type::clock::now();
  for (const fs::directory_entry& entry : entries) {
    if (!entry.is_regular_file(error) || entry.path().filename().string().starts_with(".")) {
      continue;
    }
    const auto age = std::chrono::duration_cast<std::chrono::seconds>(now - entry.last_write_time(error)).count();
    lines.push_back(entry.path().filename().string() + "  " + std::to_string(entry.file_size(error)) + " bytes, " +
                    std::to_string(std::max<long long>(age, 0)) + " s old");
  }
  return lines;
}

}  // namespace host
