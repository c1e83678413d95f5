// Veneer's window, decided: follows Veneer's inner unit through its 'vniu'
// announcements, watches which way its renders go and what the support folder
// says, and keeps a WindowSurface showing the plan. It reaches Veneer only
// through the component API and the support folder, as any view would.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <memory>

#include "RenderWatch.h"
#include "SupportFacts.h"
#include "WindowPlan.h"
#include "WindowSurface.h"

namespace veneerview {

class WindowController {
 public:
  // Where the support folder is read: on a thread of its own (a window, whose
  // main thread must never wait on a file), or inline in Refresh (the tests and
  // the command-line host).
  enum class FileReading { kOnWatchThread, kInline };

  // [main thread] Starts listening to `veneer`'s inner unit and watching its
  // renders, and brings `surface` up to date once.
  WindowController(AudioUnit veneer, WindowSurface& surface, FileReading reading = FileReading::kOnWatchThread);
  // [main thread] Removes the embedded view first, then every listener and watch.
  ~WindowController();
  WindowController(const WindowController&) = delete;
  WindowController& operator=(const WindowController&) = delete;

  // [main thread] Reads everything again and brings the surface up to date:
  // a timer calls it a few times a second.
  void Refresh();
  // [main thread] The plan the surface shows now.
  [[nodiscard]] const WindowPlan& Plan() const { return shown_; }
  // [main thread] The facts it was made from.
  [[nodiscard]] const WindowFacts& Facts() const { return facts_; }

 private:
  // [any thread] Veneer's 'vniu' announcement.
  static void InnerUnitAnnounced(void* refCon, AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                                 AudioUnitElement element);
  // [main thread] Removes the embedded view and stops watching its unit.
  void TearDown();
  // [main thread] Posts a Refresh to the main queue; it finds the controller gone safely.
  void PostRefresh();

  AudioUnit veneer_;
  WindowSurface& surface_;
  RenderWatch renders_;
  std::unique_ptr<SupportWatch> supportWatch_;  // null when reading inline
  AudioUnit embedded_ = nullptr;
  WindowFacts facts_;
  WindowPlan shown_;

  // Reaches the controller from posted work, safely after it is gone.
  struct Token {
    WindowController* self = nullptr;  // main thread only
  };
  std::shared_ptr<Token> token_;
};

}  // namespace veneerview
