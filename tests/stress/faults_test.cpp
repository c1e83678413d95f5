// What the world can do to an installed plug-in: no HOME, a support folder whose
// files cannot be written, a settings file of ten megabytes or of binary bytes:
// Veneer keeps rendering and nothing crashes.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "LinkHarness.h"
#include "StressHost.h"

namespace {

using namespace std::chrono_literals;

class FaultsTest : public linktest::LinkTest {};

TEST_F(FaultsTest, WithoutHomeTheShellRendersAroundItsInnerUnit) {
  ASSERT_NE(standin::Register(standin::Variant::kPro), nullptr);
  unsetenv("HOME");
  stresstest::RenderedVeneer veneer;
  // A pause far longer than a stop may take on a busy machine: the stop must not wait it out.
  veneer->get()->SetLinkPause(std::chrono::minutes(1));
  ASSERT_EQ((*veneer).Initialize(), noErr);
  veneer.StartRendering();
  std::this_thread::sleep_for(300ms);  // the link's first pass finds no settings file
  veneer.StopRendering();
  EXPECT_GT(veneer.Blocks(), 10U);
  EXPECT_TRUE(veneer->get()->AppLink().appBypass_);
  // The pass-through plays the last block pulled, dry.
  EXPECT_EQ(veneer.LastBlock(), veneer.Source().Block(veneer.Source().pulls - 1, 0, stresstest::kFrames));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ((*veneer).Uninitialize(), noErr);
  EXPECT_LT(std::chrono::steady_clock::now() - before, 10s);
}

TEST_F(FaultsTest, FilesThatCannotBeWrittenAreSkipped) {
  // Folders where the plug-in's files should be: no write can succeed, even as root.
  for (const char* name : {"veneer_alive.txt", "plugin_params_back.txt", "veneer_debug.log"}) {
    std::filesystem::create_directories(SupportFolder() / name);
  }
  standin::Unit* inner = OpenWithInner(standin::Variant::kPro);
  ASSERT_NE(inner, nullptr);
  WriteSettings("seq=1\nappRunning=1\nretune=0.25\n");
  (*veneer_)->ApplyFileToInner();
  ASSERT_EQ(inner->SetParameterAsUser(4, 0.75F), noErr);
  (*veneer_)->ReportManualChanges();  // the back file cannot be written: the report is lost
  EXPECT_EQ(inner->Writes().size(), 1U) << "the settings still reached the product";
  EXPECT_TRUE(std::filesystem::is_directory(SupportFolder() / "plugin_params_back.txt"));
}

TEST_F(FaultsTest, HugeOrBinarySettingsFilesDoNoHarm) {
  standin::Unit* inner = OpenWithInner(standin::Variant::kPro);
  ASSERT_NE(inner, nullptr);
  // Ten megabytes of settings lines: only the first 64 KiB are read, so the
  // file's own last line is not.
  std::string huge = "seq=5\nappRunning=1\n";
  while (huge.size() < 10U << 20) {
    huge += "retune=0.125\nhumanize=0.5\n";
  }
  WriteSettings(huge + "retune=0.5\n");
  (*veneer_)->ApplyFileToInner();
  ASSERT_EQ(inner->Writes().size(), 2U);
  constexpr AudioUnitParameterID kProRetune = 4;
  const std::vector<standin::ParameterWrite> writes = inner->Writes();
  EXPECT_NE(
      std::find(writes.begin(), writes.end(), standin::ParameterWrite{kProRetune, kAudioUnitScope_Global, 0, 0.125F}),
      writes.end());
  inner->ClearWrites();

  // Random bytes: whatever lines they happen to form are read like any others.
  std::mt19937 random(5);
  std::string binary(10U << 20, '\0');
  for (char& byte : binary) {
    byte = static_cast<char>(random());
  }
  WriteSettings(binary);
  (*veneer_)->ApplyFileToInner();
  for (const standin::ParameterWrite& write : inner->Writes()) {
    EXPECT_TRUE(std::isfinite(write.value));
  }
}

}  // namespace
