// Runs the real veneer-host against a temporary home folder, with Veneer loaded
// from its bundle in the build tree, and checks the audio it writes.
#include <CoreFoundation/CoreFoundation.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include "InstalledProducts.h"
#if defined(__APPLE__)
#include <util.h>
#else
#include <pty.h>
#endif

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "AudioFile.h"
#include "RunProgram.h"
#include "standin/Unit.h"

namespace {

namespace fs = std::filesystem;

// veneer-host registers a stand-in product in its own process on Linux only;
// elsewhere Veneer finds only products installed on the machine.
#if defined(__APPLE__)
constexpr bool kHostHasStandIns = false;
#else
constexpr bool kHostHasStandIns = true;
#endif

class VeneerHostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/veneer-host-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    fs::create_directories(root_ + "/home");
  }
  void TearDown() override { fs::remove_all(root_); }

  std::string PathOf(const std::string& name) const { return root_ + "/" + name; }

  // Veneer comes from the build's bundle unless the arguments name another unit.
  testsupport::ProgramResult Host(std::vector<std::string> args) const {
    if (args.front() == "render") {
      args.emplace_back("--no-progress");
    }
    if (std::find(args.begin(), args.end(), "--component") == args.end() &&
        std::find(args.begin(), args.end(), "--module") == args.end()) {
      args.insert(args.end(), {"--module", VENEER_BUNDLE_PATH});
    }
    args.insert(args.begin(), VENEER_HOST_PATH);
    return testsupport::RunProgram(args, {"HOME=" + root_ + "/home"}, root_);
  }

  // A float WAV of `channels` channels: distinct ramps per channel, never silent.
  std::string WriteInput(const std::string& name, std::size_t channels, std::size_t frames) const {
    host::Audio audio;
    audio.sampleRate = 44100;
    audio.fileFormat = 0x010006;  // WAV, 32-bit float
    audio.channels.assign(channels, std::vector<float>(frames));
    for (std::size_t c = 0; c < channels; ++c) {
      for (std::size_t i = 0; i < frames; ++i) {
        audio.channels[c][i] = 0.8F * std::sin(0.01F * static_cast<float>(i * (c + 1))) + 0.001F;
      }
    }
    std::string error;
    EXPECT_TRUE(host::WriteAudioFile(PathOf(name), audio, &error)) << error;
    return PathOf(name);
  }

  // veneer-host started in the background with `actions` on its files; -1 when it could not be.
  pid_t Spawn(std::vector<std::string> args, const posix_spawn_file_actions_t* actions) const {
    args.insert(args.begin(), VENEER_HOST_PATH);
    std::vector<char*> argv;
    for (std::string& arg : args) {
      argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    std::string home = "HOME=" + root_ + "/home";
    char* env[] = {home.data(), nullptr};
    pid_t pid = -1;
    return posix_spawn(&pid, argv[0], actions, nullptr, argv.data(), env) == 0 ? pid : -1;
  }

  static host::Audio Read(const std::string& path) {
    std::string error;
    auto audio = host::ReadAudioFile(path, 8, &error);
    EXPECT_TRUE(audio.has_value()) << error;
    return audio.value_or(host::Audio{});
  }

  std::string root_;
};

TEST_F(VeneerHostTest, RendersThroughTheStandInWhenTheCompanionIsAlive) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here";
  }
  const std::string input = WriteInput("in.wav", 2, 22050);
  const auto result = Host({"render", input, "--fast", "--block", "300", "--set", "key=3", "--set", "scale=1"});
  ASSERT_EQ(result.status, 0) << result.err;

  const host::Audio in = Read(input);
  const host::Audio out = Read(PathOf("in-veneer.wav"));
  ASSERT_EQ(out.channels.size(), 2U);
  ASSERT_EQ(out.Frames(), in.Frames());
  for (std::size_t c = 0; c < 2; ++c) {
    for (std::size_t i = 0; i < in.Frames(); ++i) {
      ASSERT_EQ(out.channels[c][i], in.channels[c][i] * standin::kGain) << "channel " << c << " frame " << i;
    }
  }
  EXPECT_NE(result.out.find("variant:         Stand-in: Auto-Tune Pro 1.0.0"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("rendered 74 of 74 blocks"), std::string::npos);
  std::ifstream header(PathOf("in-veneer.wav"), std::ios::binary);
  unsigned char head[22] = {};
  header.read(reinterpret_cast<char*>(head), sizeof head);
  EXPECT_EQ(head[20] | (head[21] << 8), 0xFFFE) << "float WAV written with the extensible header";
  EXPECT_NE(result.out.find("] ipc# 1 "), std::string::npos) << "settings applied";
  EXPECT_NE(result.out.find("74 blocks, "), std::string::npos) << "22050 frames in blocks of 300";
  EXPECT_NE(result.out.find("plugin_state.txt"), std::string::npos) << "support folder listing";
}

TEST_F(VeneerHostTest, APlainRenderKeepsTheCompanionsFileFreshAndRendersThroughTheProduct) {
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here";
  }
  const std::string input = WriteInput("in.wav", 1, 6000);
  const std::string folder = root_ + "/home/Library/Application Support/Tonvale";
  const std::string state = folder + "/plugin_state.txt";
  auto expectThroughTheProduct = [&](const std::string& output) {
    const host::Audio in = Read(input);
    const host::Audio out = Read(output);
    ASSERT_EQ(out.Frames(), in.Frames());
    for (std::size_t i = 0; i < in.Frames(); ++i) {
      ASSERT_EQ(out.channels[0][i], in.channels[0][i] * standin::kGain) << output << " frame " << i;
    }
  };

  // No settings file: one without settings is written.
  auto result = Host({"render", input, "--fast", "-o", PathOf("first.wav")});
  ASSERT_EQ(result.status, 0) << result.err;
  expectThroughTheProduct(PathOf("first.wav"));
  std::ifstream written(state);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), "seq=1\nappRunning=1\n");

  // A stale file of the application's keeps its content; only its time is renewed.
  const std::string theirs = "seq=7\nappRunning=1\nkey=4\nretune=0.3\n";
  std::ofstream(state, std::ios::trunc) << theirs;
  const auto stale = fs::file_time_type::clock::now() - std::chrono::minutes(1);
  fs::last_write_time(state, stale);
  result = Host({"render", input, "--fast", "-o", PathOf("second.wav")});
  ASSERT_EQ(result.status, 0) << result.err;
  expectThroughTheProduct(PathOf("second.wav"));
  std::ifstream kept(state);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), theirs);
  EXPECT_GT(fs::last_write_time(state), stale + std::chrono::seconds(50));
  EXPECT_NE(result.out.find("before the run: seq 7 kept"), std::string::npos) << result.out;

  // --no-companion touches nothing.
  fs::last_write_time(state, stale);
  result = Host({"render", input, "--fast", "--no-companion", "-o", PathOf("third.wav")});
  ASSERT_EQ(result.status, 3) << "the stale file makes Veneer bypass: " << result.err;
  EXPECT_EQ(fs::last_write_time(state), stale);
  EXPECT_NE(result.out.find("left the companion's files alone"), std::string::npos) << result.out;
  EXPECT_EQ(Host({"render", input, "--no-companion", "--set", "key=1"}).status, 2);
}

