// A validation run in the manner of the platform's own validator: a component
// is opened, questioned, configured and rendered in the ways hosts do, and each
// check reports pass or fail with what it saw.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace host {

struct CheckResult {
  bool passed = true;
  std::string detail;
};

class Validator {
 public:
  // [main thread] `out` receives one line per check as it completes.
  Validator(AudioComponent component, std::ostream& out);

  // [main thread] Every check in turn; true when all passed.
  bool RunAll();

 private:
  using Check = std::function<CheckResult()>;
  void Run(const std::string& name, const Check& check);

  CheckResult OpenTimes();
  CheckResult RequiredProperties();
  CheckResult DefaultFormatsAndChannels();
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

  AudioComponent component_;
  std::ostream& out_;
  int passed_ = 0;
  int failed_ = 0;
};

}  // namespace host
