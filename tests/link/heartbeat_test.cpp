// The companion application's heartbeat and quit marker, and the bypass they force.
#include <gtest/gtest.h>

#include "LinkHarness.h"
#include "shell/LogTexts.h"

namespace logtext = veneer::logtext;

namespace {

using linktest::LinkTest;
using standin::Variant;

class Heartbeat : public LinkTest {
 protected:
  void SetUp() override {
    LinkTest::SetUp();
    ASSERT_NE(OpenWithInner(Variant::kPro), nullptr);
    NewLines();
  }
  [[nodiscard]] bool Bypassed() const {
    const auto state = (*veneer_)->AppLink();
    EXPECT_EQ(state.appBypass_, state.appLost_);  // always written together
    return state.appBypass_;
  }
  void Cycle() const { (*veneer_)->ApplyFileToInner(); }
};

TEST_F(Heartbeat, TenSecondsIsLostNineIsFresh) {
  WriteSettings("seq=1\n");
  AgeSettings(9);
  Cycle();
  EXPECT_FALSE(Bypassed());
  AgeSettings(10);
  Cycle();
  EXPECT_TRUE(Bypassed());
  const auto lines = NewLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), logtext::kHeartbeatLost), 1);
}

TEST_F(Heartbeat, LostAndBackAreLoggedOnceEach) {
  Cycle();  // no file at all
  Cycle();
  EXPECT_TRUE(Bypassed());
  WriteSettings("appRunning=1\n");
  Cycle();
  Cycle();
  EXPECT_FALSE(Bypassed());
  EXPECT_EQ(NewLines(), (std::vector<std::string>{logtext::kHeartbeatLost, logtext::kHeartbeatBack}));
}

TEST_F(Heartbeat, AFileFromTheFutureCountsAsFresh) {
  WriteSettings("appRunning=1\n");
  AgeSettings(-3600);
  Cycle();
  EXPECT_FALSE(Bypassed());
  EXPECT_TRUE(NewLines().empty());
}

TEST_F(Heartbeat, QuitMarkerWhileFreshLogsThePairEveryCycle) {
  WriteSettings("appRunning=0\n");
  Cycle();
  EXPECT_TRUE(Bypassed());
  Cycle();
  EXPECT_TRUE(Bypassed());
  EXPECT_EQ(NewLines(),
            (std::vector<std::string>{logtext::kQuitMarker, logtext::kHeartbeatBack, logtext::kQuitMarker}));
  // Once the file is stale the flags stay set and nothing more is logged.
  AgeSettings(30);
  Cycle();
  Cycle();
  EXPECT_TRUE(Bypassed());
  EXPECT_TRUE(NewLines().empty());
}

TEST_F(Heartbeat, InitializeClearsTheLatchButNotTheForcedBypass) {
  Cycle();  // no file: lost
  ASSERT_TRUE(Bypassed());
  WriteSettings("appRunning=1\n");
  ASSERT_EQ(veneer_->Initialize(), noErr);  // clears the latch; its link thread runs a first pass at once
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  ASSERT_EQ(veneer_->Uninitialize(), noErr);
  auto state = (*veneer_)->AppLink();
  EXPECT_TRUE(state.appBypass_);
  EXPECT_FALSE(state.appLost_);
  for (const auto& line : NewLines()) {
    EXPECT_NE(line, logtext::kHeartbeatBack);
  }
  // Only lost and back again lifts it.
  AgeSettings(20);
  Cycle();
  WriteSettings("appRunning=1\n");
  Cycle();
  state = (*veneer_)->AppLink();
  EXPECT_FALSE(state.appBypass_);
  EXPECT_FALSE(state.appLost_);
}

}  // namespace
