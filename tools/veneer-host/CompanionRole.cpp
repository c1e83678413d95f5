#include "CompanionRole.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "FileAccess.h"
#include "PluginState.h"
#include "StateUpdate.h"

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::time_t kHeartbeatSeconds = 2;
// How long to wait after the audio for the link to apply the last settings sent.
constexpr double kApplyWaitSeconds = 3.0;

}  // namespace

CompanionRole::CompanionRole(companion::SupportFolder folder)
    : folder_(std::move(folder)), log_(folder_.File(companion::kDebugLog)) {}

bool CompanionRole::Prepare() const { return companion::EnsureSupportFolder(folder_, "veneer-host"); }

bool CompanionRole::Send(const std::vector<companion::SettingChange>& changes, const std::string& when,
                         std::string* error) {
  companion::PluginState written;
  std::optional<std::int64_t> previous;
  if (!companion::SendSettings(folder_, changes, &written, &previous, error)) {
    return false;
  }
  if (!changes.empty()) {
    lastSentSeq_ = written.seq;  // a file without settings has nothing to wait for
  }
  lastWrite_ = std::time(nullptr);
  std::string text;
  for (const companion::SettingChange& change : changes) {
    text += std::string(text.empty() ? "" : " ") + std::string(companion::kStateKeys[change.index].name) + "=" +
            companion::FormatNumber(change.value);
  }
  sent_.push_back(when + ": seq " + std::to_string(*written.seq) + " " +
                  (text.empty() ? "(no settings: the product keeps its own)" : text));
  return true;
}

bool CompanionRole::Start(const std::vector<companion::SettingChange>& settings, std::string* error) {
  const std::string path = folder_.File(companion::kStateFile);
  const std::optional<std::string> current = companion::ReadWholeFile(path);
  if (!settings.empty() || !current) {
    return Send(settings, "before the run", error);
  }
  const companion::PluginState state = companion::ParsePluginState(*current);
  const std::string seq = state.seq ? "seq " + std::to_string(*state.seq) : "no seq";
  if (state.values[companion::kAppRunningIndex] == 0.0) {
    companion::PluginState written;
    if (!companion::RewriteForHeartbeat(folder_, true, &written, error)) {
      return false;
    }
    sent_.push_back("before the run: " + seq + " kept, its quit marker replaced by appRunning=1");
  } else if (!Touch(error)) {
    return false;
  } else {
    sent_.push_back("before the run: " + seq + " kept (the file's settings; only its time renewed)");
  }
  lastWrite_ = std::time(nullptr);
  return true;
}

void CompanionRole::Schedule(std::vector<TimedSettings> timed) {
  std::stable_sort(timed.begin(), timed.end(),
                   [](const TimedSettings& a, const TimedSettings& b) { return a.seconds < b.seconds; });
  schedule_ = std::move(timed);
  nextTimed_ = 0;
}

void CompanionRole::Follow(double seconds) {
  while (nextTimed_ < schedule_.size() && schedule_[nextTimed_].seconds <= seconds) {
    const TimedSettings& timed = schedule_[nextTimed_++];
    char when[32];
    std::snprintf(when, sizeof when, "at %.2f s", timed.seconds);
    std::string error;
    if (!Send(timed.changes, when, &error)) {
      std::cerr << "veneer-host: " << error << "\n";
    }
  }
  KeepAlive();
}

bool CompanionRole::AwaitingApplication() {
  if (LastSendApplied()) {
    return false;
  }
  const double now = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  if (giveUpAt_ == 0) {
    giveUpAt_ = now + kApplyWaitSeconds;
  }
  return now < giveUpAt_;
}

void CompanionRole::KeepAlive() {
  const std::time_t now = std::time(nullptr);
  if (now - lastWrite_ < kHeartbeatSeconds) {
    return;
  }
  std::string error;
  if (!Touch(&error)) {
    std::cerr << "veneer-host: heartbeat: " << error << "\n";
  }
  lastWrite_ = now;  // a failure is retried on the next beat, not at once
}

bool CompanionRole::Touch(std::string* error) const {
  // Only the time: a file the application renames into place meanwhile keeps its content.
  const std::string path = folder_.File(companion::kStateFile);
  std::error_code failure;
  fs::last_write_time(path, fs::file_time_type::clock::now(), failure);
  if (failure == std::errc::no_such_file_or_directory) {
    companion::PluginState written;
    return companion::RewriteForHeartbeat(folder_, true, &written, error);
  }
  if (failure) {
    *error = "cannot renew the time of " + path + ": " + failure.message();
  }
  return !failure;
}

std::vector<std::string> CompanionRole::AppliedLines() const { return log_.NewLinesWith("] ipc# "); }

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