TEST_F(VeneerHostTest, WithoutAProductEveryBlockTakesThePassThroughPath) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  const std::string input = WriteInput("in.wav", 1, 4000);
  const auto result =
      Host({"render", input, "-o", PathOf("out/dry.flac"), "--fast", "--standin", "none", "--block", "512"});
  // Written, and told apart from a render through the product: status 3, and why on standard error.
  ASSERT_EQ(result.status, 3) << result.err;
  EXPECT_NE(
      result.err.find("8 of 8 blocks did not go through the product (see the summary): " + PathOf("out/dry.flac") +
                      " holds Veneer's replayed block or the dry input there, not the product's audio"),
      std::string::npos)
      << result.err;
  // Asked for with the host's bypass switch, the same run is a success.
  const auto asked = Host({"render", input, "-o", PathOf("out/asked.wav"), "--fast", "--standin", "none", "--bypass"});
  EXPECT_EQ(asked.status, 0) << asked.err;
  EXPECT_NE(asked.out.find("bypassed, the host's bypass"), std::string::npos) << asked.out;
  EXPECT_NE(result.out.find("rendered 0 of 8 blocks\n    blocks 1-8 (0.000-0.091 s): bypassed, no product"),
            std::string::npos)
      << result.out;

  // The first block passes through; the pass-through then plays the last pulled block again.
  const host::Audio in = Read(input);
  const host::Audio out = Read(PathOf("out/dry.flac"));
  ASSERT_EQ(out.Frames(), in.Frames());
  constexpr float kFlacStep = 2.0F / (1 << 23);  // 24-bit samples, either rounding
  for (std::size_t i = 0; i < out.Frames(); ++i) {
    ASSERT_NEAR(out.channels[0][i], in.channels[0][i % 512], kFlacStep) << "frame " << i;
  }
}

TEST_F(VeneerHostTest, TheSummaryTellsWhichBlocksWereBypassedAndWhy) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here";
  }
  const std::string input = WriteInput("in.wav", 1, 20000);
  const std::string folder = root_ + "/home/Library/Application Support/Tonvale";
  fs::create_directories(folder);
  std::ofstream(folder + "/plugin_state.txt") << "seq=3\nappRunning=1\n";
  fs::last_write_time(folder + "/plugin_state.txt", fs::file_time_type::clock::now() - std::chrono::minutes(1));
  std::ofstream(folder + "/force_variant.txt") << "AutoTune 2026\n";
  const auto result = Host({"render", input, "-o", PathOf("out.wav"), "--no-companion", "--block", "1000"});
  ASSERT_EQ(result.status, 3) << result.err;
  EXPECT_NE(result.out.find("missing variant: \"AutoTune 2026\" was forced but is not installed; Veneer used "
                            "Stand-in: Auto-Tune Pro"),
            std::string::npos)
      << result.out;

  // Every block listed matches the audio: the product's gain, or the last block read played again.
  const host::Audio in = Read(input);
  const host::Audio out = Read(PathOf("out.wav"));
  std::istringstream lines(result.out);
  std::size_t covered = 0;
  std::size_t bypassed = 0;
  std::size_t lastRead = 0;
  for (std::string line; std::getline(lines, line);) {
    std::size_t first = 0;
    std::size_t last = 0;
    if (std::sscanf(line.c_str(), "    blocks %zu-%zu", &first, &last) != 2) {
      continue;
    }
    const bool through = line.find("through the inner unit") != std::string::npos;
    EXPECT_TRUE(through || line.find("bypassed, companion gone: the heartbeat") != std::string::npos) << line;
    for (std::size_t block = first - 1; block < last; ++block, ++covered) {
      lastRead = through || block == 0 ? block : lastRead;
      bypassed += through ? 0 : 1;
      for (std::size_t i = 0; i < 1000; ++i) {
        const float dry = in.channels[0][lastRead * 1000 + i];
        ASSERT_EQ(out.channels[0][block * 1000 + i], through ? dry * standin::kGain : dry) << line << " " << i;
      }
    }
  }
  EXPECT_EQ(covered, 20U);
  EXPECT_GT(bypassed, 10U) << "the link bypasses within about a second";
}

TEST_F(VeneerHostTest, AFastRenderHoldsAtEachScheduledChangeUntilItIsApplied) {
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here: nothing applies the settings";
  }
  const std::string input = WriteInput("in.wav", 1, 44100);
  // 0.3 s is frame 13230; the first block of 512 from there starts at frame 13312 (0.302 s).
  const auto result = Host({"render", input, "--fast", "--set", "key=2", "--set-at", "0.3:retune=0.4", "--set-at",
                            "0.3:humanize=0.1", "--set-at", "0.75:retune=0.2"});
  ASSERT_EQ(result.status, 0) << result.err;
  for (const char* line : {"before the run: seq 1 key=2; sent at 0.000 s of audio, applied at 0.000 s",
                           "at 0.30 s: seq 2 retune=0.4 humanize=0.1; sent at 0.302 s of audio, applied at 0.302 s",
                           "at 0.75 s: seq 3 retune=0.2; sent at 0.755 s of audio, applied at 0.755 s",
                           "seq 1 as sent: key=2\n      Veneer's line, in the product's units: [",
                           "seq 3 as sent: retune=0.2\n      Veneer's line, in the product's units: [",
                           "] ipc# 3 mode=0.000000 retune=0.200000"}) {
    EXPECT_NE(result.out.find(line), std::string::npos) << line << "\n" << result.out;
  }

  // A change at or after the end is refused before anything is written.
  const auto late = Host({"render", input, "--fast", "-o", PathOf("late.wav"), "--set-at", "1:retune=0.4"});
  EXPECT_EQ(late.status, 2);
  EXPECT_NE(late.err.find("--set-at 1 s is not within the input, which lasts 1.000 s"), std::string::npos) << late.err;
  EXPECT_FALSE(fs::exists(PathOf("late.wav")));
}

