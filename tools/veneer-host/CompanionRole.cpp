#include "CompanionRole.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>

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
                         std::size_t frame, std::string* error) {
  companion::PluginState written;
  std::optional<std::int64_t> previous;
  if (!companion::SendSettings(folder_, changes, &written, &previous, error)) {
    return false;
  }
  lastWrite_ = std::time(nullptr);
  std::string text;
  for (const companion::SettingChange& change : changes) {
    text += " " + std::string(companion::kStateKeys[change.index].name) + "=" + companion::FormatNumber(change.value);
  }
  SentSettings sent{
      when,
      "seq " + std::to_string(*written.seq) + (text.empty() ? " (no settings: the product keeps its own)" : text),
      text,
      std::nullopt,
      frame,
      std::nullopt};
  if (!changes.empty()) {
    sent.seq = written.seq;  // a file without settings has nothing to wait for
  }
  sent_.push_back(std::move(sent));
  return true;
}

bool CompanionRole::Start(const std::vector<companion::SettingChange>& settings, std::string* error) {
  const std::string path = folder_.File(companion::kStateFile);
  const std::optional<std::string> current = companion::ReadWholeFile(path);
  if (!settings.empty() || !current) {
    return Send(settings, "before the run", 0, error);
  }
  const companion::PluginState state = companion::ParsePluginState(*current);
  const std::string seq = state.seq ? "seq " + std::to_string(*state.seq) : "no seq";
  if (state.values[companion::kAppRunningIndex] == 0.0) {
    companion::PluginState written;
    if (!companion::RewriteForHeartbeat(folder_, true, &written, error)) {
      return false;
    }
    sent_.push_back(
        {"before the run", seq + " kept, its quit marker replaced by appRunning=1", "", std::nullopt, 0, std::nullopt});
  } else if (!Touch(error)) {
    return false;
  } else {
    sent_.push_back({"before the run", seq + " kept (the file's settings; only its time renewed)", "", std::nullopt, 0,
                     std::nullopt});
  }
  lastWrite_ = std::time(nullptr);
  return true;
}

void CompanionRole::Schedule(std::vector<TimedSettings> timed, double sampleRate, bool realTime) {
  std::stable_sort(timed.begin(), timed.end(),
                   [](const TimedSettings& a, const TimedSettings& b) { return a.seconds < b.seconds; });
  schedule_.clear();
  for (TimedSettings& settings : timed) {
    if (!schedule_.empty() && schedule_.back().settings.seconds == settings.seconds) {
      auto& changes = schedule_.back().settings.changes;
      changes.insert(changes.end(), settings.changes.begin(), settings.changes.end());
      continue;
    }
    const auto frame = static_cast<std::size_t>(std::llround(settings.seconds * sampleRate));
    schedule_.push_back({frame, std::move(settings)});
  }
  nextScheduled_ = 0;
  realTime_ = realTime;
}

std::vector<std::size_t> CompanionRole::Stops() const {
  std::vector<std::size_t> stops{0};
  for (const Scheduled& scheduled : realTime_ ? std::vector<Scheduled>{} : schedule_) {
    stops.push_back(scheduled.frame);
  }
  return stops;
}

void CompanionRole::SendScheduled(std::size_t index, std::size_t framesDone) {
  const TimedSettings& timed = schedule_[index].settings;
  char when[32];
  std::snprintf(when, sizeof when, "at %.2f s", timed.seconds);
  std::string error;
  if (!Send(timed.changes, when, framesDone, &error)) {
    std::cerr << "veneer-host: " << error << "\n";
    sent_.push_back({when, "not sent: " + error, "", std::nullopt, framesDone, std::nullopt});
  }
}

void CompanionRole::NoteApplied(std::size_t framesDone) {
  std::vector<std::string> applied;
  bool read = false;
  for (SentSettings& sent : sent_) {
    if (!sent.seq || sent.appliedAtFrame) {
      continue;
    }
    if (!read) {
      applied = AppliedLines();
      read = true;
    }
    const std::string wanted = "] ipc# " + std::to_string(*sent.seq) + " ";
    for (const std::string& line : applied) {
      if (line.find(wanted) != std::string::npos) {
        sent.appliedAtFrame = framesDone;
        break;
      }
    }
  }
}

bool CompanionRole::StopDone(std::size_t stop) {
  const double now = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  if (heldStop_ != stop) {
    heldStop_ = stop;
    stopGiveUpAt_ = now + kApplyWaitSeconds;
  }
  // Stop 0 waits for what was sent before the run; stop k for the k-th scheduled change.
  if (stop >= sent_.size()) {
    return false;
  }
  const SentSettings& sent = sent_[stop];
  return !applies_ || !sent.seq || sent.appliedAtFrame || now >= stopGiveUpAt_;
}

void CompanionRole::Follow(std::size_t framesDone, RenderGate& gate) {
  NoteApplied(framesDone);
  while (realTime_ && nextScheduled_ < schedule_.size() && schedule_[nextScheduled_].frame <= framesDone) {
    SendScheduled(nextScheduled_++, framesDone);
  }
  if (const std::optional<std::size_t> stop = gate.Waiting()) {
    if (!realTime_ && *stop >= 1 && nextScheduled_ < *stop) {
      SendScheduled(nextScheduled_++, framesDone);
    } else if (StopDone(*stop)) {
      gate.Release();
    }
  }
  KeepAlive();
}

bool CompanionRole::AwaitingApplication() {
  const auto pending =
      std::find_if(sent_.rbegin(), sent_.rend(), [](const SentSettings& sent) { return sent.seq.has_value(); });
  if (!applies_ || pending == sent_.rend() || pending->appliedAtFrame) {
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

std::vector<std::string> CompanionRole::AppliedLines() const {
  // One line per counter: a second one for the same counter is another Veneer's.
  std::vector<std::string> once;
  std::set<std::string> counters;
  for (std::string& line : log_.NewLinesWith("] ipc# ")) {
    const std::size_t at = line.find("] ipc# ") + 7;
    if (counters.insert(line.substr(at, line.find(' ', at) - at)).second) {
      once.push_back(std::move(line));
    }
  }
  return once;
}

bool CompanionRole::AppliedByAnotherVeneer() const {
  return log_.NewLinesWith("] ipc# ").size() > AppliedLines().size();
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
