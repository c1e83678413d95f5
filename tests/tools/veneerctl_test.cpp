// Runs the real veneerctl program against a temporary home folder, as someone building or
// supporting the companion application would, and checks its output, exit status and files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "RunProgram.h"

extern char** environ;

namespace {

using RunResult = testsupport::ProgramResult;

// A veneerctl left running in the background, its standard output on a pipe.
struct Background {
  pid_t pid = -1;
  int outFd = -1;
  std::string out;
};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

class VeneerctlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/veneerctl-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    home_ = root_ + "/home";
    folder_ = home_ + "/Library/Application Support/Tonvale";
    std::filesystem::create_directories(home_);
  }

  void TearDown() override { std::filesystem::remove_all(root_); }

  void MakeFolder() const { std::filesystem::create_directories(folder_); }
  std::string PathOf(const std::string& name) const { return folder_ + "/" + name; }

  void Write(const std::string& name, const std::string& text) const {
    MakeFolder();
    std::ofstream(PathOf(name), std::ios::binary) << text;
  }

  std::optional<std::string> Read(const std::string& name) const {
    std::ifstream in(PathOf(name), std::ios::binary);
    if (!in) {
      return std::nullopt;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }

  // Moves the file's modification time `age` seconds into the past.
  void Age(const std::string& name, long age) const {
    const std::time_t when = std::time(nullptr) - age;
    const timeval times[2] = {{when, 0}, {when, 0}};
    ASSERT_EQ(utimes(PathOf(name).c_str(), times), 0);
  }

  struct stat Stat(const std::string& name) const {
    struct stat info {};
    stat(PathOf(name).c_str(), &info);
    return info;
  }

  // argv for the program: --home first unless `withHome` is false.
  std::vector<std::string> Argv(const std::vector<std::string>& args, bool withHome) const {
    std::vector<std::string> argv{VENEERCTL_PATH};
    if (withHome) {
      argv.insert(argv.end(), {"--home", home_});
    }
    argv.insert(argv.end(), args.begin(), args.end());
    return argv;
  }

  static pid_t Spawn(const std::vector<std::string>& argv, posix_spawn_file_actions_t* actions, char** env) {
    std::vector<char*> raw;
    for (const std::string& arg : argv) {
      raw.push_back(const_cast<char*>(arg.c_str()));
    }
    raw.push_back(nullptr);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, raw[0], actions, nullptr, raw.data(), env), 0);
    return pid;
  }

  // Runs to completion; `environment` as RunProgram takes it.
  RunResult Run(const std::vector<std::string>& args, bool withHome = true,
                const std::vector<std::string>& environment = {}) const {
    return testsupport::RunProgram(Argv(args, withHome), environment, root_);
  }

  Background Start(const std::vector<std::string>& args) const {
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    posix_spawn_file_actions_addclose(&actions, fds[1]);
    Background background;
    background.pid = Spawn(Argv(args, true), &actions, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    background.outFd = fds[0];
    return background;
  }

  // Reads the background program's output until `text` shows up after `from`, for at most 5 s.
  static bool WaitForOutput(Background* background, const std::string& text, std::size_t from = 0) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (background->out.find(text, from) == std::string::npos) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
      pollfd readable{background->outFd, POLLIN, 0};
      if (poll(&readable, 1, 50) > 0) {
        char buffer[4096];
        const ssize_t got = read(background->outFd, buffer, sizeof buffer);
        if (got <= 0) {
          return background->out.find(text, from) != std::string::npos;
        }
        background->out.append(buffer, static_cast<std::size_t>(got));
      }
    }
    return true;
  }

  // Sends `signal`, collects the rest of the output and returns the exit status (-1: killed).
  static int Stop(Background* background, int signal) {
    kill(background->pid, signal);
    char buffer[4096];
    for (ssize_t got; (got = read(background->outFd, buffer, sizeof buffer)) > 0;) {
      background->out.append(buffer, static_cast<std::size_t>(got));
    }
    close(background->outFd);
    int status = 0;
    waitpid(background->pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string root_;
  std::string home_;
  std::string folder_;
};

using VeneerctlSet = VeneerctlTest;

TEST_F(VeneerctlSet, FirstSetCreatesFolderAndFileWithSeqOne) {
  const RunResult result = Run({"set", "key=9", "retune=0.25"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("created the support folder"), std::string::npos) << result.out;
  EXPECT_EQ(Read("plugin_state.txt"), "seq=1\nappRunning=1\nkey=9\nretune=0.25\n");
}

TEST_F(VeneerctlSet, BumpsSeqKeepsKnownKeysAndDropsUnknownOnes) {
  Write("plugin_state.txt", "seq=57\nappRunning=0\nkey=9\nscale=1\nretune=0.25\nbogus=3\nwetDry=1");
  const RunResult result = Run({"set", "retune=0.5", "humanize=0.1"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("created the support folder"), std::string::npos);
  EXPECT_EQ(Read("plugin_state.txt"), "seq=58\nappRunning=1\nkey=9\nscale=1\nretune=0.5\nhumanize=0.1\nwetDry=1\n");
}

TEST_F(VeneerctlSet, AliasesAreWrittenUnderTheirKeyNames) {
  Write("plugin_state.txt", "seq=3\n0=2\n47=0.1\n");
  EXPECT_EQ(Run({"set", "47=0.3"}).status, 0);
  EXPECT_EQ(Read("plugin_state.txt"), "seq=4\nappRunning=1\ncorrectionMode=2\nvibratoAmplitude=0.3\n");
  EXPECT_EQ(Run({"set", "correctionMode=1", "0=0"}).status, 0);
  EXPECT_EQ(Read("plugin_state.txt"), "seq=5\nappRunning=1\ncorrectionMode=0\nvibratoAmplitude=0.3\n");
}

TEST_F(VeneerctlSet, SeqFollowsThePluginsReadingOfTheOldFile) {
  Write("plugin_state.txt", "seq=3.9\n");
  EXPECT_EQ(Run({"set", "key=1"}).status, 0);
  EXPECT_EQ(Lines(*Read("plugin_state.txt")).front(), "seq=4");
  // A negative counter is never applied, so the next one must start over.
  Write("plugin_state.txt", "seq=-2\n");
  EXPECT_EQ(Run({"set", "key=1"}).status, 0);
  EXPECT_EQ(Lines(*Read("plugin_state.txt")).front(), "seq=1");
}

TEST_F(VeneerctlSet, ExplicitQuitMarkerWins) {
  EXPECT_EQ(Run({"set", "appRunning=0", "scale=14", "key=0"}).status, 0);
  EXPECT_EQ(Read("plugin_state.txt"), "seq=1\nappRunning=0\nkey=0\nscale=14\n");
}

TEST_F(VeneerctlSet, EveryBadInputIsRefusedAndWritesNothing) {
  const std::string original = "seq=10\nappRunning=1\nkey=2\n";
  Write("plugin_state.txt", original);
  Age("plugin_state.txt", 100);
  const struct stat before = Stat("plugin_state.txt");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"set", "bogus=1"}, "bogus"},
      {{"set", "Key=1"}, "Key"},
      {{"set", "key =1"}, "key "},
      {{"set", "seq=11"}, "seq"},
      {{"set", "retune"}, "retune"},
      {{"set", "retune="}, "not a number"},
      {{"set", "retune=abc"}, "not a number"},
      {{"set", "retune=0.5x"}, "not a number"},
      {{"set", "retune=nan"}, "not a number"},
      {{"set", "retune=inf"}, "not a number"},
      {{"set", "key=12"}, "0 to 11"},
      {{"set", "key=-1"}, "0 to 11"},
      {{"set", "key=1.5"}, "0 to 11"},
      {{"set", "scale=15"}, "0 to 14"},
      {{"set", "scale=0.5"}, "0 to 14"},
      {{"set", "wetDry=-0.1"}, "negative"},
      {{"set", "appRunning=-1"}, "negative"},
      {{"set", "key=3", "formant=-2"}, "formant"},
      {{"set"}, "SETTINGS"},
  };
  for (const auto& [args, problem] : cases) {
    const RunResult result = Run(args);
    EXPECT_EQ(result.status, 2) << args.back();
    EXPECT_NE(result.err.find(problem), std::string::npos) << args.back() << ": " << result.err;
    EXPECT_EQ(result.out, "") << args.back();
  }
  const struct stat after = Stat("plugin_state.txt");
  EXPECT_EQ(Read("plugin_state.txt"), original);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mtime, before.st_mtime);
  const auto entries = std::distance(std::filesystem::directory_iterator(folder_), {});
  EXPECT_EQ(entries, 1) << "no temporary or other files expected";
}