TEST_F(VeneerHostTest, TheProgressBarStaysOnOneLineOfANarrowTerminal) {
  const std::string input = WriteInput("in.wav", 1, 26460);  // 0.6 s at real time
  int terminal = -1;
  int side = -1;
  winsize size{};
  size.ws_col = 40;
  size.ws_row = 20;
  ASSERT_EQ(openpty(&terminal, &side, nullptr, nullptr, &size), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, side, STDERR_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  const pid_t pid = Spawn({"render", input, "--module", VENEER_BUNDLE_PATH}, &actions);
  posix_spawn_file_actions_destroy(&actions);
  ASSERT_GT(pid, 0);
  close(side);
  std::string shown;
  char buffer[4096];
  for (ssize_t got; (got = read(terminal, buffer, sizeof buffer)) > 0;) {
    shown.append(buffer, static_cast<std::size_t>(got));
  }
  close(terminal);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << shown;

  // Redraws over one line: no line end but the last, each redraw shorter than the width.
  EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 1) << shown;
  EXPECT_GE(std::count(shown.begin(), shown.end(), '\r'), 3) << shown;
  std::istringstream redraws(shown);
  for (std::string redraw; std::getline(redraws, redraw, '\r');) {
    redraw = redraw.substr(0, redraw.find("\x1b[K"));
    EXPECT_LT(redraw.size(), 40U) << redraw;
  }
  EXPECT_NE(shown.find("100%  0.60 / 0.60 s"), std::string::npos) << shown;
}

TEST_F(VeneerHostTest, CtrlCClosesTheUnitAndSaysWhatWasLeft) {
  const std::string input = WriteInput("in.wav", 1, 3 * 44100);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, PathOf("err.txt").c_str(), O_WRONLY | O_CREAT, 0644);
  const pid_t pid = Spawn({"render", input, "-o", PathOf("out.wav"), "--module", VENEER_BUNDLE_PATH}, &actions);
  posix_spawn_file_actions_destroy(&actions);
  ASSERT_GT(pid, 0);
  // Interrupted once the render is under way: the log shows its first renders.
  const std::string log = root_ + "/home/Library/Application Support/Tonvale/veneer_debug.log";
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  auto logged = [&] {
    std::ifstream file(log);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  while (logged().find("Render called") == std::string::npos && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  kill(pid, SIGINT);
  int status = 0;
  waitpid(pid, &status, 0);
  std::ifstream err(PathOf("err.txt"));
  const std::string said(std::istreambuf_iterator<char>(err), {});
  ASSERT_TRUE(WIFEXITED(status)) << "ended by the signal instead of stopping";
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_NE(said.find("interrupted after "), std::string::npos) << said;
  EXPECT_NE(said.find("of 3.00 s of audio; the unit was uninitialised and closed; nothing was written"),
            std::string::npos)
      << said;
  EXPECT_FALSE(fs::exists(PathOf("out.wav")));
  const std::string closing = logged();
  EXPECT_NE(closing.find("Cleanup called"), std::string::npos) << closing;
  if (kHostHasStandIns) {
    EXPECT_NE(closing.find("inner unit disposed"), std::string::npos) << closing;
  }
}

TEST_F(VeneerHostTest, RefusesAudioThatIsNeitherMonoNorStereo) {
  const std::string input = WriteInput("surround.wav", 6, 1000);
  const auto result = Host({"render", input, "--fast"});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("has 6 channels; only mono and stereo"), std::string::npos) << result.err;
  EXPECT_FALSE(fs::exists(PathOf("surround-veneer.wav")));
  EXPECT_FALSE(fs::exists(root_ + "/home/Library/Application Support/Tonvale")) << "nothing written";

  // Empty or unreadable inputs: a FLAC stream header with no frames (its length unknown), a
  // WAV header alone, an empty file, text.
  std::string flac = "fLaC";
  flac += std::string{'\x80', '\0', '\0', '\x22', '\x10', '\0',   '\x10', '\0', '\0', '\0', '\0',
                      '\0',   '\0', '\0', '\x0A', '\xC4', '\x40', '\xF0', '\0', '\0', '\0', '\0'};
  flac += std::string(16, '\0');
  std::ofstream(PathOf("header.flac"), std::ios::binary) << flac;
  WriteInput("header.wav", 1, 0);
  std::ofstream(PathOf("zero.aiff")).flush();
  std::ofstream(PathOf("text.wav")) << "not audio\n";
  for (const char* name : {"header.flac", "header.wav", "zero.aiff", "text.wav"}) {
    const auto refused = Host({"render", PathOf(name), "--fast", "-o", PathOf("out.wav")});
    EXPECT_EQ(refused.status, 2) << name << ": " << refused.err;
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
    EXPECT_FALSE(fs::exists(PathOf("out.wav"))) << name;
  }

  // No output may replace the input or another output; the input stays as it was.
  const std::string mono = WriteInput("mono.wav", 1, 1000);
  const auto before = fs::last_write_time(mono);
  for (const std::vector<std::string>& clash :
       {std::vector<std::string>{"render", mono, "-o", mono},
        {"render", mono, "-o", root_ + "/./mono.wav"},
        {"render", mono, "--report", mono},
        {"render", mono, "--save-preset", PathOf("x.wav"), "-o", PathOf("x.wav")},
        // Relative names, in the folder the host runs in, written two ways.
        {"render", mono, "-o", "o.wav", "--report", "./o.wav"},
        {"render", mono, "-o", "p.wav", "--save-preset", "./p.wav"},
        {"render", "--fast", "-o", "d.wav", "--report", "./d.wav"}}) {
    const auto refused = Host(clash);
    EXPECT_EQ(refused.status, 2) << clash[3];
    EXPECT_NE(refused.err.find("name"), std::string::npos) << refused.err;
  }
  EXPECT_EQ(fs::last_write_time(mono), before);
  for (const char* name : {"x.wav", "o.wav", "p.wav", "d.wav"}) {
    EXPECT_FALSE(fs::exists(PathOf(name))) << name;
  }

  for (const std::vector<std::string>& bad : {std::vector<std::string>{"render", input, "--block", "0"},
                                              {"render", input, "--set", "key=12"},
                                              {"render", input, "--component", "aufx"},
                                              {"render", "missing.wav"},
                                              {"render", input, "--block", "1024", "--max-frames", "512"},
                                              {"render", input, "--home", root_ + "/nowhere"},
                                              {"play"}}) {
    const auto refused = Host(bad);
    EXPECT_EQ(refused.status, 2) << bad.back();
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
  }
  for (const char* asked : {"--help", "--version"}) {
    const auto answered = Host({"render", asked});
    EXPECT_EQ(answered.status, 0) << asked;
    EXPECT_NE(answered.out.find(asked == std::string("--help") ? "--set-at" : "veneer-host " VENEER_VERSION),
              std::string::npos)
        << answered.out;
  }
}

