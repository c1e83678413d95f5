// The input meter as a host reads it (parameter 220) while blocks of known
// level go through the unit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
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

// A pass-through replays the last pulled block: measured again only when
// something it depends on changed. Here the block grows from the 64 samples the
// source delivered to the full 256 of the replay, which measures lower (0.15).
TEST_F(MeteringTest, AReplayedBlockIsMeasuredAsItIsNowNotAsItWasPulled) {
  FeedLevels({0.1F});
  source_.deliveredFrames = 64;
  Start();
  ASSERT_EQ(Render(256), noErr);
  EXPECT_NEAR(Level(), 0.3F, kTolerance);
  ASSERT_EQ(SetHostBypass(true), noErr);
  for (const float expected : {0.27F, 0.243F, 0.2187F, 0.19683F, 0.177147F, 0.159432F, 0.143489F, 0.15F, 0.135F}) {
    ASSERT_EQ(Render(256), noErr);
    EXPECT_NEAR(Level(), expected, kTolerance);
  }
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

// The sum of squares is kept in single precision, in partial sums of our
// choosing: against a double-precision reference the level may be off by at
// most (n / 16 + 16) units of 2^-24 relative, n the samples of all channels
// (each of sixteen partial sums adds n / 16 squares, the rest is a few
// roundings), and a sum that lost or doubled any sample is off by far more.
TEST_F(MeteringTest, PartialSumsStayWithinTheirBoundOfTheExactLevel) {
  std::mt19937 random(20261124);
  std::uniform_real_distribution<float> sample(-0.3F, 0.3F);
  for (const UInt32 frames : {1U, 7U, 8U, 9U, 31U, 128U, 1023U, 4096U}) {
    for (const UInt32 channels : {1U, 2U, 3U}) {
      std::vector<std::vector<float>> blocks(channels, std::vector<float>(frames));
      double sum = 0.0;
      for (auto& block : blocks) {
        for (float& value : block) {
          value = sample(random);
          sum += static_cast<double>(value) * value;
        }
      }
      std::vector<std::byte> storage(offsetof(AudioBufferList, mBuffers) + channels * sizeof(AudioBuffer));
      auto* list = reinterpret_cast<AudioBufferList*>(storage.data());
      list->mNumberBuffers = channels;
      for (UInt32 c = 0; c < channels; ++c) {
        list->mBuffers[c] = {1, static_cast<UInt32>(frames * sizeof(float)), blocks[c].data()};
      }
      const auto samples = static_cast<double>(frames) * channels;
      const double exact = std::sqrt(sum / samples) * 3.0;
      const shelltest::HostedVeneer fresh;  // holds no level yet, so it shows this block's
      fresh->UpdateAudioLevel(*list, frames);
      AudioUnitParameterValue level = -1;
      ASSERT_EQ(AudioUnitGetParameter(fresh.unit(), 220, kAudioUnitScope_Global, 0, &level), noErr);
      EXPECT_NEAR(level, exact, exact * (samples / 16.0 + 16.0) * 0x1p-24) << frames << " frames x " << channels;
    }
  }
}

}  // namespace
}  // namespace rendertest
