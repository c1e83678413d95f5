#include "ausdk/AUBuffer.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "ausdk/AUUtility.h"

namespace ausdk {

AudioBufferList& AllocatedBuffer::Prepare(UInt32 channelsPerBuffer, UInt32 bytesPerBuffer, UInt32 buffers) {
  mBufferList.mNumberBuffers = buffers;
  std::byte* data = mBufferData;
  for (UInt32 i = 0; i < buffers; ++i) {
    AudioBuffer& buffer = mBufferList.mBuffers[i];
    buffer.mNumberChannels = channelsPerBuffer;
    buffer.mDataByteSize = bytesPerBuffer;
    buffer.mData = data;
    data += mMaximumBytesPerBuffer;
  }
  return mBufferList;
}

AudioBufferList& AllocatedBuffer::PrepareNull(UInt32 channelsPerBuffer, UInt32 bytesPerBuffer, UInt32 buffers) {
  mBufferList.mNumberBuffers = buffers;
  for (UInt32 i = 0; i < buffers; ++i) {
    AudioBuffer& buffer = mBufferList.mBuffers[i];
    buffer.mNumberChannels = channelsPerBuffer;
    buffer.mDataByteSize = bytesPerBuffer;
    buffer.mData = nullptr;
  }
  return mBufferList;
}

BufferAllocator& BufferAllocator::instance() {
  static BufferAllocator allocator;
  return allocator;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): reached through instance()
AllocatedBuffer* BufferAllocator::Allocate(UInt32 numberBuffers, UInt32 maxBytesPerBuffer, UInt32 reservedFlags) {
  if (numberBuffers > kMaximumBuffers) {
    throw std::out_of_range("AudioBuffers::Allocate: Too many buffers");
  }
  const uint64_t roundedBytes = (static_cast<uint64_t>(maxBytesPerBuffer) + 15U) & ~uint64_t{15};
  const uint64_t dataSize = roundedBytes * numberBuffers;
  if (dataSize > 0xFFFFFFFFULL) {
    LogError("AUBuffer throwing bad_alloc");
    throw std::bad_alloc();
  }
  // One entry's room is part of the record; the others follow it.
  const UInt32 entries = numberBuffers > 0 ? numberBuffers : 1;
  const size_t headerSize = sizeof(AllocatedBuffer) + (entries - 1) * sizeof(AudioBuffer);
  auto* record = static_cast<AllocatedBuffer*>(std::calloc(1, headerSize));
  if (record == nullptr) {
    throw std::bad_alloc();
  }
  std::byte* data = nullptr;
  if (dataSize > 0) {
    data = static_cast<std::byte*>(std::aligned_alloc(16, static_cast<size_t>(dataSize)));
    if (data == nullptr) {
      std::free(record);
      throw std::bad_alloc();
    }
    std::memset(data, 0, static_cast<size_t>(dataSize));
  }
  record->mMaximumNumberBuffers = numberBuffers;
  record->mMaximumBytesPerBuffer = static_cast<UInt32>(roundedBytes);
  record->mReservedFlags = reservedFlags;
  record->mHeaderSize = static_cast<UInt32>(headerSize);
  record->mBufferDataSize = static_cast<size_t>(dataSize);
  record->mBufferData = data;
  record->mBufferList.mNumberBuffers = numberBuffers;
  return record;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): reached through instance()
void BufferAllocator::Deallocate(AllocatedBuffer* allocatedBuffer) {
  if (allocatedBuffer == nullptr) {
    return;
  }
  std::free(allocatedBuffer->mBufferData);
  std::free(allocatedBuffer);
}

void AUBufferList::Allocate(const AudioStreamBasicDescription& format, UInt32 nFrames, bool withData) {
  const UInt32 streams = NumberChannelStreams(format);
  const uint64_t bytesPerStream = static_cast<uint64_t>(nFrames) * format.mBytesPerFrame;
  if (bytesPerStream > 0xFFFFFFFFULL) {
    LogError("AUBuffer throwing bad_alloc");
    throw std::bad_alloc();
  }
  const auto bytes = static_cast<UInt32>(bytesPerStream);
  const bool hasData = HasData();
  if (mBuffers != nullptr && streams == mAllocatedStreams && bytes == mAllocatedBytesPerStream &&
      hasData == (withData && bytes > 0 && streams > 0)) {
    mAllocatedFrames = nFrames;
    return;
  }
  Deallocate();
  mBuffers = BufferAllocator::instance().Allocate(streams, withData ? bytes : 0, 0);
  mAllocatedStreams = streams;
  mAllocatedBytesPerStream = bytes;
  mAllocatedFrames = nFrames;
  mPtrState = PtrState::Invalid;
}

void AUBufferList::Deallocate() {
  BufferAllocator::instance().Deallocate(mBuffers);
  mBuffers = nullptr;
  mAllocatedStreams = 0;
  mAllocatedFrames = 0;
  mAllocatedBytesPerStream = 0;
  mPtrState = PtrState::Invalid;
}

OSStatus AUBufferList::PrepareBufferOrError(const AudioStreamBasicDescription& format, UInt32 nFrames,
                                            AudioBufferList*& outList) {
  const UInt32 streams = NumberChannelStreams(format);
  if (mBuffers == nullptr || nFrames > mAllocatedFrames || streams > mBuffers->mMaximumNumberBuffers) {
    return kAudioUnitErr_TooManyFramesToProcess;
  }
  const UInt32 bytes = nFrames * format.mBytesPerFrame;
  if (bytes > mBuffers->mMaximumBytesPerBuffer || (bytes > 0 && mBuffers->mBufferData == nullptr)) {
    return kAudioUnitErr_TooManyFramesToProcess;
  }
  outList = &mBuffers->Prepare(NumberInterleavedChannels(format), bytes, streams);
  mPtrState = PtrState::ToMyMemory;
  return noErr;
}

OSStatus AUBufferList::PrepareNullBufferOrError(const AudioStreamBasicDescription& format, UInt32 nFrames,
                                                AudioBufferList*& outList) {
  const UInt32 streams = NumberChannelStreams(format);
  if (mBuffers == nullptr || nFrames > mAllocatedFrames || streams > mBuffers->mMaximumNumberBuffers) {
    return kAudioUnitErr_TooManyFramesToProcess;
  }
  outList = &mBuffers->PrepareNull(NumberInterleavedChannels(format), nFrames * format.mBytesPerFrame, streams);
  mPtrState = PtrState::ToExternalMemory;
  return noErr;
}

AudioBufferList& AUBufferList::PrepareBuffer(const AudioStreamBasicDescription& format, UInt32 nFrames) {
  AudioBufferList* list = nullptr;
  const OSStatus status = PrepareBufferOrError(format, nFrames, list);
  ThrowQuietIf(status != noErr, status);
  return *list;
}

AudioBufferList& AUBufferList::PrepareNullBuffer(const AudioStreamBasicDescription& format, UInt32 nFrames) {
  AudioBufferList* list = nullptr;
  const OSStatus status = PrepareNullBufferOrError(format, nFrames, list);
  ThrowQuietIf(status != noErr, status);
  return *list;
}

}  // namespace ausdk