TEST_F(VeneerHostTest, AFailedWriteLeavesTheOldFilesWhole) {
  const std::string input = WriteInput("in.wav", 2, 44100);
  std::ofstream(PathOf("out.wav")) << "the old file\n";
  // A file-size limit stands in for a full disk: writes past it fail with EFBIG.
  const std::vector<std::string> args{"/bin/sh",
                                      "-c",
                                      "ulimit -f 64; exec \"$0\" \"$@\"",
                                      VENEER_HOST_PATH,
                                      "render",
                                      input,
                                      "-o",
                                      PathOf("out.wav"),
                                      "--fast",
                                      "--no-progress",
                                      "--module",
                                      VENEER_BUNDLE_PATH};
  const auto result = testsupport::RunProgram(args, {"HOME=" + root_ + "/home"}, root_);
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_NE(result.err.find("cannot write " + PathOf("out.wav")), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("nothing was written (" + PathOf("out.wav") + ")"), std::string::npos) << result.err;
  std::ifstream file(PathOf("out.wav"));
  EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(file), {}) == "the old file\n") << "replaced";
  for (const auto& entry : fs::directory_iterator(root_)) {
    EXPECT_NE(entry.path().filename().string()[0], '.') << "a temporary file left behind: " << entry.path();
  }
}

TEST_F(VeneerHostTest, ABundleIsLoadedAsItsInfoPlistDescribesIt) {
  const std::string input = WriteInput("in.wav", 1, 1000);
  // Another folder name than the module's, and a trailing slash.
  fs::copy(VENEER_BUNDLE_PATH, PathOf("Renamed.component"), fs::copy_options::recursive);
  auto result = Host({"render", input, "--fast", "--module", PathOf("Renamed.component/")});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("unit:            Tonvale: Veneer " VENEER_VERSION " (aufx:Vnr1:Tnvl)"), std::string::npos)
      << result.out;

  // A stand-in's bundle brings its own codes, name, version and factory.
  result = Host({"render", input, "--fast", "--standin", "none", "--module", STANDIN_BUNDLE_PATH});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("unit:            Stand-in: Auto-Tune Pro 1.0.0 (aumf:AT81:VST )"), std::string::npos)
      << result.out;

  // A bare module file says nothing of itself; a bundle without the codes asked for is refused.
  for (const std::vector<std::string>& bad :
       {std::vector<std::string>{"render", input, "--module", STANDIN_MODULE_PATH, "--factory", "StandInProFactory"},
        {"render", input, "--module", STANDIN_BUNDLE_PATH, "--component", "aufx:Vnr1:Tnvl"},
        {"render", input, "--module", root_}}) {
    const auto refused = Host(bad);
    EXPECT_EQ(refused.status, 2) << refused.err;
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
  }
}

TEST_F(VeneerHostTest, PresetsRoundTripAsPropertyLists) {
  const std::string input = WriteInput("in.wav", 1, 2000);
  // The stand-in keeps its parameters in its elements, so its preset carries them. It is
  // hosted from its module, as veneer-host can on every platform.
  std::vector<std::string> standIn{"render", input, "--fast", "--standin", "none", "--module", STANDIN_MODULE_PATH};
  standIn.insert(standIn.end(), {"--factory", "StandInProFactory", "--component", "aumf:AT81:VST "});
  auto with = [&](std::vector<std::string> extra) {
    std::vector<std::string> args = standIn;
    args.insert(args.end(), extra.begin(), extra.end());
    return Host(args);
  };
  ASSERT_EQ(with({"--param", "4=0.125", "--save-preset", PathOf("a.aupreset")}).status, 0);
  ASSERT_EQ(with({"--load-preset", PathOf("a.aupreset"), "--save-preset", PathOf("b.aupreset")}).status, 0);
  ASSERT_EQ(with({"--save-preset", PathOf("default.aupreset")}).status, 0);

  // Each preset read back as the property list it must be: the unit's state, named after the file.
  auto entry = [&](const std::string& file, CFStringRef key) {
    std::ifstream in(PathOf(file));
    const std::string text(std::istreambuf_iterator<char>(in), {});
    EXPECT_EQ(text.rfind("<?xml", 0), 0U) << file;
    const CFDataRef data =
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size()));
    const CFPropertyListRef plist =
        CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
    CFRelease(data);
    const void* value = plist == nullptr ? nullptr : CFDictionaryGetValue(static_cast<CFDictionaryRef>(plist), key);
    const CFTypeRef kept = value == nullptr ? nullptr : CFRetain(value);
    if (plist != nullptr) {
      CFRelease(plist);
    }
    return kept;
  };
  const CFTypeRef a = entry("a.aupreset", CFSTR("data"));
  const CFTypeRef b = entry("b.aupreset", CFSTR("data"));
  const CFTypeRef plain = entry("default.aupreset", CFSTR("data"));
  const CFTypeRef name = entry("a.aupreset", CFSTR("name"));
  ASSERT_TRUE(a != nullptr && b != nullptr && plain != nullptr && name != nullptr);
  EXPECT_TRUE(CFEqual(a, b)) << "a preset loaded and saved again keeps the values";
  EXPECT_FALSE(CFEqual(a, plain));
  EXPECT_TRUE(CFEqual(name, CFSTR("a"))) << "named after its file";
  for (const CFTypeRef value : {a, b, plain, name}) {
    CFRelease(value);
  }

  // Another unit's preset, or no preset at all, is refused before anything renders.
  const auto foreign = Host({"render", input, "--fast", "--load-preset", PathOf("a.aupreset")});
  EXPECT_EQ(foreign.status, 2);
  EXPECT_NE(foreign.err.find("is a preset of aumf:AT81:VST , not of the unit hosted (aufx:Vnr1:Tnvl)"),
            std::string::npos)
      << foreign.err;
  std::ofstream(PathOf("junk.aupreset")) << "not a plist";
  EXPECT_EQ(Host({"render", input, "--fast", "--load-preset", PathOf("junk.aupreset")}).status, 2);

  // Every output's folder is made; a preset that cannot be written is found before the render.
  ASSERT_EQ(with({"--save-preset", PathOf("new/folder/c.aupreset")}).status, 0);
  EXPECT_TRUE(fs::exists(PathOf("new/folder/c.aupreset")));
  const auto unwritable = with({"-o", PathOf("out.wav"), "--save-preset", input + "/d.aupreset"});
  EXPECT_EQ(unwritable.status, 2);
  EXPECT_NE(unwritable.err.find(input), std::string::npos) << unwritable.err;
  EXPECT_FALSE(fs::exists(PathOf("out.wav"))) << "nothing rendered";
}

