// The settings file as the link reads it: a real file gives what its bytes
// say; a huge one is read up to the bound, in constant memory, by any number
// of instances at once, and never holds up the host's uninitialise.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "LinkHarness.h"
#include "link/SettingsFile.h"

namespace {

using linktest::LinkTest;
using veneer::kSettingsLineLimit;
using veneer::kSettingsReadLimit;
using veneer::Settings;
using namespace std::chrono_literals;

constexpr size_t kFiftyMegabytes = 50U << 20;
constexpr long kChildCapKiB = 1L << 20;  // a gigabyte: far more than bounded reads need

class SettingsFile : public LinkTest {
 protected:
  [[nodiscard]] std::string Path() const { return (SupportFolder() / "plugin_state.txt").string(); }

  // A run of the file: `text` repeated to `bytes` bytes (once when 0).
  struct Run {
    std::string text;
    size_t bytes = 0;
  };
  // Writes the runs as the file `name` of the support folder, never holding
  // much of it in memory.
  void WriteLarge(const std::string& name, std::initializer_list<Run> runs) const {
    std::ofstream file(SupportFolder() / name, std::ios::binary | std::ios::trunc);
    for (const Run& run : runs) {
      std::string piece;
      while (piece.size() < (1U << 20)) {
        piece += run.text;
      }
      for (size_t left = run.bytes == 0 ? run.text.size() : run.bytes; left > 0;) {
        const size_t now = std::min(left, piece.size());
        file.write(piece.data(), static_cast<std::streamsize>(now));
        left -= now;
      }
    }
  }
};

// Whether the settings file's retune reached the stand-in.
bool AppliedTo(standin::Unit* inner) {
  if (inner == nullptr) {
    return false;
  }
  const auto writes = inner->Writes();
  return std::any_of(writes.begin(), writes.end(),
                     [](const auto& write) { return write.id == 4 && write.value == 0.25F; });
}

void ExpectSame(const Settings& read, const Settings& parsed) {
  EXPECT_EQ(read.seq, parsed.seq);
  EXPECT_EQ(read.appRunning, parsed.appRunning);
  EXPECT_EQ(read.values, parsed.values);
}

TEST_F(SettingsFile, ARealFileReadsAsItsBytesParse) {
  // CRLF, a line at the bound that crosses the reader's pieces, a longer one
  // skipped, and a last line without its line end.
  std::string text = "seq=3\r\nappRunning=1\r\nkey=9\r\n";
  while (text.size() < 3600) {
    text += "retune=0.125\n";
  }
  text += "retune=0.375\nhumanize=0.25" + std::string(kSettingsLineLimit - 13, '0') + "\n";
  text += "formant=0.75" + std::string(kSettingsLineLimit, '0') + "\n";
  for (const std::string_view last : {"wetDry=0.5", "wetDry=0.5\n", ""}) {
    WriteSettings(text + std::string(last));
    const std::optional<Settings> read = veneer::ReadSettingsFile(Path());
    ASSERT_TRUE(read.has_value());
    ExpectSame(*read, veneer::ParseSettings(text + std::string(last)));
    EXPECT_EQ(read->seq, 3);
    EXPECT_EQ(read->Value("key"), 9.0);
    EXPECT_EQ(read->Value("retune"), 0.375);
    EXPECT_EQ(read->Value("humanize"), 0.25);
    EXPECT_EQ(read->Value("formant"), -1.0);
    EXPECT_EQ(read->Value("wetDry"), last.empty() ? -1.0 : 0.5);
  }
}

TEST_F(SettingsFile, OnlyTheFirst64KiBAreRead) {
  // Short lines up to the bound; a line that the bound cuts is not read.
  std::string head = "seq=5\n";
  while (head.size() < kSettingsReadLimit - 20) {
    head += "retune=0.25\n";
  }
  head.resize(kSettingsReadLimit - 6, '\n');
  WriteSettings(head + "seq=123456\nkey=4\n");
  EXPECT_EQ(veneer::ReadSettingsFile(Path())->seq, 5);
  EXPECT_EQ(veneer::ReadSettingsFile(Path())->Value("key"), -1.0);

  // A file that ends at the bound is read whole, its last line too.
  head.resize(kSettingsReadLimit - 6);
  WriteSettings(head + "seq=12");
  EXPECT_EQ(veneer::ReadSettingsFile(Path())->seq, 12);
  EXPECT_EQ(veneer::ReadSettingsFile(Path())->Value("retune"), 0.25);
}

// Each in a watched child process: the old way of reading grew with the file.
TEST_F(SettingsFile, FiftyMegabyteFilesAreReadUpToTheBoundsInConstantMemory) {
  if (!linktest::InChild()) {
    EXPECT_TRUE(linktest::PassesInChild(20s, kChildCapKiB));
    return;
  }
  WriteLarge("one-line.txt", {{"7", kFiftyMegabytes}});
  WriteLarge("after-a-long-line.txt",
             {{"seq=2\nretune=0.5"}, {"7", 40000}, {"\nseq=3\nkey=4\n"}, {"x", kFiftyMegabytes}});
  WriteLarge("seq-beyond-the-bound.txt", {{"key=6\n"}, {"\n", kFiftyMegabytes}, {"seq=9\n"}});
  const auto read = [this](const char* name) { return *veneer::ReadSettingsFile((SupportFolder() / name).string()); };
  const long before = linktest::PeakResidentKiB();

  const Settings oneLine = read("one-line.txt");
  EXPECT_EQ(oneLine.seq, -1);
  EXPECT_EQ(oneLine.values, Settings{}.values);
  const Settings afterLongLine = read("after-a-long-line.txt");
  EXPECT_EQ(afterLongLine.seq, 3);
  EXPECT_EQ(afterLongLine.Value("retune"), -1.0);
  EXPECT_EQ(afterLongLine.Value("key"), 4.0);
  const Settings seqBeyond = read("seq-beyond-the-bound.txt");
  EXPECT_EQ(seqBeyond.seq, -1);
  EXPECT_EQ(seqBeyond.Value("key"), 6.0);
  // A read of the whole line would take fifty megabytes.
  EXPECT_LT(linktest::PeakResidentKiB() - before, 4096) << "KiB taken by reading the files";
}

// Every instance's link thread reads the file each second: 64 instances on a
// fifty-megabyte file stay within a few megabytes of memory each, and each
// uninitialise waits only for the end of its thread's current pass.
TEST_F(SettingsFile, SixtyFourInstancesOnAHugeFileStaySmallAndStopPromptly) {
  if (!linktest::InChild()) {
    EXPECT_TRUE(linktest::PassesInChild(30s, kChildCapKiB));
    return;
  }
  constexpr int kInstances = 64;
  WriteLarge("plugin_state.txt", {{"seq=1\nretune=0.25\n"}, {"9", kFiftyMegabytes}});
  standin::Register(standin::Variant::kPro);
  const long before = linktest::PeakResidentKiB();
  std::vector<std::unique_ptr<shelltest::HostedVeneer>> veneers;
  std::vector<standin::Unit*> inners;
  for (int i = 0; i < kInstances; ++i) {
    veneers.push_back(std::make_unique<shelltest::HostedVeneer>());
    ASSERT_EQ(veneers.back()->Initialize(), noErr);
    inners.push_back(standin::Find((*veneers.back())->InnerUnit()));
  }
  long applied = 0;
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (applied < kInstances && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(10ms);
    applied = std::count_if(inners.begin(), inners.end(), AppliedTo);
  }
  EXPECT_EQ(applied, kInstances);
  for (const auto& veneer : veneers) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(veneer->Uninitialize(), noErr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
  }
  // A few megabytes each at most (ThreadSanitizer's shadow of each thread
  // weighs most of it); a whole read of the file would take fifty.
  EXPECT_LT(linktest::PeakResidentKiB() - before, kInstances * 4096L) << "KiB taken by 64 instances";
}

}  // namespace
