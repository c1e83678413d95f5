// The audio path as a host drives it: through the inner unit, around it when
// bypassed, the input list's growth, the render log and the timing counters.
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "RenderHarness.h"
#include "shell/LogTexts.h"

namespace logtext = veneer::logtext;

namespace rendertest {
namespace {

using RenderPathTest = RenderTest;

// ---- through the inner unit ----

TEST_F(RenderPathTest, EveryBlockIsTheInputThroughTheInnerUnit) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  for (UInt32 pull = 0; pull < 3; ++pull) {
    ASSERT_EQ(Render(256), noErr);
    for (UInt32 c = 0; c < kChannels; ++c) {
      EXPECT_EQ(output_[c], Scaled(source_.Block(pull, c, 256), standin::kGain)) << "block " << pull << " ch " << c;
    }
  }
  EXPECT_EQ(source_.pulls, 3U);
  EXPECT_EQ(Inner()->RenderCount(), 3U);
}

TEST_F(RenderPathTest, AFailingInnerUnitGivesTheDrySignalAndNoError) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  standin::FaultsOf(product_).render = kAudioUnitErr_CannotDoInCurrentContext;
  ASSERT_EQ(Render(256), noErr);
  for (UInt32 c = 0; c < kChannels; ++c) {
    EXPECT_EQ(output_[c], source_.Block(0, c, 256)) << "ch " << c;
  }
  EXPECT_EQ(Inner()->RenderCount(), 1U);
  EXPECT_TRUE(Logged(logtext::kInnerRenderStatus + std::to_string(kAudioUnitErr_CannotDoInCurrentContext)));

  // Once the inner unit recovers, its output is back.
  standin::FaultsOf(product_).render = noErr;
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[0], Scaled(source_.Block(1, 0, 256), standin::kGain));
}

TEST_F(RenderPathTest, InputErrorsEndTheCycle) {
  Start(/*withProduct=*/true, /*withInput=*/false);
  ASSERT_NE(Inner(), nullptr);
  EXPECT_EQ(Render(256), kAudioUnitErr_NoConnection);
  EXPECT_EQ(Inner()->RenderCount(), 0U);

  const AURenderCallbackStruct callback{InputSource::Provide, &source_};
  ASSERT_EQ(AudioUnitSetProperty(veneer_.unit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0,
                                 &callback, sizeof callback),
            noErr);
  source_.leaveNullData = true;
  EXPECT_EQ(Render(256), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(Inner()->RenderCount(), 0U);

  source_.leaveNullData = false;
  EXPECT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.pulls, 2U);
  EXPECT_EQ(output_[1], Scaled(source_.Block(1, 1, 256), standin::kGain));
}

TEST_F(RenderPathTest, ASourceAnsweringWithMemoryOfItsOwnIsCopiedIntoTheShellsBlocks) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  source_.answerWithOwnMemory = true;
  for (UInt32 pull = 0; pull < 2; ++pull) {
    ASSERT_EQ(Render(256), noErr);
    for (UInt32 c = 0; c < kChannels; ++c) {
      EXPECT_EQ(output_[c], Scaled(source_.Block(pull, c, 256), standin::kGain)) << "block " << pull << " ch " << c;
    }
  }
  // The shell's list has its own blocks back: a source that fills in place is heard again.
  source_.answerWithOwnMemory = false;
  source_.ownMemory.clear();
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[1], Scaled(source_.Block(2, 1, 256), standin::kGain));
}

// ---- a source that reshapes the list it is given ----

TEST_F(RenderPathTest, ASourceAnsweringFewerBuffersIsHeardOnThoseAndTheListIsWholeAgainNextCycle) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  source_.answeredBuffers = 1;  // a mono source on a stereo list
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[0], Scaled(source_.Block(0, 0, 256), standin::kGain));

  source_.answeredBuffers = 0;
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.lastGivenBuffers, kChannels);
  for (UInt32 c = 0; c < kChannels; ++c) {
    EXPECT_EQ(output_[c], Scaled(source_.Block(1, c, 256), standin::kGain)) << "ch " << c;
  }

  // Bypassed after a mono answer: the replay plays the shell's own blocks, whole.
  source_.answeredBuffers = 1;
  ASSERT_EQ(Render(256), noErr);
  ASSERT_EQ(SetHostBypass(true), noErr);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[0], source_.Block(2, 0, 256));
  EXPECT_EQ(output_[1], source_.Block(1, 1, 256));
}

