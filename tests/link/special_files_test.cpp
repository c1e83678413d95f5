// Support files that are not regular files (a named pipe, a device) in place
// of the settings file or the alive file: the link treats them as files that
// cannot be opened, and neither its pass nor the host's uninitialise waits on them.
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <thread>

#include "ChildProcess.h"
#include "FifoInPlace.h"
#include "LinkHarness.h"
#include "link/SettingsFile.h"

namespace {

using linktest::LinkTest;
using shelltest::FifoInPlace;
using standin::Variant;
using namespace std::chrono_literals;

class SpecialFiles : public LinkTest {
 protected:
  [[nodiscard]] std::filesystem::path PathOf(const char* name) const { return SupportFolder() / name; }
};

TEST_F(SpecialFiles, APipeAsTheSettingsFileAppliesNothingAndBlocksNoPass) {
  standin::Unit* inner = OpenWithInner(Variant::kPro);
  ASSERT_NE(inner, nullptr);
  FifoInPlace fifo(PathOf("plugin_state.txt"));
  ASSERT_TRUE(fifo.Made());
  EXPECT_TRUE(fifo.ReturnsWithin([&] { (*veneer_)->ApplyFileToInner(); }));
  EXPECT_TRUE(inner->Writes().empty());
  EXPECT_FALSE((*veneer_)->AppLink().appBypass_) << "a fresh pipe is still a heartbeat";
}

TEST_F(SpecialFiles, APipeAsTheSettingsFileDoesNotHoldUpUninitialize) {
  standin::Register(Variant::kPro);
  FifoInPlace fifo(PathOf("plugin_state.txt"));
  ASSERT_TRUE(fifo.Made());
  shelltest::HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  std::this_thread::sleep_for(200ms);  // the link thread's first pass meets the pipe
  EXPECT_TRUE(fifo.ReturnsWithin([&] { EXPECT_EQ(veneer.Uninitialize(), noErr); }));
}

// In a watched child process: a reader of the device never comes to its end.
TEST_F(SpecialFiles, ADeviceAsTheSettingsFileIsNotRead) {
  if (!linktest::InChild()) {
    EXPECT_TRUE(linktest::PassesInChild(10s, 256L << 10));
    return;
  }
  standin::Unit* inner = OpenWithInner(Variant::kPro);
  ASSERT_NE(inner, nullptr);
  std::filesystem::create_symlink("/dev/zero", PathOf("plugin_state.txt"));
  EXPECT_FALSE(veneer::ReadSettingsFile(veneer::IpcPath()).has_value());
  (*veneer_)->ApplyFileToInner();
  EXPECT_TRUE(inner->Writes().empty());
}

TEST_F(SpecialFiles, APipeAsTheAliveFileIsSkipped) {
  ASSERT_NE(OpenWithInner(Variant::kPro), nullptr);
  KeepCompanionAlive();
  FifoInPlace fifo(PathOf("veneer_alive.txt"));
  ASSERT_TRUE(fifo.Made());
  std::time_t lastAlive = 0;
  EXPECT_TRUE(fifo.ReturnsWithin([&] { (*veneer_)->RunLinkCycle(lastAlive); }));
  // Nor is anything written into it while someone reads it.
  fifo.HoldReadEnd();
  lastAlive = 0;
  EXPECT_TRUE(fifo.ReturnsWithin([&] { (*veneer_)->RunLinkCycle(lastAlive); }));
  EXPECT_EQ(fifo.Written(), 0U);
  EXPECT_NE(lastAlive, 0) << "the pass came to its alive file";
}

}  // namespace
