#include "Summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>

namespace host {

namespace {

std::string Fixed(double value, int decimals) {
  if (std::isinf(value)) {
    return value < 0 ? "-inf" : "inf";
  }
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string LevelText(const Level& level) {
  return "peak " + Fixed(level.peakDb, 1) + " dBFS, RMS " + Fixed(level.rmsDb, 1) + " dBFS";
}

std::string Seconds(const RunFacts& facts, std::size_t frame) {
  return Fixed(static_cast<double>(std::min(frame, facts.frames)) / facts.sampleRate, 3);
}

// The plug-in's "ipc#" line holds the values as it sent them to the product (key and scale
// already divided by the product's divisors) and every value, sent or not; next to it goes
// what this run sent, in the units it was given.
std::string AppliedText(const RunFacts& facts, const std::string& line) {
  const std::size_t at = line.find("ipc# ");
  const std::string seq = at == std::string::npos ? "" : line.substr(at + 5, line.find(' ', at + 5) - at - 5);
  for (const SentSettings& sent : facts.sent) {
    if (sent.seq && std::to_string(*sent.seq) == seq) {
      return "seq " + seq + " as sent:" + sent.changes + "\n      Veneer's line, in the product's units: " + line;
    }
  }
  return "seq " + seq + ", not sent by this run\n      Veneer's line, in the product's units: " + line;
}

void PrintInner(std::ostream& out, const RunFacts& facts) {
  const RenderOutcome& outcome = *facts.outcome;
  out << "  inner unit:      ";
  if (!outcome.reportsInner) {
    out << "not reported (the unit is not Veneer)\n";
    return;
  }
  std::size_t through = 0;
  for (const BlockRun& run : facts.blockRuns) {
    through += run.throughInner ? run.lastBlock - run.firstBlock + 1 : 0;
  }
  out << "rendered " << through << " of " << outcome.stats.blocks << " blocks";
  if (outcome.innerSeenAtFrame && *outcome.innerSeenAtFrame > 0) {
    out << "; it appeared after " << Seconds(facts, *outcome.innerSeenAtFrame) << " s of audio";
  }
  out << "\n";
  for (const BlockRun& run : facts.blockRuns) {
    out << "    blocks " << run.firstBlock + 1 << "-" << run.lastBlock + 1 << " ("
        << Seconds(facts, run.firstBlock * facts.blockFrames) << "-"
        << Seconds(facts, (run.lastBlock + 1) * facts.blockFrames) << " s): "
        << (run.throughInner                            ? "through the inner unit"
            : run.cause == BypassCause::kProductRefused ? "dry input, " + CauseText(run.cause)
                                                        : "bypassed, " + CauseText(run.cause))
        << "\n";
  }
}

}  // namespace

void PrintSummary(std::ostream& out, const RunFacts& facts) {
  const RenderOutcome& outcome = *facts.outcome;
  const BlockStats& stats = outcome.stats;
  out << "veneer-host: rendered " << facts.inputName << " -> " << facts.outputPath << "\n";
  out << "  unit:            " << facts.unitTitle << "\n";
  out << "  audio:           " << Fixed(facts.seconds, 2) << " s, " << facts.channels
      << (facts.channels == 1 ? " channel, " : " channels, ") << Fixed(facts.sampleRate, 0) << " Hz, blocks of "
      << facts.blockFrames << " (maximum " << facts.maxFrames << "), " << (facts.realTime ? "real time" : "fast")
      << "\n";
  out << "  input level:     " << LevelText(facts.inputLevel) << "\n";
  out << "  output level:    " << LevelText(facts.outputLevel) << "\n";
  out << "  variant:         "
      << (!outcome.reportsInner ? "not reported (the unit is not Veneer)"
                                : (outcome.innerTitle.empty() ? "none" : outcome.innerTitle))
      << "\n";
  if (facts.missingVariant) {
    out << "  missing variant: \"" << *facts.missingVariant << "\" was "
        << (facts.missingVariantForced ? "forced" : "preferred") << " but is not installed; Veneer used "
        << (outcome.innerTitle.empty() ? "none" : outcome.innerTitle) << "\n";
  }
  PrintInner(out, facts);
  if (outcome.reportsInner) {
    out << "  settings at start: " << facts.settingsAtStart << "\n";
  }
  if (facts.playsCompanion) {
    out << "  settings sent:\n";
    for (const SentSettings& sent : facts.sent) {
      out << "    " << sent.when << ": " << sent.what;
      if (sent.seq) {
        out << "; sent at " << Seconds(facts, sent.sentAtFrame) << " s of audio, "
            << (sent.appliedAtFrame ? "applied at " + Seconds(facts, *sent.appliedAtFrame) + " s"
                                    : std::string("not applied (no ipc# line)"));
      }
      out << "\n";
    }
    out << "  settings applied" << (facts.applied.empty() ? ": none logged" : ":") << "\n";
    for (const std::string& line : facts.applied) {
      out << "    " << AppliedText(facts, line) << "\n";
    }
    if (facts.settingsPutBack) {
      out << "  settings file:   put back as it was before the run, so these settings do not carry over\n";
    }
  } else {
    out << "  settings:        none: this run left the companion's files alone (Veneer follows the application, "
           "if it runs)\n";
  }
  out << "  render:          " << stats.blocks << " blocks, " << stats.slowBlocks
      << " slow (longer than their audio), longest " << Fixed(stats.longestMs, 3) << " ms, average "
      << Fixed(stats.blocks == 0 ? 0.0 : stats.totalMs / static_cast<double>(stats.blocks), 3) << " ms";
  if (stats.failedBlocks > 0) {
    out << "; " << stats.failedBlocks << " failed (first status " << stats.firstFailure << ")";
  }
  out << "\n";
  if (!facts.supportFolder) {
    out << "  support folder:  none (HOME is not set)\n";
    return;
  }
  out << "  support folder:  " << *facts.supportFolder << (facts.supportFiles.empty() ? " (empty or missing)" : "")
      << "\n";
  for (const std::string& line : facts.supportFiles) {
    out << "    " << line << "\n";
  }
}

}  // namespace host
