// A view that embeds the inner unit's editor listens to 'vniu': it hears of the
// inner unit after it is created, and before it is disposed or retired, on every
// path a host can take.
#include <gtest/gtest.h>

#include <pthread.h>
#include "InstalledProducts.h"

#include <mutex>
#include <vector>

#include "PosedProcess.h"
#include "ShellFixture.h"
#include "standin/StandIn.h"

namespace {

using shelltest::HostedVeneer;
using shelltest::OnWorker;
using shelltest::ShellTest;
using standin::Variant;

constexpr AudioUnitPropertyID kInnerUnitProperty = veneer::Veneer::kInnerUnitProperty;

// What a listener saw at the moment it was called.
struct Announcement {
  AudioUnit inner;         // 'vniu' as read from inside the listener
  AudioUnit previous;      // what the listener had seen before
  bool previousStillOpen;  // whether that one was still a live instance
  bool previousInitialized;
  bool onMainThread;
  AudioUnitScope scope;
  AudioUnitElement element;
};

// A listener as a view registers it: it reads the property again when told.
class InnerUnitListener {
 public:
  explicit InnerUnitListener(AudioUnit veneer) : veneer_(veneer) {
    EXPECT_EQ(AudioUnitAddPropertyListener(veneer_, kInnerUnitProperty, &Heard, this), noErr);
  }
  ~InnerUnitListener() { AudioUnitRemovePropertyListenerWithUserData(veneer_, kInnerUnitProperty, &Heard, this); }
  InnerUnitListener(const InnerUnitListener&) = delete;
  InnerUnitListener& operator=(const InnerUnitListener&) = delete;

  std::vector<Announcement> Heard() const {
    const std::lock_guard lock(mutex_);
    return heard_;
  }

 private:
  static void Heard(void* refCon, AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                    AudioUnitElement element) {
    auto* self = static_cast<InnerUnitListener*>(refCon);
    EXPECT_EQ(unit, self->veneer_);
    EXPECT_EQ(id, kInnerUnitProperty);
    AudioUnit inner = nullptr;
    UInt32 size = sizeof inner;
    EXPECT_EQ(AudioUnitGetProperty(unit, kInnerUnitProperty, kAudioUnitScope_Global, 0, &inner, &size), noErr);
    const std::lock_guard lock(self->mutex_);
    standin::Unit* previous = standin::Find(self->seen_);
    self->heard_.push_back({inner, self->seen_, previous != nullptr, previous != nullptr && previous->IsInitialized(),
                            pthread_main_np() != 0, scope, element});
    self->seen_ = inner;
  }

  AudioUnit veneer_;
  mutable std::mutex mutex_;
  std::vector<Announcement> heard_;
  AudioUnit seen_ = nullptr;
};

class InnerUnitAnnouncementTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    KeepCompanionAlive();
  }
};

TEST_F(InnerUnitAnnouncementTest, MainThreadHostHearsOfCreationAndThenOfTheUnitGoingBeforeItIsDisposed) {
  standin::Register(Variant::kPro);
  HostedVeneer veneer;
  const InnerUnitListener listener(veneer.unit());
  ASSERT_EQ(veneer.Initialize(), noErr);
  ASSERT_EQ(listener.Heard().size(), 1U);
  const Announcement created = listener.Heard()[0];
  EXPECT_NE(created.inner, nullptr);
  EXPECT_EQ(created.inner, veneer->InnerUnit());
  EXPECT_TRUE(created.onMainThread);
  EXPECT_EQ(created.scope, kAudioUnitScope_Global);
  EXPECT_EQ(created.element, 0U);

  ASSERT_EQ(veneer.Uninitialize(), noErr);
  ASSERT_EQ(listener.Heard().size(), 2U);
  const Announcement going = listener.Heard()[1];
  EXPECT_EQ(going.inner, nullptr);
  EXPECT_EQ(going.previous, created.inner);
  EXPECT_TRUE(going.previousStillOpen);
  EXPECT_TRUE(going.previousInitialized);
  EXPECT_EQ(standin::LiveCount(), 0U);  // disposed right after

  // Initialised again: a new inner unit, announced again.
  ASSERT_EQ(veneer.Initialize(), noErr);
  ASSERT_EQ(listener.Heard().size(), 3U);
  EXPECT_NE(listener.Heard()[2].inner, nullptr);
  ASSERT_EQ(veneer.Uninitialize(), noErr);
}