TEST_F(VeneerHostTest, TheEmbeddedDemoWritesItsResultAndReport) {
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here: the demo's settings reach no inner unit";
  }
  const auto result = Host({"render", "--fast", "-o", PathOf("demo/voice.wav")});
  ASSERT_EQ(result.status, 0) << result.err;
  const host::Audio out = Read(PathOf("demo/voice.wav"));
  EXPECT_EQ(out.Frames(), 4U * 48000U);
  std::ifstream report(PathOf("demo/voice.txt"));
  const std::string text(std::istreambuf_iterator<char>(report), {});
  EXPECT_NE(text.find("the embedded demo voice"), std::string::npos) << text;
  EXPECT_NE(text.find("before the run: seq 1 key=9 scale=1"), std::string::npos) << text;
  EXPECT_NE(text.find("ipc# 2 mode=0.000000 retune=0.400000"), std::string::npos) << "the change half-way applied";
}

}  // namespace

namespace {

TEST_F(VeneerHostTest, ViewPrintsWhatVeneersWindowWouldShow) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "the stand-ins are registered in-process on Linux only";
  }
  const auto has = [](const testsupport::ProgramResult& result, const std::string& text) {
    return result.out.find(text) != std::string::npos;
  };
  // No application has written its settings file: Veneer bypasses the product.
  auto result = Host({"view", "--no-companion"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(has(result, "window: the generic view of the product's parameters")) << result.out;
  EXPECT_TRUE(has(result,
                  "status: Auto-Tune Pro 1.0.0 (Stand-in: Auto-Tune Pro) - BYPASSED: the companion "
                  "application is not running, so you hear the last block repeated"))
      << result.out;

  result = Host({"view"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(has(result, "window: the generic view")) << result.out;
  EXPECT_TRUE(has(result, "(Stand-in: Auto-Tune Pro) - Steered by the companion application.\n")) << result.out;

  result = Host({"view", "--standin", "efx", "--standin-view"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(has(result, "window: the product's own view, under the status line\n  bundle: ")) << result.out;
  EXPECT_TRUE(has(result, "/Resources/StandInCocoaUI.bundle")) << result.out;
  EXPECT_TRUE(has(result, "  class:  StandInCocoaUIViewFactory\nstatus: Auto-Tune EFX+ 1.0.0")) << result.out;

  result = Host({"view", "--standin", "none"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(has(result,
                  "window: status only (no inner unit)\nstatus: No supported product is installed. Veneer "
                  "needs one of Auto-Tune Pro, AutoTune Advanced, AutoTune 2026, Auto-Tune Artist or "
                  "Auto-Tune EFX+"))
      << result.out;

  result = Host({"view", "--module", STANDIN_BUNDLE_PATH, "--standin", "none"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("the unit is not Veneer"), std::string::npos) << result.err;
}

}  // namespace

namespace {

// Found before the first block, with the status of a bad command line: a long render is never
// lost to an output that could not have been written.
TEST_F(VeneerHostTest, OutputsThatCannotBeWrittenAreRefusedBeforeTheRender) {
  const std::string input = WriteInput("in.wav", 1, 1000);
  fs::create_directories(PathOf("folder"));
  for (const std::vector<std::string>& bad : {std::vector<std::string>{"render", input, "-o", PathOf("x.mp3")},
                                              {"render", input, "-o", "-"},
                                              {"render", input, "--report", PathOf("folder")},
                                              {"render", input, "--save-preset", PathOf("folder")},
                                              {"render", "-o", PathOf("demo.ogg")}}) {
    const auto refused = Host(bad);
    EXPECT_EQ(refused.status, 2) << bad.back() << ": " << refused.err;
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
    EXPECT_EQ(refused.out, "") << "nothing was rendered";
  }
  EXPECT_FALSE(fs::exists(PathOf("x.mp3")));
  EXPECT_FALSE(fs::exists(PathOf("in-veneer.wav")));
  EXPECT_TRUE(fs::is_empty(PathOf("folder")));

  // An input of a type the tool reads but does not write gets a WAV beside it.
  host::Audio audio = Read(input);
  audio.fileFormat = 0x020006;  // AIFF, 32-bit float: an AIFC file
  std::string error;
  ASSERT_TRUE(host::WriteAudioFile(PathOf("take.aiff"), audio, &error)) << error;
  fs::rename(PathOf("take.aiff"), PathOf("take.aifc"));
  const auto rendered = Host({"render", PathOf("take.aifc"), "--fast"});
  EXPECT_EQ(rendered.status, 0) << rendered.err;
  EXPECT_EQ(Read(PathOf("take-veneer.wav")).Frames(), 1000U);
}

}  // namespace

namespace {

// Veneer lets its product render at most 4096 frames: a larger block is refused by the product,
// and Veneer plays it dry. Such blocks do not count as rendered through the product.
TEST_F(VeneerHostTest, BlocksTheProductRefusedAreCountedDry) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here";
  }
  const std::string input = WriteInput("in.wav", 1, 20000);
  const auto result = Host({"render", input, "-o", PathOf("out.wav"), "--fast", "--block", "8192"});
  EXPECT_EQ(result.status, 3) << result.err;
  EXPECT_EQ(result.err.rfind("veneer-host render: warning: Veneer lets its product render at most 4096 frames at a "
                             "time; blocks of 8192 frames that exceed it are played dry (the input unchanged)\n",
                             0),
            0U)
      << "warned before the render: " << result.err;
  EXPECT_NE(result.out.find("rendered 1 of 3 blocks\n"
                            "    blocks 1-2 (0.000-0.372 s): dry input, the product refused to render the block\n"
                            "    blocks 3-3 (0.372-0.454 s): through the inner unit\n"),
            std::string::npos)
      << result.out;
  // The report matches the audio: the dry input, then the product's gain.
  const host::Audio in = Read(input);
  const host::Audio out = Read(PathOf("out.wav"));
  ASSERT_EQ(out.Frames(), 20000U);
  for (std::size_t i = 0; i < 20000; ++i) {
    ASSERT_EQ(out.channels[0][i], i < 16384 ? in.channels[0][i] : in.channels[0][i] * standin::kGain) << i;
  }
}

}  // namespace

namespace {

// A WAV whose header and data disagree is read as far as it goes, with a warning that says so.
TEST_F(VeneerHostTest, AWavHeaderThatDisagreesWithItsDataIsNamed) {
  const std::string input = WriteInput("whole.wav", 1, 4000);
  const auto size = fs::file_size(input);
  fs::copy_file(input, PathOf("cut.wav"));
  fs::resize_file(PathOf("cut.wav"), size - 4000);  // a writer that died: 1000 frames of floats missing
  fs::copy_file(input, PathOf("long.wav"));
  std::ofstream(PathOf("long.wav"), std::ios::app | std::ios::binary) << std::string(600, '\0');  // no chunk

  const auto whole = Host({"render", input, "--fast", "--bypass", "-o", PathOf("a.wav")});
  EXPECT_EQ(whole.status, 0) << whole.err;
  EXPECT_EQ(whole.err.find("warning"), std::string::npos) << whole.err;

  const auto cut = Host({"render", PathOf("cut.wav"), "--fast", "--bypass", "-o", PathOf("b.wav")});
  EXPECT_EQ(cut.status, 0) << cut.err;
  EXPECT_NE(cut.err.find("warning: " + PathOf("cut.wav") +
                         ": the header claims 4000 frames of audio, the file holds 3000 (cut short): read 3000\n"),
            std::string::npos)
      << cut.err;
  EXPECT_EQ(Read(PathOf("b.wav")).Frames(), 3000U);

  const auto longer = Host({"render", PathOf("long.wav"), "--fast", "--bypass", "-o", PathOf("c.wav")});
  EXPECT_EQ(longer.status, 0) << longer.err;
  EXPECT_NE(longer.err.find("warning: " + PathOf("long.wav") +
                            ": the header claims 4000 frames of audio, the file holds 600 bytes more after them: "
                            "read 4000, the rest left out\n"),
            std::string::npos)
      << longer.err;
}

}  // namespace

namespace {

// Another host with its own Veneer on the same support folder applies what this run sends: the
// run says so, and lists each of Veneer's lines once.
TEST_F(VeneerHostTest, TwoHostsOnOneSupportFolderAreToldOfEachOther) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here";
  }
  const std::string longer = WriteInput("other.wav", 1, 4 * 44100);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const pid_t other =
      Spawn({"render", longer, "-o", PathOf("other-out.wav"), "--module", VENEER_BUNDLE_PATH}, &actions);
  posix_spawn_file_actions_destroy(&actions);
  ASSERT_GT(other, 0);
  std::this_thread::sleep_for(std::chrono::seconds(1));  // its Veneer is up

  const auto result = Host({"render", WriteInput("this.wav", 1, 2 * 44100), "--set", "key=3", "-o", PathOf("out.wav")});
  int status = 0;
  waitpid(other, &status, 0);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("warning: another Veneer applied the settings sent too: another host shares the support "
                            "folder"),
            std::string::npos)
      << result.err;
  std::size_t lines = 0;
  for (std::size_t at = result.out.find("] ipc# 2 "); at != std::string::npos;
       at = result.out.find("] ipc# 2 ", at + 1)) {
    ++lines;
  }
  EXPECT_EQ(lines, 1U) << result.out;
}

}  // namespace

namespace {

// A render in the background with its standard output and error in files.
struct Background {
  pid_t pid = -1;
  std::string out;
  std::string err;
};

// Whether `folder` holds a hidden file, as a write in progress leaves one.
bool HoldsHiddenFile(const std::string& folder) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().filename().string()[0] == '.') {
      return true;
    }
  }
  return false;
}