TEST_F(RenderPathTest, ASourceRaisingTheBufferCountOrTheByteSizesIsReadOnlyWithinTheShellsBlocks) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  source_.answeredBuffers = 64;
  ASSERT_EQ(Render(256), noErr);
  for (UInt32 c = 0; c < kChannels; ++c) {
    EXPECT_EQ(output_[c], Scaled(source_.Block(0, c, 256), standin::kGain)) << "ch " << c;
  }

  source_.answeredBuffers = 0;
  source_.reportedBytes = 1U << 30;
  source_.answerWithOwnMemory = true;
  ASSERT_EQ(Render(256), noErr);
  for (UInt32 c = 0; c < kChannels; ++c) {
    EXPECT_EQ(output_[c], Scaled(source_.Block(1, c, 256), standin::kGain)) << "ch " << c;
  }

  // Sizes of zero deliver nothing from memory of the source's own; the shell's
  // blocks keep the last block, and the meter sees no samples.
  const float level = Level();
  source_.reportedBytes = 0;
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[0], Scaled(source_.Block(1, 0, 256), standin::kGain));
  EXPECT_FLOAT_EQ(Level(), level * 0.9F);
}

TEST_F(RenderPathTest, ASourceThatFailsAfterReshapingTheListEndsOnlyThatCycle) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  source_.answeredBuffers = 1;
  source_.answerWithOwnMemory = true;
  source_.reportedBytes = 1U << 30;
  source_.status = kAudioUnitErr_CannotDoInCurrentContext;
  EXPECT_EQ(Render(256), kAudioUnitErr_CannotDoInCurrentContext);
  EXPECT_EQ(Inner()->RenderCount(), 0U);

  source_ = InputSource{};
  source_.pulls = 1;
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.lastGivenBuffers, kChannels);
  for (UInt32 c = 0; c < kChannels; ++c) {
    EXPECT_EQ(output_[c], Scaled(source_.Block(1, c, 256), standin::kGain)) << "ch " << c;
  }
}

// ---- the input list's size ----

TEST_F(RenderPathTest, LargerBlocksRebuildTheListAndSmallerOnesReuseIt) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  const UInt32 sizes[] = {256, 512, 128};
  for (UInt32 pull = 0; pull < 3; ++pull) {
    ASSERT_EQ(Render(sizes[pull]), noErr);
    for (UInt32 c = 0; c < kChannels; ++c) {
      EXPECT_EQ(output_[c], Scaled(source_.Block(pull, c, sizes[pull]), standin::kGain))
          << sizes[pull] << " frames, ch " << c;
    }
  }

  // The 128-frame block went into the 512-frame list: past it, the list still
  // holds the rest of the 512-frame block.
  std::vector<float> served(512, kUntouched);
  AudioBufferList list{1, {{1, 512 * sizeof(float), served.data()}}};
  ASSERT_EQ(veneer::Veneer::InnerInputProc(veneer_.get(), nullptr, nullptr, 0, 512, &list), noErr);
  EXPECT_EQ(list.mBuffers[0].mDataByteSize, 512 * sizeof(float));
  const std::vector<float> recent = source_.Block(2, 0, 128);
  const std::vector<float> earlier = source_.Block(1, 0, 512);
  EXPECT_TRUE(std::equal(recent.begin(), recent.end(), served.begin()));
  EXPECT_TRUE(std::equal(earlier.begin() + 128, earlier.end(), served.begin() + 128));
}

// ---- pass-through ----

TEST_F(RenderPathTest, WithoutAnInnerUnitTheFirstBlockIsPulledAndThenRepeated) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  Start(/*withProduct=*/false);
  ASSERT_EQ(veneer_->InnerUnit(), nullptr);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.pulls, 1U);
  const std::vector<float> first = source_.Block(0, 1, 256);
  EXPECT_EQ(output_[1], first);

  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(Render(256), noErr);
    EXPECT_EQ(source_.pulls, 1U);
    EXPECT_EQ(output_[1], first);
  }

  // A smaller block repeats the start of the same samples.
  ASSERT_EQ(Render(64), noErr);
  EXPECT_EQ(output_[1], std::vector<float>(first.begin(), first.begin() + 64));
}

