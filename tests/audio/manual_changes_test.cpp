// Knobs turned by hand in the product's own editor, found against the shell's
// snapshot and written back to plugin_params_back.txt for the companion application.
#include <AudioToolbox/AudioUnit.h>
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "FifoInPlace.h"
#include "ParameterModelHarness.h"
#include "ShellFixture.h"
#include "standin/StandIn.h"

namespace {

using shelltest::HostedVeneer;
using standin::Variant;

constexpr const char* kLogHeading = "顾客手动改的参数已回传:";

int64_t NowMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

class ManualChangesTest : public parametertest::InnerUnitTest {
 protected:
  [[nodiscard]] std::filesystem::path BackFile() const { return SupportFolder() / "plugin_params_back.txt"; }

  // The back file's lines; empty when there is none.
  [[nodiscard]] std::vector<std::string> BackLines() const {
    std::vector<std::string> lines;
    std::ifstream file(BackFile());
    for (std::string line; std::getline(file, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  // The back file's value lines, after its "seq=" line.
  [[nodiscard]] std::vector<std::string> ReportedValues() const {
    auto lines = BackLines();
    EXPECT_FALSE(lines.empty());
    if (!lines.empty()) {
      EXPECT_EQ(lines.front().rfind("seq=", 0), 0U) << lines.front();
      lines.erase(lines.begin());
    }
    return lines;
  }

  // The debug log as written: the report's lines follow the stamped heading unstamped.
  [[nodiscard]] std::string RawLog() const {
    std::ifstream file(SupportFolder() / "veneer_debug.log");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  // Sets inner values by hand, as the product's editor does.
  static void Turn(standin::Unit& inner, std::initializer_list<std::pair<AudioUnitParameterID, float>> knobs) {
    for (const auto& [id, value] : knobs) {
      ASSERT_EQ(inner.SetParameterAsUser(id, value), noErr) << id;
    }
  }
};

TEST_F(ManualChangesTest, ReportsAKnobTurnedByHandOnce) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  Turn(*inner, {{4, 0.5F}});
  veneer->SnapshotInnerValues();
  Turn(*inner, {{4, 0.25F}});

  const int64_t before = NowMilliseconds();
  veneer->ReportManualChanges();
  const int64_t after = NowMilliseconds();

  const auto lines = BackLines();
  ASSERT_EQ(lines.size(), 2U);
  ASSERT_EQ(lines[0].rfind("seq=", 0), 0U);
  const int64_t seq = std::stoll(lines[0].substr(4));
  EXPECT_GE(seq, before);
  EXPECT_LE(seq, after);
  EXPECT_EQ(lines[1], "retune=0.2500");
  EXPECT_NE(RawLog().find(std::string("] ") + kLogHeading + "\nretune=0.2500\n"), std::string::npos) << RawLog();

  // The snapshot followed the change: the next pass has nothing to say.
  std::filesystem::remove(BackFile());
  veneer->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(BackFile()));
}

TEST_F(ManualChangesTest, SmallChangesAddUpAgainstTheOldValue) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  Turn(*inner, {{4, 0.5F}});
  veneer->SnapshotInnerValues();

  Turn(*inner, {{4, 0.5004F}});
  veneer->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(BackFile()));
  EXPECT_FALSE(Logged(kLogHeading));

  Turn(*inner, {{4, 0.5008F}});
  veneer->ReportManualChanges();
  EXPECT_EQ(ReportedValues(), std::vector<std::string>{"retune=0.5008"});
}

TEST_F(ManualChangesTest, AtExactlyTheThresholdOnlyTheScaleStaysQuiet) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  Turn(*inner, {{61, 0.0F}, {162, 0.0F}});
  veneer->SnapshotInnerValues();

  Turn(*inner, {{61, 0.0005F}, {162, 0.0005F}});
  veneer->ReportManualChanges();
  EXPECT_EQ(ReportedValues(), std::vector<std::string>{"humanize=0.0005"});

  // The scale's snapshot kept 0: a real move is measured from there.
  std::filesystem::remove(BackFile());
  Turn(*inner, {{162, 0.5F}});
  veneer->ReportManualChanges();
  EXPECT_EQ(ReportedValues(), std::vector<std::string>{"scale=7.0000"});
}

