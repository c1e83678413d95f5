// The shell's own input lists: one block per channel, zero-filled, placed so
// that copies to and from them stay fast. Each list remembers its blocks and
// its capacity apart from its buffers, so that a source which reshapes the
// list during a pull (another buffer count, other data pointers or byte sizes)
// cannot lose them or lead a reader outside them.
#pragma once

#include <CoreAudioTypes/CoreAudioTypes.h>

#include <cstddef>
#include <cstdint>

namespace veneer::inputblocks {

// Heap buffers of any size (the host's, the framework's element buffers) start
// 16 bytes past a 4 KiB boundary or at arbitrary 16-byte places. A copy of 4 KiB
// or more between two buffers that lie a few bytes apart modulo 4 KiB runs into
// the processor's 4 KiB aliasing and slows down several times; blocks starting
// half a page in, staggered a further 256 bytes per channel, stay clear of that.
inline constexpr size_t kPage = 4096;
inline constexpr size_t Offset(UInt32 channel) { return kPage / 2 + size_t{256} * (channel % 4); }

// One allocation holds the blocks' addresses (null where memory was short),
// then the capacity, then the list: both lie before the list, where nothing a
// source does to the list reaches them.
inline constexpr size_t kCapacityBytes = sizeof(uint64_t);

// [any thread] The number of buffers a list from New was made with, whatever
// its buffer count says now.
inline UInt32 Capacity(const AudioBufferList& list) {
  const auto* capacity = reinterpret_cast<const uint64_t*>(reinterpret_cast<const std::byte*>(&list) - kCapacityBytes);
  return static_cast<UInt32>(*capacity);
}

// [any thread] The blocks of a list from New, one per buffer it was made with.
inline void* const* Blocks(const AudioBufferList& list) {
  return reinterpret_cast<void* const*>(reinterpret_cast<const std::byte*>(&list) - kCapacityBytes -
                                        sizeof(void*) * Capacity(list));
}

// [render thread] The memory of block `channel` (below the capacity) of a list
// from New, wherever the list's buffer now points.
inline void* Block(const AudioBufferList& list, UInt32 channel) { return Blocks(list)[channel]; }

// [render thread] A list of `channels` blocks of `frames` floats, every byte
// size frames x 4; null when memory is short. Allocates: only for a list the
// render path must grow.
AudioBufferList* New(UInt32 channels, UInt32 frames);

// [any thread] Frees a list from New with its blocks; null is ignored.
void Free(AudioBufferList* list);

}  // namespace veneer::inputblocks
