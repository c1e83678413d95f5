#include "BlockReport.h"

namespace host {

namespace {

// The cause in force for the block from `frame` to `end`: the last one seen at or before
// its start. When that is none, the host may only have looked too late: a cause first seen
// at the host's first look after the block counts for it, one seen later does not.
BypassCause CauseAt(const std::vector<CauseChange>& causes, std::size_t frame, std::size_t end) {
  BypassCause current = BypassCause::kNone;
  std::size_t next = 0;
  for (; next < causes.size() && causes[next].frame <= frame; ++next) {
    current = causes[next].cause;
  }
  if (current == BypassCause::kNone && next < causes.size() && causes[next].lookBefore < end) {
    current = causes[next].cause;
  }
  return current;
}

void Append(std::vector<BlockRun>& runs, std::size_t block, bool through, BypassCause cause) {
  if (!runs.empty() && runs.back().throughInner == through && runs.back().cause == cause &&
      runs.back().lastBlock + 1 == block) {
    runs.back().lastBlock = block;
  } else {
    runs.push_back({block, block, through, cause});
  }
}

}  // namespace

std::vector<BlockRun> ClassifyBlocks(const RenderOutcome& outcome, std::size_t blockFrames) {
  std::vector<BlockRun> runs;
  for (const BlockSpan& span : outcome.spans) {
    for (std::size_t block = span.firstBlock; block <= span.lastBlock; ++block) {
      bool through = span.pulledInput;
      BypassCause cause =
          through ? BypassCause::kNone : CauseAt(outcome.causes, block * blockFrames, (block + 1) * blockFrames);
      if (block == 0) {
        cause = outcome.causes.empty() ? BypassCause::kNone : outcome.causes.front().cause;
        through = cause == BypassCause::kNone;
      }
      // Read by Veneer, but refused by its product: the dry input, not the product's audio.
      if (through && span.innerRefused) {
        through = false;
        cause = BypassCause::kProductRefused;
      }
      if (through && !runs.empty() && runs.back().throughInner && runs.back().lastBlock + 1 == block) {
        runs.back().lastBlock = span.lastBlock;  // the rest of a span through the product
        break;
      }
      Append(runs, block, through, cause);
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
