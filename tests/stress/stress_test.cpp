// Many threads at once on Veneer: creation racing clean-up, parameters and the
// link changing things while audio renders, two instances side by side, Logic's
// retire-and-reuse over and over, and a settings file rewritten in place under
// the reader. Run under the sanitizers, which report what goes wrong.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>

#include "LinkHarness.h"
#include "PosedProcess.h"
#include "StressHost.h"

namespace {

using shelltest::ShellTest;
using stresstest::RenderedVeneer;
using namespace std::chrono_literals;

class StressTest : public ShellTest {
 protected:
  // Sends a new counter with a new retune value, the way the application does (rename).
  void SendSettings(int seq) const {
    const auto path = SupportFolder() / "plugin_state.txt";
    std::ofstream(path.string() + ".tmp")
        << "seq=" << seq << "\nappRunning=1\nretune=0." << seq % 10 << "\nkey=" << seq % 12 << "\n";
    std::filesystem::rename(path.string() + ".tmp", path);
  }

  // [main thread] Runs the main queue while `work` runs on another thread.
  template <typename Work>
  static void WhileMainLoopRuns(Work&& work) {
    std::atomic<bool> done{false};
    std::thread worker([&] {
      work();
      done.store(true);
    });
    while (!done.load()) {
      RunMainLoop(0.005);
    }
    worker.join();
  }
};

TEST_F(StressTest, PostedCreationRacesCleanupAndClose) {
  ASSERT_NE(standin::Register(standin::Variant::kPro), nullptr);
  KeepCompanionAlive();
  std::mt19937 random(7);
  for (int cycle = 0; cycle < 150; ++cycle) {
    RenderedVeneer veneer;
    // Initialised off the main thread, the creation waits for the main queue...
    shelltest::OnWorker([&] { EXPECT_EQ((*veneer).Initialize(), noErr); });
    veneer.StartRendering();
    const auto delay = std::chrono::microseconds(random() % 2000);
    if (cycle % 2 == 0) {
      WhileMainLoopRuns([&] { std::this_thread::sleep_for(delay); });
    }
    veneer.StopRendering();
    // ...and runs while a worker cleans up, or is still queued when it does.
    WhileMainLoopRuns([&] {
      std::this_thread::sleep_for(delay / 2);
      EXPECT_EQ((*veneer).Uninitialize(), noErr);
    });
  }
  RunMainLoop(1.2);  // disposals a worker's clean-up posted for later
  EXPECT_EQ(standin::LiveCount(), 0U);
}

TEST_F(StressTest, ParametersAndTheLinkChangeThingsWhileAudioRenders) {
  ASSERT_NE(standin::Register(standin::Variant::k2026), nullptr);
  SendSettings(1);
  RenderedVeneer veneer;
  ASSERT_EQ((*veneer).Initialize(), noErr);
  ASSERT_NE(veneer->get()->InnerUnit(), nullptr);
  veneer.StartRendering();
  std::atomic<bool> stop{false};
  std::thread parameters([&] {
    std::mt19937 random(3);
    while (!stop.load()) {
      AudioUnitSetParameter((*veneer).unit(), random() % 11, kAudioUnitScope_Global, 0,
                            static_cast<float>(random() % 1000) / 1000.0F, 0);
      AudioUnitParameterValue value = 0;
      AudioUnitGetParameter((*veneer).unit(), 200 + random() % 16, kAudioUnitScope_Global, 0, &value);
    }
  });
  std::thread application([&] {
    for (int seq = 2; !stop.load(); ++seq) {
      SendSettings(seq);
      std::this_thread::sleep_for(100ms);
    }
  });
  WhileMainLoopRuns([] { std::this_thread::sleep_for(2500ms); });
  stop.store(true);
  parameters.join();
  application.join();
  veneer.StopRendering();
  EXPECT_GT(veneer.Blocks(), 100U);
  int applied = 0;
  for (const std::string& line : LogLines()) {
    applied += line.rfind("ipc# ", 0) == 0 ? 1 : 0;
  }
  EXPECT_GE(applied, 2) << "the link applied new files while audio and parameters ran";
  EXPECT_EQ((*veneer).Uninitialize(), noErr);
}

TEST_F(StressTest, TwoInstancesRenderAndLinkSideBySide) {
  ASSERT_NE(standin::Register(standin::Variant::kPro), nullptr);
  SendSettings(1);
  RenderedVeneer first;
  RenderedVeneer second;
  ASSERT_EQ((*first).Initialize(), noErr);
  ASSERT_EQ((*second).Initialize(), noErr);
  first.StartRendering();
  second.StartRendering();
  WhileMainLoopRuns([&] {
    for (int seq = 2; seq < 14; ++seq) {
      SendSettings(seq);
      std::this_thread::sleep_for(120ms);
    }
  });
  first.StopRendering();
  second.StopRendering();
  for (RenderedVeneer* veneer : {&first, &second}) {
    EXPECT_GT(veneer->Blocks(), 50U);
    ASSERT_NE(veneer->operator->()->get()->InnerUnit(), nullptr);
    // Each renders its own input through its own inner unit.
    const UInt32 lastPull = veneer->Source().pulls - 1;
    EXPECT_EQ(veneer->LastBlock(),
              rendertest::Scaled(veneer->Source().Block(lastPull, 0, stresstest::kFrames), standin::kGain));
  }
  EXPECT_NE(first->get()->InnerUnit(), second->get()->InnerUnit());
}

// Runs again in a copy of the program named as the host, which Logic is told by.
TEST_F(StressTest, LogicRetiresAndReusesItsInnerUnitCycleAfterCycle) {
  if (testsupport::PosedName().empty()) {
    EXPECT_TRUE(testsupport::PassesPosingAs("Logic Pro X"));
    return;
  }
  ASSERT_NE(standin::Register(standin::Variant::kPro), nullptr);
  KeepCompanionAlive();
  {
    RenderedVeneer veneer;
    for (int cycle = 0; cycle < 60; ++cycle) {
      // Under Logic the format change after initialising brings the inner unit back.
      ASSERT_EQ((*veneer).Initialize(), noErr);
      ASSERT_EQ((*veneer).SetFormat(kAudioUnitScope_Output, 2, cycle % 2 == 0 ? 44100.0 : 48000.0), noErr);
      ASSERT_NE(veneer->get()->InnerUnit(), nullptr) << "cycle " << cycle;
      veneer.StartRendering();
      std::this_thread::sleep_for(1ms);
      veneer.StopRendering();
      ASSERT_EQ((*veneer).Uninitialize(), noErr);
    }
  }
  EXPECT_LE(standin::LiveCount(), 2U) << "one retired and at most one left alone, never one per cycle";
}

class TornSettingsTest : public linktest::LinkTest {};

TEST_F(TornSettingsTest, AFileRewrittenInPlaceNeverAppliesAValueItCouldNotHold) {
  standin::Unit* inner = OpenWithInner(standin::Variant::kPro);
  ASSERT_NE(inner, nullptr);
  const std::string path = (SupportFolder() / "plugin_state.txt").string();
  std::atomic<bool> stop{false};
  // In place, without the rename: a reader may see any prefix of any version.
  std::thread writer([&] {
    std::mt19937 random(11);
    for (int seq = 1; !stop.load(); ++seq) {
      std::ofstream file(path, std::ios::trunc);
      file << "seq=" << seq << "\nappRunning=1\nkey=" << random() % 12 << "\nretune=0." << 100000 + random() % 900000
           << "\nhumanize=0.5\n";
    }
  });
  const auto deadline = std::chrono::steady_clock::now() + 1500ms;
  while (std::chrono::steady_clock::now() < deadline) {
    (*veneer_)->ApplyFileToInner();
  }
  stop.store(true);
  writer.join();
  ASSERT_FALSE(inner->Writes().empty());
  for (const standin::ParameterWrite& write : inner->Writes()) {
    // Every product parameter the file reaches lies in 0..1 on Auto-Tune Pro.
    EXPECT_TRUE(write.value >= 0.0F && write.value <= 1.0F) << "parameter " << write.id << " = " << write.value;
  }
}

}  // namespace
