// Initialise and clean-up as hosts call them: from the main thread or from
// another one, under Logic with its retired instance, stream-format changes,
// and the link thread's start and stop.
#include <gtest/gtest.h>

#include <chrono>
#include <regex>

#include "PosedProcess.h"
#include "ShellFixture.h"
#include "shell/LogTexts.h"
#include "standin/StandIn.h"

namespace logtext = veneer::logtext;

namespace {

using shelltest::HostedVeneer;
using shelltest::OnWorker;
using shelltest::ShellTest;
using standin::Variant;

class LifecycleTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    KeepCompanionAlive();
    standin::Register(Variant::kPro);
  }
  int CountLines(const std::string& message) const {
    const auto lines = LogLines();
    return static_cast<int>(std::count(lines.begin(), lines.end(), message));
  }
  bool LoggedMatching(const std::string& pattern) const {
    const std::regex expression(pattern);
    const auto lines = LogLines();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return std::regex_match(line, expression); });
  }
};

TEST_F(LifecycleTest, InitializeOnAWorkerPostsTheCreationToTheMainQueue) {
  HostedVeneer veneer;
  OnWorker([&] {
    EXPECT_EQ(veneer.Initialize(), noErr);
    EXPECT_EQ(veneer->EnsureInnerUnit(), noErr);  // already pending: nothing more is posted
  });
  EXPECT_EQ(veneer->InnerUnit(), nullptr);
  EXPECT_TRUE(Logged("[bg ]" + std::string(logtext::kInitializeCalled) + "0"));
  EXPECT_EQ(CountLines("[bg ]" + std::string(logtext::kCreateOnMainThread)), 1);

  RunMainLoop(0.2);
  ASSERT_NE(veneer->InnerUnit(), nullptr);
  EXPECT_TRUE(LoggedMatching(R"(\[main\] 内部 Auto-Tune 已创建（耗时 \d+ms）)"));
  EXPECT_EQ(standin::LiveCount(), 1U);
}

TEST_F(LifecycleTest, PostedCreationAppliesTheHostsLastOutputFormat) {
  HostedVeneer veneer;
  OnWorker([&] {
    EXPECT_EQ(veneer.Initialize(), noErr);
    EXPECT_EQ(veneer.SetFormat(kAudioUnitScope_Output, 1, 96000.0), noErr);
  });
  EXPECT_TRUE(Logged("[bg ]" + std::string(logtext::kFormatChange) + "2 ch=1 rate=96000 baseErr=0"));
  RunMainLoop(0.2);
  standin::Unit* inner = standin::Find(veneer->InnerUnit());
  ASSERT_NE(inner, nullptr);
  EXPECT_TRUE(LoggedMatching(R"(\[main\] 内部 Auto-Tune 已创建，宿主格式已传入（耗时 \d+ms）)"));
  EXPECT_EQ(inner->StreamFormatOf(kAudioUnitScope_Input).mSampleRate, 96000.0);
  EXPECT_EQ(inner->StreamFormatOf(kAudioUnitScope_Output).mChannelsPerFrame, 1U);
}

TEST_F(LifecycleTest, CleanupBeforeThePostedCreationRanLeavesNoInnerUnit) {
  HostedVeneer veneer;
  OnWorker([&] {
    EXPECT_EQ(veneer.Initialize(), noErr);
    EXPECT_EQ(veneer.Uninitialize(), noErr);
  });
  RunMainLoop(0.2);
  EXPECT_EQ(veneer->InnerUnit(), nullptr);
  EXPECT_EQ(standin::LiveCount(), 0U);
  EXPECT_FALSE(LoggedMatching(R"(\[main\] 内部 Auto-Tune 已创建.*)"));
}

TEST_F(LifecycleTest, InstanceClosedBeforeThePostedCreationRanIsLeftAlone) {
  {
    HostedVeneer veneer;
    OnWorker([&] { EXPECT_EQ(veneer.Initialize(), noErr); });
  }
  RunMainLoop(0.2);
  EXPECT_EQ(standin::LiveCount(), 0U);
}

TEST_F(LifecycleTest, CleanupOnTheMainThreadDisposesAtOnce) {
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  ASSERT_EQ(standin::LiveCount(), 1U);
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  EXPECT_EQ(standin::LiveCount(), 0U);
  EXPECT_EQ(veneer->InnerUnit(), nullptr);
  EXPECT_TRUE(Logged("[main]" + std::string(logtext::kCleanupCalled)));
  EXPECT_TRUE(Logged(logtext::kInnerDisposed));
}

