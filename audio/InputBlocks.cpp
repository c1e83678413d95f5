#include "audio/InputBlocks.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace veneer::inputblocks {
namespace {

size_t ListOffset(UInt32 buffers) { return sizeof(void*) * buffers + kCapacityBytes; }

}  // namespace

AudioBufferList* New(UInt32 channels, UInt32 frames) {
  const size_t listBytes = offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * channels;
  auto* memory = static_cast<std::byte*>(std::calloc(1, ListOffset(channels) + listBytes));
  if (memory == nullptr) {
    return nullptr;
  }
  auto** blocks = reinterpret_cast<void**>(memory);
  *reinterpret_cast<uint64_t*>(memory + sizeof(void*) * channels) = channels;
  auto* list = reinterpret_cast<AudioBufferList*>(memory + ListOffset(channels));
  list->mNumberBuffers = channels;
  const size_t bytes = size_t{frames} * sizeof(float);
  for (UInt32 i = 0; i < channels; ++i) {
    void* allocation = nullptr;
    AudioBuffer& buffer = list->mBuffers[i];
    buffer.mNumberChannels = 1;
    if (posix_memalign(&allocation, kPage, Offset(i) + bytes) == 0) {
      buffer.mData = static_cast<std::byte*>(allocation) + Offset(i);
      blocks[i] = buffer.mData;
      std::memset(buffer.mData, 0, bytes);
      buffer.mDataByteSize = static_cast<UInt32>(bytes);
    }
  }
  return list;
}

void Free(AudioBufferList* list) {
  if (list == nullptr) {
    return;
  }
  const UInt32 capacity = Capacity(*list);
  for (UInt32 i = 0; i < capacity; ++i) {
    if (void* block = Block(*list, i); block != nullptr) {
      std::free(static_cast<std::byte*>(block) - Offset(i));
    }
  }
  std::free(reinterpret_cast<std::byte*>(list) - ListOffset(capacity));
}

}  // namespace veneer::inputblocks