TEST_F(RenderPathTest, AGrowingPassThroughBlockRepeatsWhatTheOldListHeld) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  Start(/*withProduct=*/false);
  ASSERT_EQ(Render(128), noErr);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.pulls, 1U);
  const std::vector<float> first = source_.Block(0, 0, 128);
  EXPECT_TRUE(std::equal(first.begin(), first.end(), output_[0].begin()));
  // The old list held 128 frames; beyond them the host hears silence.
  EXPECT_EQ(std::vector<float>(output_[0].begin() + 128, output_[0].end()), std::vector<float>(128, 0.0F));
}

TEST_F(RenderPathTest, PassThroughWithoutInputFailsOnlyOnTheFirstBlock) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  Start(/*withProduct=*/false, /*withInput=*/false);
  EXPECT_EQ(Render(256), kAudioUnitErr_NoConnection);
  // The list was built before the pull failed; later blocks pull nothing.
  EXPECT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[0], std::vector<float>(256, 0.0F));
}

TEST_F(RenderPathTest, HostBypassPassesTheLastPulledBlockAround) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  ASSERT_EQ(SetHostBypass(true), noErr);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[0], source_.Block(0, 0, 256));
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.pulls, 1U);
  EXPECT_EQ(output_[0], source_.Block(0, 0, 256));
  EXPECT_EQ(Inner()->RenderCount(), 0U);

  ASSERT_EQ(SetHostBypass(false), noErr);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(output_[1], Scaled(source_.Block(1, 1, 256), standin::kGain));

  // Bypassed again: the dry block the inner unit last rendered, not a new one.
  ASSERT_EQ(SetHostBypass(true), noErr);
  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.pulls, 2U);
  EXPECT_EQ(output_[1], source_.Block(1, 1, 256));
  EXPECT_EQ(Inner()->RenderCount(), 1U);
}

TEST_F(RenderPathTest, ALostCompanionApplicationBypassesTheInnerUnit) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  ASSERT_EQ(Render(256), noErr);
  // Without a settings file the link's next pass declares the application gone.
  std::filesystem::remove(SupportFolder() / "plugin_state.txt");
  veneer_->StartIpcThread();
  ASSERT_FALSE(AwaitLine("app heartbeat lost").empty());
  veneer_->StopIpcThread();
  ASSERT_TRUE(veneer_->AppLink().appBypass_);

  ASSERT_EQ(Render(256), noErr);
  EXPECT_EQ(source_.pulls, 1U);
  EXPECT_EQ(output_[0], source_.Block(0, 0, 256));
  EXPECT_EQ(Inner()->RenderCount(), 1U);
}

// ---- the render log ----

TEST_F(RenderPathTest, TheLogShowsTheFirstFiveRendersAndThenOnlyChanges) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  Start(/*withProduct=*/false);
  for (int i = 0; i < 7; ++i) {
    ASSERT_EQ(Render(128), noErr);
  }
  const std::vector<std::string> expected = {
      std::string(logtext::kRenderCalled) + "128 inner=no (state change)",
      std::string(logtext::kRenderCalled) + "128 inner=no", std::string(logtext::kRenderCalled) + "128 inner=no",
      std::string(logtext::kRenderCalled) + "128 inner=no", std::string(logtext::kRenderCalled) + "128 inner=no"};
  EXPECT_EQ(LinesStartingWith("Render called"), expected);

  // A product appears (a format change creates it): the next render says so
  // once, with the inner status.
  standin::Register(standin::Variant::kPro);
  ASSERT_EQ(veneer_.SetFormat(kAudioUnitScope_Output, kChannels, 44100.0), noErr);
  ASSERT_NE(Inner(), nullptr);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(Render(256), noErr);
  }
  auto withInner = expected;
  withInner.push_back(std::string(logtext::kRenderCalled) + "256 inner=yes (state change)");
  EXPECT_EQ(LinesStartingWith("Render called"), withInner);
  EXPECT_EQ(LinesStartingWith(logtext::kInnerRenderStatus),
            std::vector<std::string>{std::string(logtext::kInnerRenderStatus) + "0"});
}

// ---- timing ----

