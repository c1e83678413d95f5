// The render thread, watched on every path of Veneer's audio: after the first
// block no heap allocation, free or mutex lock may happen there, however many
// blocks follow and whatever their size up to the maximum.
#include <AudioToolbox/AudioUnit.h>
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "RealtimeGuard.h"
#include "RenderHarness.h"

namespace {

constexpr UInt32 kMaxFrames = 4096;
// Block sizes a host may use in turn, the largest first (Veneer sizes its buffers then).
constexpr UInt32 kBlockSizes[] = {kMaxFrames, 512, 64, 37, 1024, 1, 4096};
constexpr int kWatchedRenders = 3000;

class RealtimeSafety : public rendertest::RenderTest {
 protected:
  void SetUp() override {
    RenderTest::SetUp();
    if (!rtguard::Active()) {
      if (rtguard::Expected()) {
        FAIL() << "the guard's hooks did not install: nothing the render thread does would be seen";
      }
      GTEST_SKIP() << "no guard in this build: sanitizer runtimes own malloc, or the platform has no hook for it";
    }
  }

  // [main thread] Room for the largest block, then the usual set-up and initialisation.
  void StartWith(bool withProduct = true) {
    const UInt32 maximum = kMaxFrames;
    ASSERT_EQ(AudioUnitSetProperty(veneer_.unit(), kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                                   &maximum, sizeof maximum),
              noErr);
    Start(withProduct);
  }

  // [main thread] Renders on a thread of its own, as a host's audio thread does: a few
  // blocks to settle (the first renders log, buffers are sized), then the watched ones.
  rtguard::Counts RenderWatched() {
    harness::HostOutput output(kChannels, kMaxFrames);
    rtguard::Counts counts;
    OSStatus firstFailure = noErr;
    std::thread renderThread([&] {
      auto renderOne = [&](UInt32 frames) {
        const OSStatus status = output.Render(veneer_.unit(), frames);
        firstFailure = firstFailure == noErr ? status : firstFailure;
      };
      for (int i = 0; i < 8; ++i) {
        renderOne(kMaxFrames);
      }
      rtguard::BeginWatch();
      for (int i = 0; i < kWatchedRenders; ++i) {
        renderOne(kBlockSizes[i % std::size(kBlockSizes)]);
      }
      counts = rtguard::EndWatch();
    });
    renderThread.join();
    EXPECT_EQ(firstFailure, noErr);
    return counts;
  }

  static void ExpectNone(const rtguard::Counts& counts) {
    EXPECT_EQ(counts.allocations, 0U);
    EXPECT_EQ(counts.frees, 0U);
    EXPECT_EQ(counts.locks, 0U);
  }
};

TEST_F(RealtimeSafety, TheGuardSeesAllocationsFreesAndLocks) {
  std::mutex mutex;
  rtguard::BeginWatch();
  void* memory = std::malloc(64);
  const std::lock_guard lock(mutex);
  auto* object = new int(3);
  // Kept from the optimiser, which may drop an allocation that nothing uses.
  asm volatile("" : : "g"(memory), "g"(object) : "memory");
  std::free(memory);
  delete object;
  const rtguard::Counts counts = rtguard::EndWatch();
  EXPECT_EQ(counts.allocations, 2U);
  EXPECT_EQ(counts.frees, 2U);
  EXPECT_EQ(counts.locks, 1U);
}

TEST_F(RealtimeSafety, ThroughTheInnerUnit) {
  StartWith();
  ASSERT_NE(veneer_->InnerUnit(), nullptr);
  ExpectNone(RenderWatched());
  EXPECT_GE(veneer_->RenderCount(), static_cast<uint64_t>(kWatchedRenders));
}

TEST_F(RealtimeSafety, WhenTheHostBypasses) {
  StartWith();
  const UInt32 on = 1;
  ASSERT_EQ(
      AudioUnitSetProperty(veneer_.unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &on, sizeof on),
      noErr);
  ExpectNone(RenderWatched());
  EXPECT_EQ(veneer_->RenderCount(), 0U) << "the inner unit was never asked";
}

TEST_F(RealtimeSafety, WhenTheCompanionIsGone) {
  StartWith();
  std::filesystem::remove(SupportFolder() / "plugin_state.txt");
  veneer_->ApplyFileToInner();
  ASSERT_TRUE(veneer_->AppLink().appBypass_);
  ExpectNone(RenderWatched());
  EXPECT_EQ(veneer_->RenderCount(), 0U);
}

TEST_F(RealtimeSafety, WithoutAnInnerUnit) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  StartWith(/*withProduct=*/false);
  ASSERT_EQ(veneer_->InnerUnit(), nullptr);
  ExpectNone(RenderWatched());
}

TEST_F(RealtimeSafety, WhenTheInnerUnitFails) {
  StartWith();
  standin::FaultsOf(product_).render.store(kAudioUnitErr_CannotDoInCurrentContext);
  ExpectNone(RenderWatched());
  EXPECT_GE(veneer_->RenderCount(), static_cast<uint64_t>(kWatchedRenders));
}

}  // namespace