bool AwaitHiddenFile(const std::string& folder) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!HoldsHiddenFile(folder)) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string Contents(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class VeneerHostRunTest : public VeneerHostTest {
 protected:
  Background Start(const std::vector<std::string>& args) const {
    Background run;
    run.out = PathOf("stdout.txt");
    run.err = PathOf("stderr.txt");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, run.out.c_str(), O_WRONLY | O_CREAT, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, run.err.c_str(), O_WRONLY | O_CREAT, 0644);
    std::vector<std::string> full = args;
    full.insert(full.end(), {"--no-progress", "--module", VENEER_BUNDLE_PATH});
    run.pid = Spawn(full, &actions);
    posix_spawn_file_actions_destroy(&actions);
    return run;
  }
};

TEST_F(VeneerHostRunTest, AStopInAnyPhaseEndsTheSameWayAndLeavesNothingBehind) {
  const std::string input = WriteInput("in.wav", 2, 20 * 44100);
  const std::vector<std::string> args{"render",
                                      input,
                                      "-o",
                                      PathOf("out.wav"),
                                      "--report",
                                      PathOf("out.txt"),
                                      "--save-preset",
                                      PathOf("take.aupreset")};
  const std::string notWritten =
      "nothing was written (" + PathOf("out.wav") + ", " + PathOf("out.txt") + ", " + PathOf("take.aupreset") + ")";

  // As soon as the companion's file is written: the unit is being set up, or has just begun.
  Background early = Start(args);
  ASSERT_GT(early.pid, 0);
  const std::string settings = root_ + "/home/Library/Application Support/Tonvale/plugin_state.txt";
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!fs::exists(settings) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  kill(early.pid, SIGTERM);
  int status = 0;
  waitpid(early.pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by the signal instead of stopping";
  EXPECT_EQ(WEXITSTATUS(status), 1);
  const std::string said = Contents(early.err);
  EXPECT_NE(said.find("veneer-host render: interrupted "), std::string::npos) << said;
  EXPECT_NE(said.find(notWritten), std::string::npos) << said;
  EXPECT_FALSE(HoldsHiddenFile(root_));

  // While rendering and writing: the same, and a second signal ends the process at once,
  // taking the file being written with it.
  for (const bool second : {false, true}) {
    Background run = Start(args);
    ASSERT_GT(run.pid, 0);
    ASSERT_TRUE(AwaitHiddenFile(root_)) << "the output is written as the render goes";
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(run.pid, SIGINT);
    if (second) {
      kill(run.pid, SIGTERM);
    }
    waitpid(run.pid, &status, 0);
    if (second) {
      // Two threads may take the two signals at once: either may be the second.
      EXPECT_TRUE(WIFSIGNALED(status) && (WTERMSIG(status) == SIGTERM || WTERMSIG(status) == SIGINT))
          << status << " " << Contents(run.err);
    } else {
      ASSERT_TRUE(WIFEXITED(status));
      EXPECT_EQ(WEXITSTATUS(status), 1);
      const std::string stopped = Contents(run.err);
      EXPECT_NE(stopped.find("veneer-host render: interrupted after "), std::string::npos) << stopped;
      EXPECT_NE(stopped.find("of 20.00 s of audio; the unit was uninitialised and closed; " + notWritten),
                std::string::npos)
          << stopped;
    }
    EXPECT_FALSE(HoldsHiddenFile(root_)) << (second ? "after a second signal" : "after one signal");
    EXPECT_FALSE(fs::exists(PathOf("out.wav")));
    EXPECT_FALSE(fs::exists(PathOf("out.txt")));
  }
}

TEST_F(VeneerHostRunTest, MemoryDoesNotGrowWithTheLengthOfTheFile) {
  const auto peakMemory = [&](const std::string& input) {
    Background run = Start({"render", input, "--fast", "-o", PathOf("out.wav")});
    int status = 0;
    rusage usage{};
    wait4(run.pid, &status, 0, &usage);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << Contents(run.err);
    return static_cast<double>(usage.ru_maxrss);
  };
  // Both inputs written in pieces: on Linux a spawned child's peak counts this process's
  // peak before the child's exec.
  const auto writeInput = [&](const std::string& name, std::size_t frames) {
    std::string error;
    const auto writer = host::AudioFileWriter::Create(PathOf(name), {44100, 2, 0x010006}, &error);
    EXPECT_NE(writer, nullptr) << error;
    std::vector<float> left(4096);
    std::vector<float> right(4096);
    const float* channels[] = {left.data(), right.data()};
    for (std::size_t done = 0; writer != nullptr && done < frames; done += left.size()) {
      for (std::size_t i = 0; i < left.size(); ++i) {
        left[i] = 0.5F * std::sin(0.01F * static_cast<float>((done + i) % 62832));
        right[i] = 0.001F * static_cast<float>((done + i) % 997);
      }
      EXPECT_TRUE(writer->Write(channels, std::min(left.size(), frames - done), &error)) << error;
    }
    EXPECT_TRUE(writer != nullptr && writer->Commit(&error)) << error;
    return PathOf(name);
  };
  const double shortRun = peakMemory(writeInput("short.wav", 44100));
  // Two minutes of stereo: 42 MB as floats, every ring the render uses wrapped many times.
  const std::string longInput = writeInput("long.wav", 120 * 44100);
  const double longRun = peakMemory(longInput);
#if defined(__APPLE__)
  constexpr double kUnit = 1024.0 * 1024.0;  // bytes
#else
  constexpr double kUnit = 1024.0;  // kilobytes
#endif
  EXPECT_LT(longRun - shortRun, 8.0 * kUnit)
      << "peak memory " << shortRun / kUnit << " MB for one second, " << longRun / kUnit << " MB for two minutes";
  if (kHostHasStandIns && testsupport::InstalledProducts().empty()) {
    const host::Audio in = Read(longInput);
    const host::Audio out = Read(PathOf("out.wav"));
    ASSERT_EQ(out.Frames(), in.Frames());
    for (std::size_t c = 0; c < 2; ++c) {
      for (std::size_t i = 0; i < in.Frames(); ++i) {
        ASSERT_EQ(out.channels[c][i], in.channels[c][i] * standin::kGain) << "channel " << c << " frame " << i;
      }
    }
  }
}

TEST_F(VeneerHostRunTest, BypassedBlocksAreLabelledWithTheCauseInForceThen) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here";
  }
  // The application gone at the start; back after a second; quitting two seconds later.
  // Veneer notices each within its one-second cycle, the host at once, so for a moment after
  // the return Veneer still bypasses with no cause the host can see.
  const std::string folder = root_ + "/home/Library/Application Support/Tonvale";
  fs::create_directories(folder);
  const std::string settings = folder + "/plugin_state.txt";
  std::ofstream(settings) << "seq=3\nappRunning=1\n";
  fs::last_write_time(settings, fs::file_time_type::clock::now() - std::chrono::minutes(1));
  Background run = Start({"render", WriteInput("in.wav", 1, 5 * 44100), "-o", PathOf("out.wav"), "--no-companion"});
  ASSERT_GT(run.pid, 0);
  ASSERT_TRUE(AwaitHiddenFile(root_));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  std::ofstream(settings) << "seq=4\nappRunning=1\n";
  std::this_thread::sleep_for(std::chrono::seconds(2));
  std::ofstream(settings) << "seq=5\nappRunning=0\n";
  int status = 0;
  waitpid(run.pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << Contents(run.err);
  EXPECT_EQ(WEXITSTATUS(status), 3) << Contents(run.err);

  // No block before the return of the application is put down to the quit marker.
  std::istringstream lines(Contents(run.out));
  bool quitSeen = false;
  bool throughSeen = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("    blocks ", 0) != 0) {
      continue;
    }
    const bool quit = line.find("quit marker") != std::string::npos;
    const bool through = line.find("through the inner unit") != std::string::npos;
    EXPECT_FALSE(quit && !throughSeen) << "labelled with a cause that came later: " << line << "\n"
                                       << Contents(run.out);
    EXPECT_FALSE(through && quitSeen) << line;
    quitSeen = quitSeen || quit;
    throughSeen = throughSeen || through;
  }
  EXPECT_TRUE(quitSeen && throughSeen) << Contents(run.out);
}

}  // namespace