// The render clock as a test scripts it: every inner render lasts the next of
// gRenderDurations, in nanoseconds.
std::vector<int64_t> gRenderDurations;
size_t gRenderClockReads = 0;
int64_t gRenderNow = 1'000'000'000;
int64_t ScriptedRenderClock() {
  // Reads come in pairs around each inner render: the second ends it.
  if (gRenderClockReads++ % 2 == 1) {
    gRenderNow += gRenderDurations.at((gRenderClockReads - 1) / 2);
  }
  return gRenderNow;
}

TEST_F(RenderPathTest, InnerRendersOverEightMillisecondsCountAsSlow) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  veneer_->SetRenderClock(ScriptedRenderClock);
  gRenderDurations = {2'000'000, 8'000'000, 8'000'001, 10'000'000, 0};
  const std::vector<uint64_t> slowSoFar = {0, 0, 1, 2, 2};
  for (size_t i = 0; i < gRenderDurations.size(); ++i) {
    ASSERT_EQ(Render(128), noErr);
    EXPECT_EQ(veneer_->SlowRenderCount(), slowSoFar[i]) << "after " << gRenderDurations[i] << " ns";
  }
  EXPECT_DOUBLE_EQ(veneer_->MaxRenderMs(), 10.0);
  // Bypassed blocks are not inner renders, and are not timed.
  ASSERT_EQ(SetHostBypass(true), noErr);
  ASSERT_EQ(Render(128), noErr);
  EXPECT_EQ(gRenderClockReads, 2 * gRenderDurations.size());
  EXPECT_EQ(veneer_->RenderCount(), 5U);
  EXPECT_EQ(veneer_->SlowRenderCount(), 2U);
}

TEST_F(RenderPathTest, TheLongestInnerRenderIsKeptToTheNanosecond) {
  Start();
  ASSERT_NE(Inner(), nullptr);
  veneer_->SetRenderClock(ScriptedRenderClock);
  gRenderDurations = {8'000'001, 7'999'999};
  ASSERT_EQ(Render(128), noErr);
  ASSERT_EQ(Render(128), noErr);
  EXPECT_EQ(veneer_->MaxRenderMs(), 8'000'001 / 1e6);
}

std::time_t gLinkNow = 0;
std::time_t LinkNow() { return gLinkNow; }

// The link's diagnostics line, at most every five seconds of the link clock
// and only when the count moved; the clock is the test's to move.
TEST_F(RenderPathTest, TheLinkReportsTheRenderFiguresEveryFiveSecondsWhenTheyMoved) {
  Start();
  veneer_->SetRenderClock(ScriptedRenderClock);
  gRenderDurations = {9'000'000, 1'000'000, 1'000'000};
  ASSERT_EQ(Render(128), noErr);
  ASSERT_EQ(Render(128), noErr);
  // Ahead of the system clock: the link thread may have run a cycle by it
  // before Start stopped it, and the period is kept process-wide.
  gLinkNow = std::time(nullptr) + 3600;
  veneer_->SetLinkClock(LinkNow);
  const auto diagnostics = [this] { return LinesStartingWith(logtext::kRenderDiagnostics); };
  const std::string first = std::string(logtext::kRenderDiagnostics) + "2" + logtext::kRenderDiagnosticsSlow + "1" +
                            logtext::kRenderDiagnosticsLongest + "9ms";

  std::time_t lastAlive = 0;
  veneer_->RunLinkCycle(lastAlive);
  EXPECT_EQ(diagnostics(), std::vector<std::string>{first});
  EXPECT_EQ(lastAlive, gLinkNow);  // the alive file is written by the same clock
  ASSERT_EQ(Render(128), noErr);
  gLinkNow += 4;
  veneer_->RunLinkCycle(lastAlive);
  EXPECT_EQ(diagnostics().size(), 1U);  // too soon
  gLinkNow += 1;
  veneer_->RunLinkCycle(lastAlive);
  ASSERT_EQ(diagnostics().size(), 2U);
  EXPECT_EQ(diagnostics()[1].substr(0, diagnostics()[1].find(logtext::kRenderDiagnosticsSlow)),
            std::string(logtext::kRenderDiagnostics) + "3");
  gLinkNow += 5;
  veneer_->RunLinkCycle(lastAlive);
  EXPECT_EQ(diagnostics().size(), 2U);  // nothing rendered since
}

}  // namespace
}  // namespace rendertest
