// Audio buffers of IO elements: allocated once per format and frame count,
// then prepared for each render without allocating.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstddef>
#include <cstdint>

namespace ausdk {

// Memory for up to mMaximumNumberBuffers buffers of mMaximumBytesPerBuffer
// bytes each, and a buffer list with room for that many entries.
struct AllocatedBuffer {
  UInt32 mMaximumNumberBuffers;
  UInt32 mMaximumBytesPerBuffer;  // a multiple of 16
  UInt32 mReservedFlags;
  UInt32 mHeaderSize;           // bytes of this record and its buffer list
  size_t mBufferDataSize;       // bytes of mBufferData
  std::byte* mBufferData;       // zero-filled; null when no data was asked for
  AudioBufferList mBufferList;  // followed by room for its other entries

  // Points the list at this record's memory: `buffers` buffers of `bytesPerBuffer`.
  AudioBufferList& Prepare(UInt32 channelsPerBuffer, UInt32 bytesPerBuffer, UInt32 buffers);
  // Sizes the list with null data pointers, for a source to fill in.
  AudioBufferList& PrepareNull(UInt32 channelsPerBuffer, UInt32 bytesPerBuffer, UInt32 buffers);
};

class BufferAllocator {
 public:
  static constexpr UInt32 kMaximumBuffers = 4096;

  // [any thread]
  static BufferAllocator& instance();

  // Throws std::out_of_range for more than 4096 buffers and std::bad_alloc when
  // the data would not fit in 32 bits of bytes or memory runs out.
  // Members, reached through instance(), though they keep no state today.
  AllocatedBuffer* Allocate(UInt32 numberBuffers, UInt32 maxBytesPerBuffer, UInt32 reservedFlags);
  void Deallocate(AllocatedBuffer* allocatedBuffer);
};

// The buffer list of one IO element and what it points at.
class AUBufferList {
 public:
  enum class PtrState : uint8_t { Invalid = 0, ToMyMemory = 1, ToExternalMemory = 2 };

  AUBufferList() = default;
  AUBufferList(const AUBufferList&) = delete;
  AUBufferList& operator=(const AUBufferList&) = delete;
  ~AUBufferList() { Deallocate(); }

  // Room for `nFrames` of `format`, with data memory only when `withData`.
  void Allocate(const AudioStreamBasicDescription& format, UInt32 nFrames, bool withData = true);
  void Deallocate();

  // [render thread] No allocation: 0, or an error when the frames exceed the room.
  OSStatus PrepareBufferOrError(const AudioStreamBasicDescription& format, UInt32 nFrames, AudioBufferList*& outList);
  OSStatus PrepareNullBufferOrError(const AudioStreamBasicDescription& format, UInt32 nFrames,
                                    AudioBufferList*& outList);
  // Throwing forms of the above.
  AudioBufferList& PrepareBuffer(const AudioStreamBasicDescription& format, UInt32 nFrames);
  AudioBufferList& PrepareNullBuffer(const AudioStreamBasicDescription& format, UInt32 nFrames);

  // [render thread] Copies the caller's list (header and entries) in and marks
  // it as pointing to outside memory; -1 when there is not room for it.
  // Inline: every render of a unit given the caller's buffers does this.
  OSStatus SetBufferListOrError(const AudioBufferList& abl) {
    if (mBuffers == nullptr || mBuffers->mMaximumNumberBuffers < abl.mNumberBuffers) {
      return -1;
    }
    AudioBufferList& own = mBuffers->mBufferList;
    own.mNumberBuffers = abl.mNumberBuffers;
    // Field by field: lists have a buffer or two, too few for a call to memcpy
    // to pay, and a whole-entry loop is turned into one.
    for (UInt32 i = 0; i < abl.mNumberBuffers; ++i) {
      own.mBuffers[i].mNumberChannels = abl.mBuffers[i].mNumberChannels;
      own.mBuffers[i].mDataByteSize = abl.mBuffers[i].mDataByteSize;
      own.mBuffers[i].mData = abl.mBuffers[i].mData;
    }
    mPtrState = PtrState::ToExternalMemory;
    return noErr;
  }
  void InvalidateBufferList() { mPtrState = PtrState::Invalid; }

  [[nodiscard]] bool IsValid() const { return mPtrState != PtrState::Invalid && mBuffers != nullptr; }
  [[nodiscard]] PtrState GetPtrState() const { return mPtrState; }
  // The list in whatever state it is; null before Allocate.
  [[nodiscard]] AudioBufferList* GetBufferList() const { return mBuffers ? &mBuffers->mBufferList : nullptr; }
  [[nodiscard]] UInt32 GetAllocatedFrames() const { return mAllocatedFrames; }
  [[nodiscard]] UInt32 GetAllocatedStreams() const { return mAllocatedStreams; }
  [[nodiscard]] bool HasData() const { return mBuffers != nullptr && mBuffers->mBufferData != nullptr; }

  // Channel streams of a format: its channels when non-interleaved, else 1.
  // Inline: every render asks.
  static UInt32 NumberChannelStreams(const AudioStreamBasicDescription& format) {
    return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0 ? format.mChannelsPerFrame : 1;
  }
  static UInt32 NumberInterleavedChannels(const AudioStreamBasicDescription& format) {
    return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0 ? 1 : format.mChannelsPerFrame;
  }

 private:
  AllocatedBuffer* mBuffers = nullptr;
  PtrState mPtrState = PtrState::Invalid;
  UInt32 mAllocatedStreams = 0;
  UInt32 mAllocatedFrames = 0;
  UInt32 mAllocatedBytesPerStream = 0;
};

}  // namespace ausdk