TEST_F(VeneerctlSet, BadInputCreatesNoFolder) {
  EXPECT_EQ(Run({"set", "scale=20"}).status, 2);
  EXPECT_FALSE(std::filesystem::exists(folder_));
  // A home folder that does not exist is a mistake, not a place to build a new tree.
  const RunResult nowhere = Run({"set", "key=1", "--home", root_ + "/nowhere"}, false);
  EXPECT_EQ(nowhere.status, 2);
  EXPECT_NE(nowhere.err.find("nowhere"), std::string::npos) << nowhere.err;
  EXPECT_FALSE(std::filesystem::exists(root_ + "/nowhere"));
  EXPECT_EQ(Run({"--home=" + home_, "set", "key=1"}, false).status, 0) << "--home=DIR, before the command";
}

TEST_F(VeneerctlSet, HomeComesFromTheEnvironmentUnlessGiven) {
  EXPECT_EQ(Run({"set", "key=5"}, false, {"HOME=" + home_}).status, 0);
  EXPECT_EQ(Read("plugin_state.txt"), "seq=1\nappRunning=1\nkey=5\n");

  const RunResult result = Run({"set", "key=6"}, false, {"HOME"});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("HOME"), std::string::npos) << result.err;
  EXPECT_EQ(Read("plugin_state.txt"), "seq=1\nappRunning=1\nkey=5\n");
}

