// What Veneer plays when it is bypassed (by the host's switch, by the companion
// application gone, or for want of a product): it reads no input and plays its
// own input blocks again, which hold the last block it read. The blocks are as
// long as the longest render so far; past what they hold comes silence, and a
// render longer than they are leaves them new and silent.
#pragma once

#include <cstddef>
#include <vector>

namespace host {

class HeldInput {
 public:
  // [main thread] The unit read `frames` samples of its input into the start of its block.
  void Read(const float* samples, std::size_t frames);
  // [main thread] What a render of `frames` that read nothing plays again: the held block,
  // silence past its end.
  std::vector<float> Replay(std::size_t frames);
  // [main thread] Whether the unit has read anything it could play again.
  [[nodiscard]] bool Holds() const { return read_; }

 private:
  // A render longer than the block gets a new, silent one.
  void Grow(std::size_t frames);

  std::vector<float> block_;
  bool read_ = false;
};

}  // namespace host