TEST_F(LifecycleTest, CleanupOnAWorkerDisposesOnTheMainQueueOneSecondLater) {
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  OnWorker([&] { EXPECT_EQ(veneer.Uninitialize(), noErr); });
  EXPECT_TRUE(Logged("[bg ]" + std::string(logtext::kCleanupCalled)));
  EXPECT_TRUE(Logged("[bg ]" + std::string(logtext::kDisposeOnMainThread)));
  EXPECT_EQ(veneer->InnerUnit(), nullptr);
  RunMainLoop(0.5);
  EXPECT_EQ(standin::LiveCount(), 1U);  // not before its second
  RunMainLoop(0.8);
  EXPECT_EQ(standin::LiveCount(), 0U);
  EXPECT_TRUE(Logged(logtext::kDisposedOnMainThread));
}

TEST_F(LifecycleTest, CleanupWithoutAnInnerUnitOnlyLogsTheCall) {
  HostedVeneer veneer;
  OnWorker([&] { EXPECT_EQ(veneer.Initialize(), noErr); });
  const size_t before = LogLines().size();
  OnWorker([&] { EXPECT_EQ(veneer.Uninitialize(), noErr); });
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), before + 1);
  EXPECT_EQ(lines.back(), "[bg ]" + std::string(logtext::kCleanupCalled));
}

TEST_F(LifecycleTest, LinkThreadRunsWhileInitializedAndStopsPromptly) {
  HostedVeneer veneer;
  EXPECT_FALSE(veneer->LinkRunning());
  // A pause far longer than any stop may take on a busy machine: a stop must not wait it out.
  veneer->SetLinkPause(std::chrono::minutes(1));
  ASSERT_EQ(veneer.Initialize(), noErr);
  EXPECT_TRUE(veneer->LinkRunning());
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_FALSE(veneer->LinkRunning());
}