TEST_F(InnerUnitAnnouncementTest, WorkerThreadHostHearsOfThePostedCreationAndOfTheUnitGoingASecondBeforeDisposal) {
  standin::Register(Variant::kPro);
  HostedVeneer veneer;
  const InnerUnitListener listener(veneer.unit());
  OnWorker([&] { EXPECT_EQ(veneer.Initialize(), noErr); });
  EXPECT_TRUE(listener.Heard().empty());  // not created yet
  RunMainLoop(0.2);
  ASSERT_EQ(listener.Heard().size(), 1U);
  const AudioUnit inner = listener.Heard()[0].inner;
  EXPECT_NE(inner, nullptr);
  EXPECT_TRUE(listener.Heard()[0].onMainThread);

  OnWorker([&] { EXPECT_EQ(veneer.Uninitialize(), noErr); });
  ASSERT_EQ(listener.Heard().size(), 2U);
  const Announcement going = listener.Heard()[1];
  EXPECT_EQ(going.inner, nullptr);
  EXPECT_EQ(going.previous, inner);
  EXPECT_TRUE(going.previousStillOpen);
  EXPECT_FALSE(going.onMainThread);  // on the host's thread, which let it go
  EXPECT_EQ(standin::LiveCount(), 1U);
  RunMainLoop(1.3);
  EXPECT_EQ(standin::LiveCount(), 0U);
  EXPECT_EQ(listener.Heard().size(), 2U);  // the disposal itself says nothing more
}

TEST_F(InnerUnitAnnouncementTest, NothingIsAnnouncedWhenNoInnerUnitCameOrWent) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;  // no product registered
  const InnerUnitListener listener(veneer.unit());
  ASSERT_EQ(veneer.Initialize(), noErr);
  EXPECT_EQ(veneer->InnerUnit(), nullptr);
  ASSERT_EQ(veneer.Uninitialize(), noErr);

  // A product whose creation fails half way is never shown either.
  standin::FaultsOf(standin::Register(Variant::kPro)).initialize.store(kAudioUnitErr_FailedInitialization);
  ASSERT_EQ(veneer.Initialize(), noErr);
  EXPECT_EQ(veneer->InnerUnit(), nullptr);
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  EXPECT_TRUE(listener.Heard().empty());
}

TEST_F(InnerUnitAnnouncementTest, UnderLogicTheRetiredUnitIsAnnouncedAsGoingAndAsComingBack) {
  if (testsupport::PosedName().empty()) {
    EXPECT_TRUE(testsupport::PassesPosingAs("Logic Pro X"));
    return;
  }
  standin::Register(Variant::kPro);
  HostedVeneer first;
  const InnerUnitListener firstListener(first.unit());
  ASSERT_EQ(first.Initialize(), noErr);
  EXPECT_TRUE(firstListener.Heard().empty());  // under Logic the format change creates it
  ASSERT_EQ(first.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  ASSERT_EQ(firstListener.Heard().size(), 1U);
  const AudioUnit retired = firstListener.Heard()[0].inner;
  ASSERT_NE(retired, nullptr);

  ASSERT_EQ(first.Uninitialize(), noErr);
  ASSERT_EQ(firstListener.Heard().size(), 2U);
  EXPECT_EQ(firstListener.Heard()[1].inner, nullptr);
  EXPECT_EQ(firstListener.Heard()[1].previous, retired);
  EXPECT_EQ(veneer::gRetiredInner.load(), retired);  // kept, not disposed

  HostedVeneer second;
  const InnerUnitListener secondListener(second.unit());
  ASSERT_EQ(second.Initialize(), noErr);
  ASSERT_EQ(second.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  ASSERT_EQ(secondListener.Heard().size(), 1U);
  EXPECT_EQ(secondListener.Heard()[0].inner, retired);
  EXPECT_EQ(firstListener.Heard().size(), 2U);
  ASSERT_EQ(second.Uninitialize(), noErr);
  EXPECT_EQ(secondListener.Heard().size(), 2U);
}

}  // namespace