namespace {

TEST_F(VeneerHostTest, TheSettingsInForceAreShownAndTheDemoLeavesThemAsTheyWere) {
  const std::string folder = root_ + "/home/Library/Application Support/Tonvale";
  const std::string settings = folder + "/plugin_state.txt";
  fs::create_directories(folder);
  std::ofstream(settings) << "seq=7\nappRunning=1\nretune=0.3\n";
  const std::string before = Contents(settings);

  // The demo sends settings of its own and puts the file back afterwards.
  auto result = Host({"render", "--fast", "-o", PathOf("demo.wav")});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("settings file:   put back as it was before the run"), std::string::npos) << result.out;
  EXPECT_EQ(Contents(settings), before);

  // A render without settings of its own runs with what the file holds, and says so, also
  // that it overrides the unit's own retune parameter.
  const std::string input = WriteInput("in.wav", 1, 4410);
  result = Host({"render", input, "--fast", "-o", PathOf("out.wav"), "--param", "2=0.9", "--param", "0=0.5"});
  ASSERT_TRUE(result.status == 0 || result.status == 3) << "through a product, or bypassed without one: " << result.err;
  EXPECT_NE(result.out.find("  settings at start: seq 7: retune=0.3\n"), std::string::npos) << result.out;
  EXPECT_NE(result.err.find("warning: --param 2=0.9 is overridden: the settings file gives retune=0.3, which Veneer "
                            "applies to its product as it starts (use --set retune=VALUE instead)"),
            std::string::npos)
      << result.err;
  EXPECT_EQ(result.err.find("--param 0="), std::string::npos) << "the file leaves the key alone\n" << result.err;