TEST_F(LifecycleTest, StreamFormatChangesReachTheInnerUnitFromTheOutputScopeOnly) {
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  standin::Unit* inner = standin::Find(veneer->InnerUnit());
  ASSERT_NE(inner, nullptr);

  const size_t before = LogLines().size();
  EXPECT_EQ(veneer.SetFormat(kAudioUnitScope_Output, 6, 48000.0), kAudioUnitErr_FormatNotSupported);
  EXPECT_EQ(LogLines().size(), before);  // refused before anything happened

  EXPECT_EQ(veneer.SetFormat(kAudioUnitScope_Input, 2, 48000.0), noErr);
  EXPECT_TRUE(Logged("[main]" + std::string(logtext::kFormatChange) + "1 ch=2 rate=48000 baseErr=0"));
  EXPECT_EQ(inner->StreamFormatOf(kAudioUnitScope_Input).mSampleRate, 44100.0);
  EXPECT_DOUBLE_EQ(veneer.Latency(), 112.0 / 44100.0);

  EXPECT_EQ(veneer.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  EXPECT_TRUE(Logged(logtext::kFormatChanged));
  EXPECT_EQ(inner->StreamFormatOf(kAudioUnitScope_Input).mSampleRate, 48000.0);
  EXPECT_EQ(inner->StreamFormatOf(kAudioUnitScope_Output).mSampleRate, 48000.0);
  EXPECT_DOUBLE_EQ(veneer.Latency(), 112.0 / 48000.0);

  // A rate no integer holds is still logged as a whole number.
  EXPECT_EQ(veneer.SetFormat(kAudioUnitScope_Input, 2, 1e20), noErr);
  EXPECT_TRUE(Logged("[main]" + std::string(logtext::kFormatChange) + "1 ch=2 rate=100000000000000000000 baseErr=0"));
}

// Logic is told by its process name: these tests run again in a copy of the
// program named as the host.
TEST_F(LifecycleTest, UnderLogicTheInnerUnitIsRetiredAndReused) {
  if (testsupport::PosedName().empty()) {
    EXPECT_TRUE(testsupport::PassesPosingAs("Logic Pro X"));
    return;
  }
  HostedVeneer first;
  ASSERT_EQ(first.Initialize(), noErr);
  EXPECT_EQ(first->InnerUnit(), nullptr);  // the next format change creates it
  ASSERT_EQ(first.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  AudioUnit retired = first->InnerUnit();
  ASSERT_NE(retired, nullptr);
  ASSERT_EQ(first.Uninitialize(), noErr);
  EXPECT_TRUE(Logged(logtext::kLogicRetired));
  EXPECT_EQ(standin::LiveCount(), 1U);
  EXPECT_TRUE(standin::Find(retired)->IsInitialized());
  // After clean-up, format changes create nothing until the next initialise.
  ASSERT_EQ(first.SetFormat(kAudioUnitScope_Output, 2, 44100.0), noErr);
  EXPECT_EQ(first->InnerUnit(), nullptr);

  HostedVeneer second;
  ASSERT_EQ(second.Initialize(), noErr);
  ASSERT_EQ(second.SetFormat(kAudioUnitScope_Output, 1, 44100.0), noErr);
  EXPECT_EQ(second->InnerUnit(), retired);
  EXPECT_TRUE(Logged(std::string(logtext::kReusingRetired) + "Auto-Tune Pro"));
  EXPECT_EQ(standin::Find(retired)->StreamFormatOf(kAudioUnitScope_Output).mChannelsPerFrame, 1U);
  EXPECT_EQ(standin::Find(retired)->InputCallback().inputProcRefCon, static_cast<void*>(second.get()));
  EXPECT_EQ(standin::Find(retired)->InitializeCount(), 1);

  HostedVeneer third;
  ASSERT_EQ(third.Initialize(), noErr);
  ASSERT_EQ(third.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  ASSERT_NE(third->InnerUnit(), nullptr);
  EXPECT_EQ(standin::LiveCount(), 2U);

  ASSERT_EQ(second.Uninitialize(), noErr);
  ASSERT_EQ(third.Uninitialize(), noErr);
  EXPECT_TRUE(Logged(logtext::kLogicRetiredAlready));
  EXPECT_EQ(standin::LiveCount(), 2U);  // neither is disposed
}

TEST_F(LifecycleTest, UnderLogicTheRetiredInnerUnitIsReusedOnlyByItsOwnProduct) {
  if (testsupport::PosedName().empty()) {
    EXPECT_TRUE(testsupport::PassesPosingAs("Logic Pro X"));
    return;
  }
  standin::Register(Variant::kEfx);
  HostedVeneer first;
  ASSERT_EQ(first.Initialize(), noErr);
  ASSERT_EQ(first.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  const AudioUnit retired = first->InnerUnit();
  ASSERT_NE(retired, nullptr);
  ASSERT_EQ(first.Uninitialize(), noErr);
  ASSERT_EQ(veneer::gRetiredInner.load(), retired);

  // Another product forced: a new instance of it, the retired one left in its slot.
  WriteSupportFile("force_variant.txt", "Auto-Tune EFX+\n");
  HostedVeneer second;
  ASSERT_EQ(second.Initialize(), noErr);
  ASSERT_EQ(second.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  ASSERT_NE(second->InnerUnit(), nullptr);
  EXPECT_NE(second->InnerUnit(), retired);
  EXPECT_EQ(standin::Find(second->InnerUnit())->GetVariant(), Variant::kEfx);
  EXPECT_EQ(veneer::gRetiredInner.load(), retired);
  EXPECT_EQ(standin::LiveCount(), 2U);
  EXPECT_FALSE(Logged(std::string(logtext::kReusingRetired) + "Auto-Tune EFX+"));

  // Its own product again: the retired one comes back.
  WriteSupportFile("force_variant.txt", "Auto-Tune Pro\n");
  HostedVeneer third;
  ASSERT_EQ(third.Initialize(), noErr);
  ASSERT_EQ(third.SetFormat(kAudioUnitScope_Output, 2, 48000.0), noErr);
  EXPECT_EQ(third->InnerUnit(), retired);
  EXPECT_EQ(veneer::gRetiredInner.load(), nullptr);
  EXPECT_EQ(standin::LiveCount(), 2U);
}

TEST_F(LifecycleTest, AuHostingCountsAsLogicButLowerCaseDoesNot) {
  const std::string posed = testsupport::PosedName();
  if (posed.empty()) {
    EXPECT_TRUE(testsupport::PassesPosingAs("AUHostingServiceXPC_arrow"));
    EXPECT_TRUE(testsupport::PassesPosingAs("logic pro"));
    return;
  }
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  // Under Logic the inner unit waits for the next format change.
  EXPECT_EQ(veneer->InnerUnit() == nullptr, posed != "logic pro") << posed;
}

}  // namespace