TEST_F(VeneerctlSet, ReadersNeverSeeAPartialFile) {
  ASSERT_EQ(Run({"set", "key=1", "scale=2", "retune=0.25", "transpose=0.5", "humanize=0.125", "tracking=0.5",
                 "formant=1", "throat=0.5", "wetDry=1", "naturalVibrato=0.5", "vibratoAmplitude=0.2"})
                .status,
            0);
  std::atomic<bool> done{false};
  std::atomic<int> reads{0};
  std::atomic<int> bad{0};
  std::thread reader([&] {
    while (!done) {
      const auto text = Read("plugin_state.txt");
      ++reads;
      if (!text || text->rfind("seq=", 0) != 0 || text->back() != '\n' ||
          text->find("\nwetDry=1\n") == std::string::npos) {
        ++bad;
      }
    }
  });
  constexpr int kRuns = 40;
  for (int i = 0; i < kRuns; ++i) {
    Run({"set", "retune=0." + std::to_string(i % 10), "key=" + std::to_string(i % 12)});
  }
  done = true;
  reader.join();
  EXPECT_GT(reads.load(), kRuns);
  EXPECT_EQ(bad.load(), 0);
  EXPECT_EQ(Lines(*Read("plugin_state.txt")).front(), "seq=" + std::to_string(kRuns + 1));
}

using VeneerctlHeartbeat = VeneerctlTest;

