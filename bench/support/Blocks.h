// Plain channel blocks and the copies that make up the floors the render
// figures are held against: what a copy of one block costs, with nothing else.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace bench {

class Blocks {
 public:
  Blocks(UInt32 channels, UInt32 frames, float value = 0.25F) {
    for (UInt32 c = 0; c < channels; ++c) {
      // Each block starts a quarter page further into its page than the one
      // made before it. Heap blocks made back to back may lie a multiple of
      // 4 KiB (plus a few bytes) apart, where `rep movsb` copies run many
      // times slower on some processors; the floor is the copy without that accident.
      const size_t offset = (nextSlot_++ % kSlots) * kSlotFloats;
      const size_t bytes = (offset + frames) * sizeof(float);
      Memory memory(static_cast<float*>(std::aligned_alloc(kPage, (bytes + kPage - 1) / kPage * kPage)));
      std::fill_n(memory.get() + offset, frames, value);
      channels_.push_back({std::move(memory), offset});
    }
  }

  // Copies the first `frames` samples of every channel of `source`, as the
  // shell's copies do: one memcpy per channel.
  void CopyFrom(const Blocks& source, UInt32 frames) {
    for (size_t c = 0; c < channels_.size(); ++c) {
      float* to = Data(c);
      std::memcpy(to, source.Data(c), frames * sizeof(float));
      // The copy is observed: the compiler may neither drop nor merge it.
      asm volatile("" : : "r"(to) : "memory");
    }
  }

 private:
  struct Free {
    void operator()(float* memory) const { std::free(memory); }
  };
  using Memory = std::unique_ptr<float, Free>;
  struct Channel {
    Memory memory;
    size_t offset;
  };

  static constexpr size_t kPage = 4096;
  static constexpr size_t kSlots = 4;
  static constexpr size_t kSlotFloats = kPage / kSlots / sizeof(float);
  static inline size_t nextSlot_ = 0;

  [[nodiscard]] float* Data(size_t channel) const {
    return channels_[channel].memory.get() + channels_[channel].offset;
  }

  std::vector<Channel> channels_;
};

}  // namespace bench
