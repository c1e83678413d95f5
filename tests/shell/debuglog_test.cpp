// The debug log and the variant files, through the support folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string_view>
#include <utility>

#include "FifoInPlace.h"
#include "ShellFixture.h"
#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/Variants.h"

namespace {

namespace logtext = veneer::logtext;

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

TEST_F(DebugLogTest, APipeInPlaceOfTheLogGetsNothingAndBlocksNoOne) {
  shelltest::FifoInPlace fifo(SupportFolder() / "veneer_debug.log");
  ASSERT_TRUE(fifo.Made());
  KeepCompanionAlive();
  EXPECT_TRUE(fifo.ReturnsWithin([] { veneer::DebugLog("into a pipe"); }));
  EXPECT_TRUE(fifo.ReturnsWithin([] { shelltest::OnWorker([] { veneer::DebugLog("into a pipe"); }); }));
  // A host's initialise and uninitialise log on its thread and the link's.
  shelltest::HostedVeneer veneer;
  EXPECT_TRUE(fifo.ReturnsWithin([&] {
    EXPECT_EQ(veneer.Initialize(), noErr);
    EXPECT_EQ(veneer.Uninitialize(), noErr);
  }));
  // While someone reads the pipe, nothing is written into it either.
  fifo.HoldReadEnd();
  EXPECT_TRUE(fifo.ReturnsWithin([] { veneer::DebugLog("into a pipe"); }));
  EXPECT_EQ(fifo.Written(), 0U);
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

TEST_F(VariantFileTest, OnlyTheFirstLinesFirstKilobyteIsSearched) {
  EXPECT_STREQ(Chosen(std::string(1000, ' ') + "AutoTune 2026\n"), "AutoTune 2026");
  EXPECT_EQ(Chosen(std::string(1024, ' ') + "AutoTune 2026\n"), nullptr);
  EXPECT_EQ(Chosen(std::string(50U << 20, ' ') + "AutoTune 2026\n"), nullptr);
}

// The companion application and support search the log for these texts: each
// constant must stay these bytes, whatever the code around it becomes.
TEST(LogTexts, AreTheBytesTheLogsReadersSearchFor) {
  const std::pair<std::string_view, std::string_view> kTexts[] = {
      {logtext::kInitializeCalled, " Initialize called -> err="},
      {logtext::kInitializeEnsureFailed, "Initialize: EnsureInnerUnit err="},
      {logtext::kCleanupCalled, " Cleanup called"},
      {logtext::kLogicRetired, "Logic 宿主：内部 Auto-Tune 退役不销毁（留给下次复用）"},
      {logtext::kLogicRetiredAlready, "Logic 宿主：已经有一个退役实例了，这个只能放着（不销毁）"},
      {logtext::kDisposeOnMainThread, " 内部 Auto-Tune 改到主线程销毁"},
      {logtext::kDisposedOnMainThread, "[main] 内部 Auto-Tune 已销毁"},
      {logtext::kInnerDisposed, "inner unit disposed"},
      {logtext::kSeveralCopies, "同名 AU 组件有 "},
      {logtext::kSeveralCopiesVersions, " 份，版本:"},
      {logtext::kSeveralCopiesChosen, " → 选用最高版本 "},
      {logtext::kForcedVariant, "强制使用 Auto-Tune 版本: "},
      {logtext::kPreferredVariant, "按 App 偏好使用 Auto-Tune 版本: "},
      {logtext::kForcedVariantMissing, "强制指定的版本没找到: "},
      {logtext::kFoundVariant, "找到 Auto-Tune 版本: "},
      {logtext::kNoVariant, "CreateInnerUnit FAIL: 没找到支持的 Auto-Tune（Auto-Tune Pro / AutoTune 2026）"},
      {logtext::kCreateOnMainThread, " 内部 Auto-Tune 改到主线程创建（宿主线程不是主线程）"},
      {logtext::kCreatedWithFormat, "[main] 内部 Auto-Tune 已创建，宿主格式已传入"},
      {logtext::kCreated, "[main] 内部 Auto-Tune 已创建"},
      {logtext::kCreateFailed, "[main] 创建内部 Auto-Tune 失败 err="},
      {logtext::kElapsed, "（耗时 "},
      {logtext::kElapsedEnd, "ms）"},
      {logtext::kComponentPath, "组件路径: "},
      {logtext::kReusingRetired, "复用退役的内部 Auto-Tune 实例: "},
      {logtext::kCreateFailedInstanceNew, "CreateInnerUnit FAIL: InstanceNew err="},
      {logtext::kCreateFailedInputFormat, "CreateInnerUnit FAIL: 输入格式 err="},
      {logtext::kCreateFailedOutputFormat, "CreateInnerUnit FAIL: 输出格式 err="},
      {logtext::kCreateFailedRenderCallback, "CreateInnerUnit FAIL: 渲染回调 err="},
      {logtext::kCreateFailedMaximumFrames, "CreateInnerUnit FAIL: MaximumFramesPerSlice err="},
      {logtext::kCreateFailedInitialize, "CreateInnerUnit FAIL: AudioUnitInitialize err="},
      {logtext::kCreateFailedAfterInitialize, "CreateInnerUnit FAIL: 初始化后配置中断 err="},
      {logtext::kCreateFailedReleasing, "CreateInnerUnit FAIL: 创建失败，释放内部单元 err="},
      {logtext::kCorrectionModeForced, "correction mode forced -> "},
      {logtext::kScaleCheckUnreadable, "⚠️ 自检：读不到调式参数 "},
      {logtext::kScaleCheckPassed, "自检通过：调式参数 "},
      {logtext::kScaleCheckMismatch, "⚠️ 自检：调式参数名不匹配（期望「"},
      {logtext::kScaleCheckMismatchActual, "」，实际「"},
      {logtext::kScaleCheckMismatchEnd, "」）——这个版本的 Auto-Tune 可能不认我们的调式"},
      {logtext::kFormatChange, " ChangeStreamFormat scope="},
      {logtext::kFormatChangeEnsureFailed, "ChangeStreamFormat: EnsureInnerUnit err="},
      {logtext::kFormatChanged, "format changed -> inner updated"},
      {logtext::kRenderCalled, "Render called frames="},
      {logtext::kRenderStateChange, " (state change)"},
      {logtext::kInnerRenderStatus, "inner render status="},
      {logtext::kHostBypassSet, "bypass set -> "},
      {logtext::kManualChangesSent, "顾客手动改的参数已回传:\n"},
      {logtext::kHeartbeatLost, "app heartbeat lost -> bypass ON"},
      {logtext::kHeartbeatBack, "app heartbeat back -> bypass OFF"},
      {logtext::kQuitMarker, "app quit marker -> bypass ON"},
      {logtext::kApplied, "ipc# "},
      {logtext::kReadBack, "readback"},
      {logtext::kRenderDiagnostics, "渲染诊断: 次数="},
      {logtext::kRenderDiagnosticsSlow, " 慢块(>8ms)="},
      {logtext::kRenderDiagnosticsLongest, " 最大="},
      {logtext::kExceptionCaught, "exception caught in "},
  };
  for (const auto& [constant, bytes] : kTexts) {
    EXPECT_EQ(constant, bytes);
  }
}

}  // namespace
