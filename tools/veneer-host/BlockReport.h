// Which blocks of a render went through Veneer's inner unit and which took its
// bypass path, and why, told from what the host saw.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "RenderSession.h"

namespace host {

struct BlockRun {
  std::size_t firstBlock = 0;  // counted from 0
  std::size_t lastBlock = 0;
  bool throughInner = false;
  BypassCause cause = BypassCause::kNone;  // kNone on a bypassed run: no cause seen
};

// Consecutive blocks of one kind. A block counts as rendered by the inner unit when Veneer
// read the host's audio in it and its product did not refuse it; the very first block,
// which Veneer reads either way, counts as bypassed when a cause held as it began (the
// render waits for the link's first pass). A bypassed block is labelled with the cause in
// force as it was rendered, never with one that came later.
std::vector<BlockRun> ClassifyBlocks(const RenderOutcome& outcome, std::size_t blockFrames);

// "companion gone: the settings file is 10 s old or more" and the like.
std::string CauseText(BypassCause cause);

}  // namespace host
