// The link thread for real: a settings file reaches the inner unit, the alive
// file appears, a knob turned by hand reaches the back file, and clean-up
// does not wait out the thread's pause. The thread polls once a second, so
// these tests wait; they are kept few.
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <chrono>
#include <fstream>
#include <sstream>

#include "LinkHarness.h"
#include "shell/LogTexts.h"

namespace logtext = veneer::logtext;

namespace {

using linktest::LinkTest;
using standin::Variant;

// Polls `condition` until it holds or `limit` passes.
template <typename Condition>
bool WaitFor(Condition condition, std::chrono::milliseconds limit = std::chrono::milliseconds(3000)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return condition();
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

class LinkThread : public LinkTest {};

TEST_F(LinkThread, SettingsAliveFileAndManualChangesFlowBothWays) {
  standin::Register(Variant::kPro);
  WriteSettings("seq=1\nretune=0.25\nkey=9\n");
  shelltest::HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  standin::Unit* inner = standin::Find(veneer->InnerUnit());
  ASSERT_NE(inner, nullptr);

  const auto applied = [&] {
    for (const auto& write : inner->Writes()) {
      if (write.id == 4 && write.value == 0.25F) {
        return true;
      }
    }
    return false;
  };
  ASSERT_TRUE(WaitFor(applied));
  // The pass logs what it applied after the writes: the line may follow a moment later.
  EXPECT_TRUE(WaitFor(
      [&] { return Logged("ipc# 1 mode=0.000000 retune=0.250000 transpose=0.500000 key=0.818182 scale=0.071429"); }));

  // The thread starts before the inner unit is made, so its first alive file
  // may still say none; the next one, two seconds on, names the product.
  const auto alivePath = SupportFolder() / "veneer_alive.txt";
  ASSERT_TRUE(WaitFor([&] { return ReadFile(alivePath).find("inner=1\n") != std::string::npos; },
                      std::chrono::milliseconds(4000)));
  std::istringstream alive(ReadFile(alivePath));
  std::string line;
  std::getline(alive, line);
  EXPECT_EQ(line.rfind("t=", 0), 0U);
  EXPECT_NEAR(std::stoll(line.substr(2)), static_cast<long long>(std::time(nullptr)), 5);
  std::getline(alive, line);
  EXPECT_EQ(line, "variant=Auto-Tune Pro");
  std::getline(alive, line);
  EXPECT_EQ(line, "inner=1");
  std::getline(alive, line);
  EXPECT_EQ(line, "classic=0");
  EXPECT_FALSE(std::getline(alive, line));

  // A knob turned in the product's own editor goes back to the application.
  ASSERT_EQ(inner->SetParameterAsUser(4, 0.7F), noErr);
  const auto backPath = SupportFolder() / "plugin_params_back.txt";
  ASSERT_TRUE(WaitFor([&] { return ReadFile(backPath).find("retune=0.7000\n") != std::string::npos; }));
  EXPECT_EQ(ReadFile(backPath).rfind("seq=", 0), 0U);

  WriteSettings("seq=1\nretune=0.25\nkey=9\n");  // keep the heartbeat fresh
  // How promptly the link stops: the lifecycle test, against a pause of a minute.
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  EXPECT_FALSE(Logged(logtext::kHeartbeatLost));
}

TEST_F(LinkThread, WithoutAnInnerUnitTheAliveFileSaysSoAndNothingElse) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  WriteSettings("seq=1\n");
  // A longer file left by another instance is replaced whole.
  WriteSupportFile("veneer_alive.txt", "t=1\nvariant=AutoTune Advanced\ninner=1\nclassic=1\n" + std::string(200, '#'));
  shelltest::HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);  // nothing installed
  const auto alivePath = SupportFolder() / "veneer_alive.txt";
  ASSERT_TRUE(WaitFor([&] { return ReadFile(alivePath).find("variant=none") != std::string::npos; }));
  EXPECT_EQ(ReadFile(alivePath).substr(ReadFile(alivePath).find('\n') + 1), "variant=none\ninner=0\nclassic=0\n");
}

}  // namespace
