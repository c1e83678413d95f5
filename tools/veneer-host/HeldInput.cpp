#include "HeldInput.h"

#include <algorithm>

namespace host {

void HeldInput::Grow(std::size_t frames) {
  if (frames > block_.size()) {
    block_.assign(frames, 0.0F);
  }
}

void HeldInput::Read(const float* samples, std::size_t frames) {
  Grow(frames);
  std::copy(samples, samples + frames, block_.begin());
  read_ = true;
}

std::vector<float> HeldInput::Replay(std::size_t frames) {
  std::vector<float> played(frames, 0.0F);
  std::copy_n(block_.begin(), std::min(frames, block_.size()), played.begin());
  // Played from the old block; the next replay reads the new one.
  Grow(frames);
  return played;
}

}  // namespace host
