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
#include "RenderGate.h"
#include "SupportFolder.h"

namespace host {

// Settings to send once the render reaches `seconds` of audio.
struct TimedSettings {
  double seconds = 0;
  std::vector<companion::SettingChange> changes;
};

// One settings file sent (or kept), and what became of it.
struct SentSettings {
  std::string when;                 // "before the run", "at 2.00 s"
  std::string what;                 // "seq 2 retune=0.4"
  std::string changes;              // " retune=0.4": the values as they were given
  std::optional<std::int64_t> seq;  // set when the file carries settings to wait for
  std::size_t sentAtFrame = 0;
  std::optional<std::size_t> appliedAtFrame;  // when its "ipc#" line was seen
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
  // [main thread] Settings to send as the render reaches their time. Changes at one time go
  // in one file.
  void Schedule(std::vector<TimedSettings> timed, double sampleRate, bool realTime);
  // [main thread] Where the render must hold: at the start until the settings sent before
  // the run are applied and, faster than real time, at every scheduled change until it is.
  [[nodiscard]] std::vector<std::size_t> Stops() const;
  // [main thread] With `framesDone` rendered: sends what is due (at real time as the render
  // passes it; faster, when the render holds at it), notes what the plug-in applied, lets
  // the render on once the change it holds for is applied (or after 3 s), and freshens the
  // file's modification time every 2 seconds (its content stays the writer's).
  void Follow(std::size_t framesDone, RenderGate& gate);
  // [main thread] Renews the settings file's modification time (the heartbeat) when 2 seconds
  // have passed since the last renewal; Follow does it during a render.
  void KeepAlive();
  // [main thread] Nothing will apply the settings (no inner unit): the render need not wait.
  void NothingApplies() { applies_ = false; }
  // [main thread] Whether the last settings sent still wait to be applied; gives up
  // 3 seconds after it is first asked.
  [[nodiscard]] bool AwaitingApplication();
  // [main thread] What was sent, and when it was applied.
  [[nodiscard]] const std::vector<SentSettings>& Sent() const { return sent_; }
  // [main thread] The "ipc# ..." lines logged since this run began, the first one of each counter.
  [[nodiscard]] std::vector<std::string> AppliedLines() const;
  // [main thread] Whether a settings file was applied more than once: by another Veneer, in
  // another host, that shares this support folder (this process holds one).
  [[nodiscard]] bool AppliedByAnotherVeneer() const;

  [[nodiscard]] const companion::SupportFolder& Folder() const { return folder_; }

 private:
  struct Scheduled {
    std::size_t frame;
    TimedSettings settings;
  };

  // Writes a new settings file (seq + 1) with `changes` on top of the current one.
  bool Send(const std::vector<companion::SettingChange>& changes, const std::string& when, std::size_t frame,
            std::string* error);
  void SendScheduled(std::size_t index, std::size_t framesDone);
  void NoteApplied(std::size_t framesDone);
  // Whether the render may go on past the stop it holds at.
  bool StopDone(std::size_t stop);
  // Renews the settings file's modification time (the heartbeat); writes one when it is gone.
  bool Touch(std::string* error) const;

  companion::SupportFolder folder_;
  PluginLog log_;
  std::time_t lastWrite_ = 0;
  std::vector<Scheduled> schedule_;
  std::size_t nextScheduled_ = 0;
  bool realTime_ = true;
  std::vector<SentSettings> sent_;
  std::optional<std::size_t> heldStop_;
  double stopGiveUpAt_ = 0;
  double giveUpAt_ = 0;
  bool applies_ = true;
};

// [main thread] One line per file of the support folder: name, size, age.
std::vector<std::string> DescribeSupportFolder(const companion::SupportFolder& folder);

}  // namespace host