  // Starting from Veneer's own values, with a change on top.
  result = Host({"render", input, "--fast", "-o", PathOf("out.wav"), "--veneer-defaults", "--set", "key=2"});
  ASSERT_TRUE(result.status == 0 || result.status == 3) << "through a product, or bypassed without one: " << result.err;
  const std::string defaults =
      "seq 8: key=2 scale=1 correctionMode=0 retune=0.686 transpose=0.5 classicMode=0 inputType=0.25 humanize=0 "
      "flexTune=0 naturalVibrato=0.5 vibratoAmplitude=0 tracking=0.5 formant=1 throat=0.5 wetDry=1";
  EXPECT_NE(result.out.find("  settings at start: " + defaults + "\n"), std::string::npos) << result.out;
  EXPECT_NE(Contents(settings).find("retune=0.686\n"), std::string::npos) << Contents(settings);

  result = Host({"render", input, "--fast", "--veneer-defaults", "--no-companion"});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("--no-companion leaves the link alone, so --set, --set-at and --veneer-defaults"),
            std::string::npos)
      << result.err;
}

}  // namespace

namespace {

TEST_F(VeneerHostTest, AFlacStreamWithoutALengthIsCountedAndDamageFailsTheRender) {
  host::Audio audio = Read(WriteInput("source.wav", 1, 3 * 44100));
  audio.fileFormat = 0x170002;  // FLAC, 16-bit
  std::string error;
  ASSERT_TRUE(host::WriteAudioFile(PathOf("whole.flac"), audio, &error)) << error;
  std::ifstream file(PathOf("whole.flac"), std::ios::binary);
  std::string bytes(std::istreambuf_iterator<char>(file), {});
  ASSERT_GT(bytes.size(), 1000U);

  // The stream's length (36 bits of its first block) left out, as a live encoder leaves it.
  std::string unknown = bytes;
  unknown[21] = static_cast<char>(unknown[21] & 0xF0);
  std::fill(unknown.begin() + 22, unknown.begin() + 26, '\0');
  std::ofstream(PathOf("unknown.flac"), std::ios::binary) << unknown;
  std::string damaged = bytes;
  std::fill(damaged.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2),
            damaged.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2 + 400), '\x55');
  std::ofstream(PathOf("damaged.flac"), std::ios::binary) << damaged;

  auto whole = Host({"render", PathOf("whole.flac"), "--fast", "--standin", "none", "-o", PathOf("whole.wav")});
  ASSERT_TRUE(whole.status == 0 || whole.status == 3) << whole.err;  // a product installed, or none
  auto result = Host({"render", PathOf("unknown.flac"), "--fast", "--standin", "none", "-o", PathOf("unknown.wav")});
  ASSERT_EQ(result.status, whole.status) << result.err;
  EXPECT_NE(result.out.find("audio:           3.00 s"), std::string::npos) << result.out;
  EXPECT_EQ(Contents(PathOf("unknown.wav")), Contents(PathOf("whole.wav")));

  // Damaged part way: found only as the render reaches it, so nothing is written.
  result = Host({"render", PathOf("damaged.flac"), "--fast", "--standin", "none", "-o", PathOf("damaged.wav")});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("cannot read " + PathOf("damaged.flac")), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("nothing was written (" + PathOf("damaged.wav") + ")"), std::string::npos) << result.err;
  EXPECT_FALSE(fs::exists(PathOf("damaged.wav")));
  EXPECT_FALSE(HoldsHiddenFile(root_));
}

}  // namespace
