// The report at the end of a render: what was hosted, what the plug-in did, and
// what the support folder holds.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "AudioStream.h"
#include "BlockReport.h"
#include "CompanionRole.h"
#include "RenderSession.h"

namespace host {

struct RunFacts {
  std::string inputName;
  std::string outputPath;
  std::string unitTitle;
  double seconds = 0;
  double sampleRate = 0;
  std::size_t channels = 0;
  UInt32 blockFrames = 0;
  UInt32 maxFrames = 0;
  bool realTime = true;
  Level inputLevel;
  Level outputLevel;
  const RenderOutcome* outcome = nullptr;
  std::size_t frames = 0;
  std::vector<BlockRun> blockRuns;
  // "强制指定的版本没找到" in the log: the forced (or preferred) variant is not installed.
  std::optional<std::string> missingVariant;
  bool missingVariantForced = false;
  std::vector<SentSettings> sent;            // one per settings file sent
  std::vector<std::string> applied;          // the plug-in's "ipc#" lines
  bool playsCompanion = false;               // this run kept the heartbeat
  std::string settingsAtStart;               // what Veneer takes from the settings file as it starts
  bool settingsPutBack = false;              // the file was put back as it was before the run
  std::optional<std::string> supportFolder;  // none: no HOME
  std::vector<std::string> supportFiles;
};

void PrintSummary(std::ostream& out, const RunFacts& facts);

}  // namespace host
