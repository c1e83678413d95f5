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

class ValidationUnit;

class Validator {
 public:
  // [main thread] `out` receives one line per check as it completes.
  Validator(AudioComponent component, std::ostream& out);

  // [main thread] Every check in turn; true when all passed.
  bool RunAll();

 private:
  using Check = std::function<CheckResult()>;
  void Run(const std::string& name, const Check& check);
  // One line on whether Veneer's inner unit rendered in the render checks (nothing for other units).
  void ReportInnerUnit();

  CheckResult OpenTimes();
  CheckResult RequiredProperties();
  CheckResult DefaultFormatsAndChannels();
  // Renders `blocks` blocks of each size in turn, counting them for the inner unit's line when
  // `counted`, and checks that the output follows the input; the first problem, or nothing.
  std::optional<std::string> RenderFollowing(ValidationUnit& unit, const std::vector<UInt32>& sizes, int blocks,
                                             bool counted = true);
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
  int passed_ = 0;
  int failed_ = 0;
  // Over the checks that render plainly: blocks after each instance's first, and those in
  // which the unit read its input (Veneer does only through its inner unit).
  int countedBlocks_ = 0;
  int readingBlocks_ = 0;
};

}  // namespace host
