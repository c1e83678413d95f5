// A validation run in the manner of the platform's own validator: a component
// is opened, questioned, configured and rendered in the ways hosts do, and each
// check reports pass or fail with what it saw.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct CheckResult {
  bool passed = true;
  std::string detail;
};

// What the command around a validation does between its checks.
struct ValidationHooks {
  // [main thread] Called before each check and within long ones (it keeps the companion's
  // heartbeat fresh); false ends the run there (Ctrl-C).
  std::function<bool()> goOn = [] { return true; };
  // Whether the host plays the companion application, so that only a missing product
  // makes Veneer bypass.
  bool companionPlayed = false;
};

class ValidationUnit;

class Validator {
 public:
  // [main thread] `out` receives one line per check as it completes.
  Validator(AudioComponent component, std::ostream& out, ValidationHooks hooks = {});

  // [main thread] Every check in turn; true when all passed.
  bool RunAll();
  // [main thread] How many checks ran, and whether the hooks ended the run before the last.
  [[nodiscard]] int ChecksRun() const { return passed_ + failed_; }
  [[nodiscard]] bool Interrupted() const { return interrupted_; }

 private:
  using Check = std::function<CheckResult()>;
  void Run(const std::string& name, const Check& check);
  // Asks the hooks whether to go on; remembers a no.
  bool GoOn();
  // One line on whether Veneer's inner unit rendered in the render checks (nothing for other units).
  void ReportInnerUnit();

  CheckResult OpenTimes();
  CheckResult RequiredProperties();
  CheckResult DefaultFormatsAndChannels();
  // How the output of the blocks a check rendered went.
  struct Followed {
    std::optional<std::string> problem;  // the first one, or nothing
    int blocks = 0;
    int replayed = 0;  // blocks in which Veneer read nothing and played its last block read again
    int passed = 0;    // blocks in which it played the input unchanged
  };
  // Renders `blocks` blocks of each size in turn, counting them for the inner unit's line when
  // `counted`, and checks that the output follows the input, or for Veneer that a block in which
  // it read nothing plays the block it read last again (while `bypassed`, the host's switch on,
  // that its first block plays the input unchanged and every later one plays that block again).
  Followed RenderFollowing(ValidationUnit& unit, const std::vector<UInt32>& sizes, int blocks, bool counted = true,
                           bool bypassed = false);
  // A check's result from the blocks it rendered: `detail`, and how many Veneer replayed.
  static CheckResult FromFollowed(const Followed& followed, std::string detail);
  CheckResult RenderAt(UInt32 frames, double sampleRate, UInt32 channels);
  CheckResult SlicedRenders();
  CheckResult TooManyFrames();
  CheckResult MaximumFramesChanged();
  CheckResult ResetBetweenRenders();
  CheckResult ParametersSetAndScheduled();
  CheckResult Midi();
  CheckResult ClassInfoRoundTrip();
  CheckResult RandomStateRefused();
  CheckResult RepeatedOpenClose();
  CheckResult HostBypass();

  AudioComponent component_;
  std::ostream& out_;
  ValidationHooks hooks_;
  bool interrupted_ = false;
  // The unit is Veneer (it hands out an inner unit): bypassed, it reads no input and plays the
  // block it read last again.
  bool isVeneer_ = false;
  int passed_ = 0;
  int failed_ = 0;
  // Over the checks that render plainly: blocks after each instance's first, and those in
  // which the unit read its input (Veneer does only through its inner unit).
  int countedBlocks_ = 0;
  int readingBlocks_ = 0;
};

}  // namespace host
