// The host playing the companion application for one run: it sends settings
// before and during the render, keeps the heartbeat fresh, and reads back from
// the plug-in's debug log which settings were applied. Without settings of its
// own it keeps whatever file is there, so a running application keeps its settings.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "Arguments.h"
#include "PluginLog.h"
#include "SupportFolder.h"

namespace host {

// Settings to send once the render reaches `seconds` of audio.
struct TimedSettings {
  double seconds = 0;
  std::vector<companion::SettingChange> changes;
};

class CompanionRole {
 public:
  // [main thread]
  explicit CompanionRole(companion::SupportFolder folder);

  // [main thread] Creates the support folder when missing; false (message on stderr) on failure.
  bool Prepare() const;
  // [main thread] Before the run: sends `settings` when there are any; otherwise keeps the
  // current file, freshened (a quit marker in it becomes appRunning=1, since the application
  // that wrote it has gone), or writes one without settings when there is none.
  bool Start(const std::vector<companion::SettingChange>& settings, std::string* error);
  // [main thread] Writes a new settings file (seq + 1) with `changes` on top of the current one;
  // `when` describes the moment in the list of what was sent.
  bool Send(const std::vector<companion::SettingChange>& changes, const std::string& when, std::string* error);
  // [main thread] Settings to send as the render reaches their time, in order of time.
  void Schedule(std::vector<TimedSettings> timed);
  // [main thread] At `seconds` of audio: sends what is due, and freshens the file's
  // modification time every 2 seconds (its content stays the writer's).
  void Follow(double seconds);
  // [main thread] Whether the last settings sent still wait to be applied; gives up
  // 3 seconds after it is first asked.
  [[nodiscard]] bool AwaitingApplication();
  // [main thread] One line per settings file sent: when, and what.
  [[nodiscard]] const std::vector<std::string>& Sent() const { return sent_; }
  // [main thread] The "ipc# ..." lines logged since this run began.
  [[nodiscard]] std::vector<std::string> AppliedLines() const;

  [[nodiscard]] const companion::SupportFolder& Folder() const { return folder_; }

 private:
  [[nodiscard]] bool LastSendApplied() const;
  void KeepAlive();
  // Renews the settings file's modification time (the heartbeat); writes one when it is gone.
  bool Touch(std::string* error) const;

  companion::SupportFolder folder_;
  PluginLog log_;
  std::optional<std::int64_t> lastSentSeq_;
  std::time_t lastWrite_ = 0;
  std::vector<TimedSettings> schedule_;
  std::size_t nextTimed_ = 0;
  std::vector<std::string> sent_;
  double giveUpAt_ = 0;
};

// [main thread] One line per file of the support folder: name, size, age.
std::vector<std::string> DescribeSupportFolder(const companion::SupportFolder& folder);

}  // namespace host
