// The shell's own input lists: one block per channel, zero-filled, placed so
// that copies to and from them stay fast, and remembered by the list itself so
// that a source which points the list elsewhere during a pull cannot lose them.
#pragma once

#include <CoreAudioTypes/CoreAudioTypes.h>

#include <cstddef>

namespace veneer::inputblocks {

// Heap buffers of any size (the host's, the framework's element buffers) start
// 16 bytes past a 4 KiB boundary or at arbitrary 16-byte places. A copy of 4 KiB
// or more between two buffers that lie a few bytes apart modulo 4 KiB runs into
// the processor's 4 KiB aliasing and slows down several times; blocks starting
// half a page in, staggered a further 256 bytes per channel, stay clear of that.
inline constexpr size_t kPage = 4096;
inline constexpr size_t Offset(UInt32 channel) { return kPage / 2 + size_t{256} * (channel % 4); }

// The list's blocks, kept right behind its buffers (null where memory was
// short); each block lies Offset(channel) into its allocation.
inline size_t BlocksOffset(UInt32 buffers) {
  return offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * buffers;
}
inline void* const* Blocks(const AudioBufferList& list) {
  return reinterpret_cast<void* const*>(reinterpret_cast<const std::byte*>(&list) + BlocksOffset(list.mNumberBuffers));
}

// [render thread] A list of `channels` blocks of `frames` floats, every byte
// size frames x 4; null when memory is short. Allocates: only for a list the
// render path must grow.
AudioBufferList* New(UInt32 channels, UInt32 frames);

// [any thread] Frees a list from New with its blocks; null is ignored.
void Free(AudioBufferList* list);

// [render thread] The memory of block `channel` of a list from New, wherever
// the list's buffer now points.
inline void* Block(const AudioBufferList& list, UInt32 channel) { return Blocks(list)[channel]; }

}  // namespace veneer::inputblocks
