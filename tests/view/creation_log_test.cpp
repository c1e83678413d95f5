// Why there is no inner unit, read from the debug log as Veneer writes it: the
// logs here come from Veneer itself, started with no product, with a product
// that fails, and with one that starts.
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <fstream>
#include <sstream>
#include <string>

#include "ShellFixture.h"
#include "SupportFacts.h"
#include "standin/StandIn.h"

namespace {

using shelltest::HostedVeneer;
using shelltest::OnWorker;
using veneerview::CompanionFiles;
using veneerview::Creation;

class CreationLogTest : public shelltest::ShellTest {
 protected:
  [[nodiscard]] std::string Log() const {
    std::ifstream file(SupportFolder() / "veneer_debug.log");
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
  }
  Creation FromLog(std::string* detail) const { return veneerview::CreationFromLog(Log(), detail); }
};

TEST_F(CreationLogTest, NoProductInstalled) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  std::string detail;
  EXPECT_EQ(FromLog(&detail), Creation::kNoProduct);
  EXPECT_EQ(veneerview::ReadSupportFacts(std::time(nullptr)).creation, Creation::kNoProduct);

  // Posted to the main queue: starting until the queue has run it.
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  OnWorker([&] { EXPECT_EQ(veneer.Initialize(), noErr); });
  EXPECT_EQ(FromLog(&detail), Creation::kStarting);
  RunMainLoop(0.1);
  EXPECT_EQ(FromLog(&detail), Creation::kNoProduct);
}

TEST_F(CreationLogTest, AFailedStartNamesItsCauseWithoutTheTimeStamp) {
  standin::Faults& faults = standin::FaultsOf(standin::Register(standin::Variant::kPro));
  faults.initialize.store(kAudioUnitErr_FailedInitialization);
  HostedVeneer veneer;
  OnWorker([&] { EXPECT_EQ(veneer.Initialize(), noErr); });
  RunMainLoop(0.1);
  std::string detail;
  EXPECT_EQ(FromLog(&detail), Creation::kFailed);
  EXPECT_EQ(detail, "CreateInnerUnit FAIL: AudioUnitInitialize err=-10875");

  // Started on the main thread, the failure is followed by the initialise's own line.
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  faults.instanceNew.store(-50);
  ASSERT_EQ(veneer.Initialize(), noErr);
  EXPECT_EQ(FromLog(&detail), Creation::kFailed);
  EXPECT_EQ(detail, "CreateInnerUnit FAIL: InstanceNew err=-50");
}

TEST_F(CreationLogTest, AStartThatWorkedOrAnAttemptUnderWayIsNoFailure) {
  standin::Register(standin::Variant::kPro);
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  ASSERT_NE(veneer->InnerUnit(), nullptr);
  std::string detail;
  EXPECT_EQ(FromLog(&detail), Creation::kStarting);
  EXPECT_TRUE(detail.empty());

  // A failure followed by a new attempt: the attempt counts.
  const std::string failed =
      "[10:00:00] CreateInnerUnit FAIL: 没找到支持的 Auto-Tune（Auto-Tune Pro / AutoTune 2026）\n"
      "[10:00:00] [main] 创建内部 Auto-Tune 失败 err=-10851（耗时 0ms）\n";
  EXPECT_EQ(veneerview::CreationFromLog(failed, &detail), Creation::kNoProduct);
  EXPECT_EQ(veneerview::CreationFromLog(failed + "[10:00:01] [bg ] Initialize called -> err=0\n", &detail),
            Creation::kStarting);
  // Lines of the link and the render in between change nothing; a cut first line neither.
  EXPECT_EQ(
      veneerview::CreationFromLog("ut-Tune Pro\n" + failed + "[10:00:02] app heartbeat lost -> bypass ON\n", &detail),
      Creation::kNoProduct);
  EXPECT_EQ(veneerview::CreationFromLog("", &detail), Creation::kStarting);
}

TEST_F(CreationLogTest, TheCompanionAsItsFilesShowIt) {
  EXPECT_EQ(veneerview::ReadSupportFacts(std::time(nullptr)).companion, CompanionFiles::kGone);
  KeepCompanionAlive();
  EXPECT_EQ(veneerview::ReadSupportFacts(std::time(nullptr)).companion, CompanionFiles::kRunning);
  EXPECT_EQ(veneerview::ReadSupportFacts(std::time(nullptr) + 10).companion, CompanionFiles::kGone);
  WriteSupportFile("plugin_state.txt", "appRunning=0\n");
  EXPECT_EQ(veneerview::ReadSupportFacts(std::time(nullptr)).companion, CompanionFiles::kQuit);
}

}  // namespace