TEST_F(VeneerctlHeartbeat, CountedRewritesEndWithTheQuitMarker) {
  Write("plugin_state.txt", "seq=7\nappRunning=0\nkey=3\n");
  Age("plugin_state.txt", 60);
  const RunResult result = Run({"heartbeat", "--interval", "0.05", "--count", "3"});
  EXPECT_EQ(result.status, 0) << result.err;
  const auto lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 2u) << result.out;
  EXPECT_NE(lines[0].find("seq 7"), std::string::npos) << lines[0];
  EXPECT_NE(lines[1].find("3 rewrite"), std::string::npos) << lines[1];
  EXPECT_EQ(Read("plugin_state.txt"), "seq=7\nappRunning=0\nkey=3\n");
  EXPECT_GE(Stat("plugin_state.txt").st_mtime, std::time(nullptr) - 2);
}

TEST_F(VeneerctlHeartbeat, KeepsWhatSetSendsMeanwhileAndStopsOnSigterm) {
  Write("plugin_state.txt", "seq=7\nappRunning=0\nkey=3\n");
  Background heartbeat = Start({"heartbeat", "--interval", "0.05"});
  ASSERT_TRUE(WaitForOutput(&heartbeat, "Ctrl-C"));
  EXPECT_EQ(Read("plugin_state.txt"), "seq=7\nappRunning=1\nkey=3\n");
  EXPECT_EQ(Run({"set", "key=4"}).status, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // a few beats after the set
  EXPECT_EQ(Read("plugin_state.txt"), "seq=8\nappRunning=1\nkey=4\n");
  EXPECT_EQ(Stop(&heartbeat, SIGTERM), 0);
  EXPECT_NE(heartbeat.out.find("quit marker"), std::string::npos) << heartbeat.out;
  EXPECT_EQ(Read("plugin_state.txt"), "seq=8\nappRunning=0\nkey=4\n");
}

TEST_F(VeneerctlHeartbeat, WithoutSettingsItKeepsAFileWithoutSeqAndStopsOnSigint) {
  Background heartbeat = Start({"heartbeat", "--interval", "0.05"});
  ASSERT_TRUE(WaitForOutput(&heartbeat, "Ctrl-C"));
  EXPECT_NE(heartbeat.out.find("created the support folder"), std::string::npos) << heartbeat.out;
  EXPECT_EQ(Stop(&heartbeat, SIGINT), 0);
  EXPECT_EQ(Read("plugin_state.txt"), "appRunning=0\n");
}

TEST_F(VeneerctlHeartbeat, BadOptionsAreRefused) {
  for (const std::vector<std::string>& args : {std::vector<std::string>{"heartbeat", "--interval", "0"},
                                               {"heartbeat", "--interval", "fast"},
                                               {"heartbeat", "--count", "0"},
                                               {"heartbeat", "--count", "-3"},
                                               {"heartbeat", "--interval"},
                                               {"heartbeat", "now"}}) {
    const RunResult result = Run(args);
    EXPECT_EQ(result.status, 2) << args.back();
    EXPECT_NE(result.err, "") << args.back();
  }
  EXPECT_FALSE(std::filesystem::exists(folder_));
}

using VeneerctlStatus = VeneerctlTest;

TEST_F(VeneerctlStatus, FreshAliveFileAndHeartbeat) {
  Write("veneer_alive.txt", "t=1763163219\nvariant=AutoTune 2026\ninner=1\nclassic=1\n");
  Age("veneer_alive.txt", 2);  // fresh up to 5 s: room for a slow start
  Write("plugin_state.txt", "seq=12\nappRunning=1\n");
  Age("plugin_state.txt", 6);
  const RunResult result = Run({"status"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("variant:        AutoTune 2026\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("inner unit:     yes\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("classic mode:   on\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("verdict:        plug-in running\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("seq 12 - heartbeat OK"), std::string::npos) << result.out;
}

TEST_F(VeneerctlStatus, StaleFilesMeanStoppedAndBypass) {
  Write("veneer_alive.txt", "t=1\nvariant=none\ninner=0\nclassic=0\n");
  Age("veneer_alive.txt", 6);
  Write("plugin_state.txt", "seq=12\n");
  Age("plugin_state.txt", 10);
  const RunResult result = Run({"status"});
  EXPECT_EQ(result.status, 3) << "scripts tell a stopped plug-in from a running one";
  // Aged 6 s before the run; a slow start (a sanitizer build) may add a second or two.
  const size_t age = result.out.find("age:            ");
  ASSERT_NE(age, std::string::npos) << result.out;
  const int seconds = std::atoi(result.out.c_str() + age + 16);
  EXPECT_TRUE(seconds >= 6 && seconds <= 8) << result.out;
  EXPECT_EQ(result.out.compare(result.out.find(' ', age + 16), 7, " s old\n"), 0) << result.out;
  EXPECT_NE(result.out.find("inner unit:     no\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("classic mode:   off\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("plug-in stopped or not loaded"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("stale, the plug-in will bypass"), std::string::npos) << result.out;

  Write("plugin_state.txt", "seq=12\nappRunning=0\n");
  EXPECT_NE(Run({"status"}).out.find("quit marker appRunning=0, the plug-in will bypass"), std::string::npos);
}

TEST_F(VeneerctlStatus, TimesAheadOfTheClockAreSaidToBe) {
  Write("veneer_alive.txt", "t=1\nvariant=none\ninner=0\nclassic=0\n");
  Age("veneer_alive.txt", -300);
  Write("plugin_state.txt", "seq=4\nappRunning=1\n");
  Age("plugin_state.txt", -300);
  const RunResult result = Run({"status"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("the file's time is ahead of this clock"), std::string::npos) << result.out;
  // Dated 300 s ahead before the run; a slow start (a sanitizer build) may take a second or two off.
  for (const std::string label : {"age:            ", "settings file:  "}) {
    const size_t at = result.out.find(label);
    ASSERT_NE(at, std::string::npos) << label << "\n" << result.out;
    const int seconds = std::atoi(result.out.c_str() + at + label.size());
    EXPECT_TRUE(seconds >= 297 && seconds <= 300) << result.out;
    EXPECT_EQ(result.out.compare(result.out.find(' ', at + label.size()), 16, " s in the future"), 0) << result.out;
  }
  EXPECT_NE(result.out.find(" s in the future, seq 4 - heartbeat OK (a time ahead counts as fresh)"), std::string::npos)
      << result.out;
}

TEST_F(VeneerctlStatus, MissingAliveFile) {
  const RunResult result = Run({"status"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("no alive file"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("settings file:  missing - the plug-in will bypass"), std::string::npos) << result.out;
}

using VeneerctlChanges = VeneerctlTest;

TEST_F(VeneerctlChanges, ShowsTheReportWithItsTime) {
  std::tm local{};
  local.tm_year = 2025 - 1900;
  local.tm_mon = 10;
  local.tm_mday = 14;
  local.tm_hour = 10;
  local.tm_min = 20;
  local.tm_sec = 30;
  local.tm_isdst = -1;
  const long long millis = static_cast<long long>(std::mktime(&local)) * 1000 + 45;
  Write("plugin_params_back.txt", "seq=" + std::to_string(millis) + "\nretune=0.2500\nkey=7.0000\n");
  const RunResult result = Run({"changes"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Lines(result.out),
            (std::vector<std::string>{"manual changes at 2025-11-14 10:20:30.045 (seq=" + std::to_string(millis) + ")",
                                      "  retune=0.2500", "  key=7.0000"}));
}

TEST_F(VeneerctlChanges, MissingReport) {
  const RunResult result = Run({"changes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("no manual changes reported yet"), std::string::npos) << result.out;
  EXPECT_EQ(Run({"changes", "--all"}).status, 2);
}

TEST_F(VeneerctlChanges, AnEmptyOrCutReportIsSaidToBeOne) {
  for (const auto& [text, problem] :
       std::vector<std::pair<std::string, std::string>>{{"", "is empty"},
                                                        {"retune=0.2500\n", "not a whole report"},
                                                        {"seq=1763163219123\nretune=0.25", "not a whole"}}) {
    Write("plugin_params_back.txt", text);
    const RunResult result = Run({"changes"});
    EXPECT_EQ(result.status, 1) << text;
    EXPECT_NE(result.out.find(problem), std::string::npos) << result.out;
  }
}

TEST_F(VeneerctlChanges, FollowPrintsEachNewReport) {
  Write("plugin_params_back.txt", "seq=1763163219123\nretune=0.2500\n");
  Background changes = Start({"changes", "--follow"});
  ASSERT_TRUE(WaitForOutput(&changes, "retune=0.2500"));
  const std::size_t shown = changes.out.size();
  Write("plugin_params_back.txt", "seq=1763163220456\nformant=0.7500\n");
  ASSERT_TRUE(WaitForOutput(&changes, "formant=0.7500", shown));
  EXPECT_NE(changes.out.find("seq=1763163220456", shown), std::string::npos);
  EXPECT_EQ(Stop(&changes, SIGINT), 0);
}

using VeneerctlLog = VeneerctlTest;

std::string NumberedLines(int from, int to) {
  std::string text;
  for (int i = from; i <= to; ++i) {
    text += "[10:00:00] event " + std::to_string(i) + "\n";
  }
  return text;
}

TEST_F(VeneerctlLog, PrintsTheLastLines) {
  Write("veneer_debug.log", NumberedLines(1, 100));
  EXPECT_EQ(Run({"log", "--lines", "5"}).out, NumberedLines(96, 100));
  EXPECT_EQ(Run({"log"}).out, NumberedLines(51, 100));
  EXPECT_EQ(Run({"log", "--lines", "0"}).out, "");
  EXPECT_EQ(Run({"log", "--lines", "500"}).out, NumberedLines(1, 100));

  Write("veneer_debug.log", "first\nsecond\nunfinished");
  EXPECT_EQ(Run({"log", "--lines", "2"}).out, "second\nunfinished");
}

TEST_F(VeneerctlLog, LongLogIsReadFromTheEnd) {
  // Several read chunks' worth, so the lines straddle chunk boundaries.
  Write("veneer_debug.log", NumberedLines(1, 20000));
  const RunResult result = Run({"log", "--lines", "3000"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, NumberedLines(17001, 20000));
}

TEST_F(VeneerctlLog, MissingLogAndBadOptions) {
  const RunResult missing = Run({"log"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.out.find("no debug log"), std::string::npos);
  EXPECT_EQ(Run({"log", "--lines", "many"}).status, 2);
  EXPECT_EQ(Run({"log", "--lines", "-1"}).status, 2);
  EXPECT_EQ(Run({"log", "--lines"}).status, 2);
}

TEST_F(VeneerctlLog, FollowPrintsAppendedLinesAndARestartedLog) {
  Write("veneer_debug.log", NumberedLines(1, 10));
  Background log = Start({"log", "--follow", "--lines", "1"});
  ASSERT_TRUE(WaitForOutput(&log, "event 10\n"));
  EXPECT_EQ(log.out, NumberedLines(10, 10));
  std::ofstream(PathOf("veneer_debug.log"), std::ios::app) << NumberedLines(11, 12);
  ASSERT_TRUE(WaitForOutput(&log, "event 12\n"));
  // Deleted and started afresh, as people do with a log that grows without limit.
  std::filesystem::remove(PathOf("veneer_debug.log"));
  Write("veneer_debug.log", "[10:00:01] new start\n");
  ASSERT_TRUE(WaitForOutput(&log, "new start\n"));
  EXPECT_EQ(Stop(&log, SIGINT), 0);
  EXPECT_EQ(log.out, NumberedLines(10, 12) + "[10:00:01] new start\n");
}

using VeneerctlVariant = VeneerctlTest;

TEST_F(VeneerctlVariant, ForcePreferAndClear) {
  EXPECT_EQ(Run({"variant", "force", "AutoTune 2026"}).status, 0);
  EXPECT_EQ(Read("force_variant.txt"), "AutoTune 2026\n");
  EXPECT_EQ(Run({"variant", "prefer", "Auto-Tune", "EFX+"}).status, 0);
  EXPECT_EQ(Read("prefer_variant.txt"), "Auto-Tune EFX+\n");

  const RunResult cleared = Run({"variant", "clear"});
  EXPECT_EQ(cleared.status, 0);
  EXPECT_FALSE(Read("force_variant.txt"));
  EXPECT_FALSE(Read("prefer_variant.txt"));
  EXPECT_EQ(Run({"variant", "clear"}).status, 0);
}

TEST_F(VeneerctlVariant, UnknownNameListsTheNamesAndWritesNothing) {
  Write("force_variant.txt", "Auto-Tune Pro\n");
  for (const char* name : {"autotune 2026", "Auto-Tune", "AutoTune 2026 ", ""}) {
    const RunResult result = Run({"variant", "prefer", name});
    EXPECT_EQ(result.status, 2) << name;
    for (const char* known :
         {"Auto-Tune Pro", "AutoTune Advanced", "AutoTune 2026", "Auto-Tune Artist", "Auto-Tune EFX+"}) {
      EXPECT_NE(result.err.find(known), std::string::npos) << result.err;
    }
    EXPECT_EQ(Run({"variant", "force", name}).status, 2) << name;
  }
  EXPECT_EQ(Read("force_variant.txt"), "Auto-Tune Pro\n");
  EXPECT_FALSE(Read("prefer_variant.txt"));
  EXPECT_EQ(Run({"variant"}).status, 2);
  EXPECT_EQ(Run({"variant", "clear", "now"}).status, 2);
  EXPECT_EQ(Read("force_variant.txt"), "Auto-Tune Pro\n");
}

using VeneerctlCommandLine = VeneerctlTest;

TEST_F(VeneerctlCommandLine, HelpVersionsAndUnknownCommands) {
  const RunResult help = Run({"help"});
  EXPECT_EQ(help.status, 0);
  // The usage line, with or without the "Usage:" label (newer CLI11 prints none).
  EXPECT_NE(help.out.find("veneerctl [OPTIONS] [SUBCOMMAND]"), std::string::npos) << help.out;
  EXPECT_EQ(help.out.rfind(Run({}).out, 0), 0U) << "without a command: the same overview";
  EXPECT_NE(help.out.find("--interval"), std::string::npos) << "help lists every command's options";

  const std::pair<std::vector<std::string>, std::string> answers[] = {
      {{"set", "--help"}, "veneerctl set [OPTIONS] SETTINGS"},
      {{"variant", "force", "--help"}, "veneerctl variant force [OPTIONS]"},
      {{"--help", "log"}, "veneerctl log [OPTIONS]"},
      {{"--version"}, "veneerctl " VENEER_VERSION "\n"},
  };
  for (const auto& [args, expected] : answers) {
    const RunResult answered = Run(args);
    EXPECT_EQ(answered.status, 0) << args.front();
    EXPECT_EQ(answered.err, "");
    EXPECT_NE(answered.out.find(expected), std::string::npos) << answered.out;
  }
  EXPECT_NE(Run({"set", "--help"}).out.find("KEY=VALUE"), std::string::npos) << "the settings' shape is shown";
  EXPECT_NE(Run({"set", "--help"}).out.find("wetDry"), std::string::npos) << "set's help names the keys";

  const RunResult unknown = Run({"restart"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.out, "");
  EXPECT_NE(unknown.err.find("restart"), std::string::npos);
  EXPECT_EQ(std::count(unknown.err.begin(), unknown.err.end(), '\n'), 1) << unknown.err;
}

}  // namespace
