// The input meter as a host reads it (parameter 220) while blocks of known
// level go through the unit.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "RenderHarness.h"

namespace rendertest {
namespace {

// Single-precision sums over a block.
constexpr float kTolerance = 1e-5F;

class MeteringTest : public RenderTest {
 protected:
  // Every pull gives, on every channel, the constant level[pull] (the last one
  // once the list runs out).
  void FeedLevels(std::vector<float> levels) {
    source_.sample = [levels = std::move(levels)](UInt32 pull, UInt32 /*channel*/, UInt32 /*frame*/) {
      return levels[std::min<size_t>(pull, levels.size() - 1)];
    };
  }
};

TEST_F(MeteringTest, ReadsThreeTimesTheRmsOfTheDryInput) {
  FeedLevels({0.1F});
  Start();
  EXPECT_EQ(Level(), 0.0F);
  ASSERT_EQ(Render(256), noErr);
  // The inner unit halves the signal; the meter shows what came in.
  EXPECT_NEAR(Level(), 0.3F, kTolerance);
}

TEST_F(MeteringTest, SilenceDecaysTheHeldLevelByATenthPerRender) {
  FeedLevels({0.5F / 3.0F, 0.0F});
  Start();
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.5F, kTolerance);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.45F, kTolerance);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.405F, kTolerance);
}

TEST_F(MeteringTest, ABlockBelowTheHeldLevelStillDecaysIt) {
  FeedLevels({0.5F / 3.0F, 0.48F / 3.0F, 0.46F / 3.0F});
  Start();
  ASSERT_EQ(Render(256), noErr);
  ASSERT_EQ(Render(256), noErr);
  // 0.48 is not above 0.5: the meter falls to 0.45, below the block itself.
  EXPECT_NEAR(Level(), 0.45F, kTolerance);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.46F, kTolerance);
}

TEST_F(MeteringTest, LoudAndBrokenBlocksReadFullScale) {
  FeedLevels({0.4F, 0.0F});
  Start();
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(Level(), 1.0F);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.9F, kTolerance);

  source_.sample = [](UInt32 /*pull*/, UInt32 channel, UInt32 frame) {
    return channel == 1 && frame == 17 ? std::numeric_limits<float>::quiet_NaN() : 0.01F;
  };
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(Level(), 1.0F);
}

TEST_F(MeteringTest, ChannelsArePooledIntoOneLevel) {
  source_.sample = [](UInt32 /*pull*/, UInt32 channel, UInt32 /*frame*/) { return channel == 0 ? 0.2F : 0.0F; };
  Start();
  ASSERT_EQ(Render(128), noErr);
  EXPECT_NEAR(Level(), 3.0F * 0.2F / std::sqrt(2.0F), kTolerance);
}

TEST_F(MeteringTest, OnlyTheSamplesTheSourceDeliveredCount) {
  FeedLevels({0.1F});
  source_.deliveredFrames = 64;
  Start();
  ASSERT_EQ(Render(256), noErr);
  // 64 samples of 0.1, not 256 samples of which most are silence.
  EXPECT_NEAR(Level(), 0.3F, kTolerance);
}

TEST_F(MeteringTest, ARepeatedPassThroughBlockDecaysTheMeter) {
  FeedLevels({0.1F});
  Start(/*withProduct=*/false);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.3F, kTolerance);
  // The same block again is not above the held level.
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.27F, kTolerance);
}

TEST_F(MeteringTest, EmptyListsDecayLikeSilence) {
  FeedLevels({0.2F});
  Start();
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.6F, kTolerance);

  std::vector<float> loud(256, 0.3F);
  AudioBufferList withoutData{1, {{1, 256 * sizeof(float), nullptr}}};
  veneer_->UpdateAudioLevel(withoutData, 256);
  EXPECT_NEAR(Level(), 0.54F, kTolerance);
  AudioBufferList loudList{1, {{1, 256 * sizeof(float), loud.data()}}};
  veneer_->UpdateAudioLevel(loudList, 0);
  EXPECT_NEAR(Level(), 0.486F, kTolerance);
  // A buffer holding fewer bytes than the frames asked for counts what it holds.
  std::fill(loud.begin() + 1, loud.end(), 0.0F);
  AudioBufferList shortList{1, {{1, 1 * sizeof(float), loud.data()}}};
  veneer_->UpdateAudioLevel(shortList, 256);
  EXPECT_NEAR(Level(), 0.9F, kTolerance);
}

}  // namespace
}  // namespace rendertest
