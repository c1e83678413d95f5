#include "BlockReport.h"

namespace host {

namespace {

// The cause in force at `frame`; when none was seen there, the next one seen after it,
// since the host samples causes later than the plug-in acts on them.
BypassCause CauseAt(const std::vector<CauseChange>& causes, std::size_t frame) {
  BypassCause current = BypassCause::kNone;
  std::size_t next = 0;
  for (; next < causes.size() && causes[next].frame <= frame; ++next) {
    current = causes[next].cause;
  }
  for (; current == BypassCause::kNone && next < causes.size(); ++next) {
    current = causes[next].cause;
  }
  return current;
}

}  // namespace

std::vector<BlockRun> ClassifyBlocks(const RenderOutcome& outcome, std::size_t blockFrames) {
  std::vector<BlockRun> runs;
  const std::vector<bool>& pulled = outcome.pulledInput;
  for (std::size_t block = 0; block < pulled.size(); ++block) {
    bool through = pulled[block];
    BypassCause cause = through ? BypassCause::kNone : CauseAt(outcome.causes, block * blockFrames);
    if (block == 0) {
      cause = outcome.causes.empty() ? BypassCause::kNone : outcome.causes.front().cause;
      through = cause == BypassCause::kNone;
    }
    // Read by Veneer, but refused by its product: the dry input, not the product's audio.
    if (through && block < outcome.innerRefused.size() && outcome.innerRefused[block]) {
      through = false;
      cause = BypassCause::kProductRefused;
    }
    if (!runs.empty() && runs.back().throughInner == through && runs.back().cause == cause) {
      runs.back().lastBlock = block;
    } else {
      runs.push_back({block, block, through, cause});
    }
  }
  return runs;
}

std::string CauseText(BypassCause cause) {
  switch (cause) {
    case BypassCause::kHost:
      return "the host's bypass";
    case BypassCause::kNoProduct:
      return "no product (no inner unit)";
    case BypassCause::kCompanionMissing:
      return "companion gone: no settings file";
    case BypassCause::kCompanionStale:
      return "companion gone: the heartbeat (settings file) is 10 s old or more";
    case BypassCause::kQuitMarker:
      return "companion gone: quit marker appRunning=0";
    case BypassCause::kProductRefused:
      return "the product refused to render the block";
    case BypassCause::kNone:
      break;
  }
  return "cause not seen by the host";
}

}  // namespace host
