#include "audio/InputBlocks.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace veneer::inputblocks {
namespace {

void** Blocks(AudioBufferList& list) {
  return reinterpret_cast<void**>(reinterpret_cast<std::byte*>(&list) + BlocksOffset(list.mNumberBuffers));
}

}  // namespace

AudioBufferList* New(UInt32 channels, UInt32 frames) {
  auto* list = static_cast<AudioBufferList*>(std::calloc(1, BlocksOffset(channels) + sizeof(void*) * channels));
  if (list == nullptr) {
    return nullptr;
  }
  list->mNumberBuffers = channels;
  const size_t bytes = size_t{frames} * sizeof(float);
  for (UInt32 i = 0; i < channels; ++i) {
    void* allocation = nullptr;
    AudioBuffer& buffer = list->mBuffers[i];
    buffer.mNumberChannels = 1;
    if (posix_memalign(&allocation, kPage, Offset(i) + bytes) == 0) {
      buffer.mData = static_cast<std::byte*>(allocation) + Offset(i);
      Blocks(*list)[i] = buffer.mData;
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
  for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
    if (void* block = Blocks(*list)[i]; block != nullptr) {
      std::free(static_cast<std::byte*>(block) - Offset(i));
    }
  }
  std::free(list);
}
}  // namespace veneer::inputblocks
