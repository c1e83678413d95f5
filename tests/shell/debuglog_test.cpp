// The debug log and the variant files, through the support folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "ShellFixture.h"
#include "shell/DebugLog.h"
#include "shell/Variants.h"

namespace {

using shelltest::ShellTest;

class DebugLogTest : public ShellTest {};

TEST_F(DebugLogTest, EachCallAppendsOneStampedLine) {
  veneer::DebugLog("[bg ] Initialize called -> err=0");
  veneer::DebugLog("音高 ok");
  std::ifstream file(SupportFolder() / "veneer_debug.log");
  std::string first;
  std::string second;
  std::getline(file, first);
  std::getline(file, second);
  EXPECT_TRUE(std::regex_match(first, std::regex(R"(\[\d\d:\d\d:\d\d\] \[bg \] Initialize called -> err=0)"))) << first;
  EXPECT_EQ(second.substr(11), "音高 ok");
}

TEST_F(DebugLogTest, MessageEndingInALineBreakLeavesAnEmptyLine) {
  veneer::DebugLog("first\n");
  veneer::DebugLog("second");
  EXPECT_EQ(LogLines(), (std::vector<std::string>{"first", "", "second"}));
}

TEST_F(DebugLogTest, MissingFolderOrHomeDropsTheLineSilently) {
  std::filesystem::remove_all(SupportFolder());
  veneer::DebugLog("nowhere to go");
  EXPECT_FALSE(std::filesystem::exists(SupportFolder()));
  unsetenv("HOME");
  veneer::DebugLog("no home");
  EXPECT_FALSE(std::filesystem::exists(SupportFolder()));
}

TEST_F(DebugLogTest, ThreadTagNamesTheMainThread) {
  EXPECT_STREQ(veneer::ThreadTag(), "[main]");
  const char* workerTag = nullptr;
  std::thread([&] { workerTag = veneer::ThreadTag(); }).join();
  EXPECT_STREQ(workerTag, "[bg ]");
}

class VariantFileTest : public ShellTest {
 protected:
  const char* Chosen(const std::string& text) {
    WriteSupportFile("prefer_variant.txt", text);
    const veneer::VariantInfo* row = veneer::VariantFromFile("prefer_variant.txt");
    return row == nullptr ? nullptr : row->name;
  }
};

TEST_F(VariantFileTest, FirstLineIsSearchedForTheTablesNamesInOrder) {
  EXPECT_STREQ(Chosen("AutoTune 2026"), "AutoTune 2026");
  EXPECT_STREQ(Chosen("please use Auto-Tune Artist today\n"), "Auto-Tune Artist");
  EXPECT_STREQ(Chosen("Auto-Tune EFX+ or Auto-Tune Pro"), "Auto-Tune Pro");
  EXPECT_STREQ(Chosen("AutoTune Advanced\r\n"), "AutoTune Advanced");
  EXPECT_EQ(Chosen("auto-tune pro"), nullptr);
  EXPECT_EQ(Chosen(""), nullptr);
  EXPECT_EQ(Chosen("nothing here\nAuto-Tune Pro\n"), nullptr);
  EXPECT_EQ(Chosen(" Auto-Tune EFX+"), std::string("Auto-Tune EFX+"));
}

TEST_F(VariantFileTest, MissingFileOrHomeChoosesNothing) {
  EXPECT_EQ(veneer::VariantFromFile("force_variant.txt"), nullptr);
  WriteSupportFile("force_variant.txt", "Auto-Tune Pro");
  EXPECT_NE(veneer::VariantFromFile("force_variant.txt"), nullptr);
  unsetenv("HOME");
  EXPECT_EQ(veneer::VariantFromFile("force_variant.txt"), nullptr);
}

}  // namespace
