// The shell's input lists: where their blocks lie, what they hold when new,
// and that each block stays findable when a source points its buffer elsewhere.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "audio/InputBlocks.h"

namespace {

namespace inputblocks = veneer::inputblocks;

TEST(InputBlocks, BlocksStartHalfAPageInStaggeredPerChannelAndZeroed) {
  constexpr UInt32 kChannels = 6;
  constexpr UInt32 kFrames = 1024;
  AudioBufferList* list = inputblocks::New(kChannels, kFrames);
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->mNumberBuffers, kChannels);
  const std::vector<uintptr_t> expected{2048, 2304, 2560, 2816, 2048, 2304};
  for (UInt32 c = 0; c < kChannels; ++c) {
    const AudioBuffer& buffer = list->mBuffers[c];
    EXPECT_EQ(buffer.mNumberChannels, 1U);
    EXPECT_EQ(buffer.mDataByteSize, kFrames * sizeof(float));
    ASSERT_NE(buffer.mData, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.mData) % 4096, expected[c]) << "channel " << c;
    EXPECT_EQ(inputblocks::Block(*list, c), buffer.mData);
    const auto* samples = static_cast<const float*>(buffer.mData);
    EXPECT_EQ(std::vector<float>(samples, samples + kFrames), std::vector<float>(kFrames, 0.0F)) << "channel " << c;
  }
  inputblocks::Free(list);
}

TEST(InputBlocks, ABlockIsFoundThroughTheListWhereverItsBufferPointsAndWhateverItsCount) {
  AudioBufferList* list = inputblocks::New(2, 64);
  ASSERT_NE(list, nullptr);
  void* const first = list->mBuffers[0].mData;
  void* const second = list->mBuffers[1].mData;
  std::vector<float> elsewhere(64);
  list->mBuffers[0].mData = elsewhere.data();
  list->mBuffers[1].mData = nullptr;
  for (const UInt32 count : {2U, 1U, 0U, 1000U}) {
    list->mNumberBuffers = count;
    EXPECT_EQ(inputblocks::Capacity(*list), 2U) << "count " << count;
    EXPECT_EQ(inputblocks::Block(*list, 0), first) << "count " << count;
    EXPECT_EQ(inputblocks::Block(*list, 1), second) << "count " << count;
  }
  // Freed from the blocks it was made with, not from where the buffers point
  // now: the leak and address checks of the sanitizer runs see to that.
  inputblocks::Free(list);
  inputblocks::Free(nullptr);
}

}  // namespace