TEST_F(ManualChangesTest, ReportsEveryRowInTheTablesOrder) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  veneer->SnapshotInnerValues();

  // Turned in another order than the file lists them.
  Turn(*inner, {{162, 1.0F / 14.0F},
                {2, 7.0F / 11.0F},
                {11, 1.0F},
                {74, 0.15F},
                {10, 0.75F},
                {91, 0.25F},
                {71, 0.9F},
                {70, 0.8F},
                {9, 0.7F},
                {47, 0.6F},
                {62, 0.4F},
                {89, 0.3F},
                {61, 0.2F},
                {4, 0.1F}});
  veneer->ReportManualChanges();
  EXPECT_EQ(ReportedValues(),
            (std::vector<std::string>{"retune=0.1000", "humanize=0.2000", "flexTune=0.3000", "naturalVibrato=0.4000",
                                      "vibratoAmplitude=0.6000", "tracking=0.7000", "formant=0.8000", "throat=0.9000",
                                      "wetDry=0.2500", "inputType=0.7500", "transpose=0.1500", "classicMode=1.0000",
                                      "key=7.0000", "scale=1.0000"}));
}

TEST_F(ManualChangesTest, ConvertsByTheProductsRow) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kAdvanced);
  ASSERT_NE(inner, nullptr);
  veneer->SnapshotInnerValues();
  Turn(*inner, {{0x3D520394, 2.0F}, {0x00340FCF, 5.0F}, {0x43DEDEBA, 2.0F}});
  veneer->ReportManualChanges();
  // Input type by the factor of 4, the key as it is, the scale by the row's values.
  EXPECT_EQ(ReportedValues(), (std::vector<std::string>{"inputType=0.5000", "key=5.0000", "scale=2.0000"}));
}

TEST_F(ManualChangesTest, ScaleIndexFollowsTheRowsOrder) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kArtist);
  ASSERT_NE(inner, nullptr);
  Turn(*inner, {{2, 0.5F}});
  veneer->SnapshotInnerValues();
  Turn(*inner, {{2, 0.0F}});
  veneer->ReportManualChanges();
  EXPECT_EQ(ReportedValues(), std::vector<std::string>{"scale=1.0000"});
}

TEST_F(ManualChangesTest, CorrectionModeIsTrackedButNeverReported) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  veneer->SnapshotInnerValues();
  Turn(*inner, {{0, 1.0F}});
  veneer->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(BackFile()));
  EXPECT_FALSE(Logged(kLogHeading));
}

TEST_F(ManualChangesTest, NothingIsReportedWithoutASnapshot) {
  HostedVeneer veneer;
  veneer->SnapshotInnerValues();  // no inner unit: nothing to remember
  veneer->ReportManualChanges();

  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  Turn(*inner, {{4, 0.1F}});
  veneer->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(BackFile()));

  // A fresh snapshot takes in what changed before it.
  veneer->SnapshotInnerValues();
  veneer->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(BackFile()));
}

TEST_F(ManualChangesTest, AReportThatCannotBeWrittenIsLost) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  veneer->SnapshotInnerValues();

  // No HOME: nowhere to write.
  Turn(*inner, {{4, 0.1F}});
  unsetenv("HOME");
  veneer->ReportManualChanges();
  setenv("HOME", Home().c_str(), 1);
  veneer->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(BackFile()));

  // A file that cannot be opened.
  std::filesystem::create_directory(BackFile());
  Turn(*inner, {{61, 0.3F}});
  veneer->ReportManualChanges();
  std::filesystem::remove(BackFile());
  veneer->ReportManualChanges();
  EXPECT_FALSE(std::filesystem::exists(BackFile()));
  EXPECT_FALSE(Logged(kLogHeading));
}

TEST_F(ManualChangesTest, APipeInPlaceOfTheBackFileIsSkipped) {
  shelltest::FifoInPlace fifo(BackFile());
  ASSERT_TRUE(fifo.Made());
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);
  veneer->SnapshotInnerValues();
  Turn(*inner, {{4, 0.1F}});
  EXPECT_TRUE(fifo.ReturnsWithin([&] { veneer->ReportManualChanges(); }));
  // Nor is anything written into it while someone reads it.
  fifo.HoldReadEnd();
  Turn(*inner, {{61, 0.3F}});
  EXPECT_TRUE(fifo.ReturnsWithin([&] { veneer->ReportManualChanges(); }));
  EXPECT_EQ(fifo.Written(), 0U);
  EXPECT_FALSE(Logged(kLogHeading));
}

}  // namespace
