// Runs a test again in a process of its own and watches it: past a time limit,
// or (on Linux) past a resident size, the child is killed, so that a test of
// "reads a bounded amount" fails instead of eating the machine's memory. The
// child is this test program started anew, not a fork of a process that has
// already used the platform's frameworks.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libproc.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace linktest {

inline constexpr const char* kChildVariable = "VENEER_WATCHED_CHILD";

// [any thread] Whether this process is a child that PassesInChild started.
inline bool InChild() { return std::getenv(kChildVariable) != nullptr; }

// [any thread] The peak resident size of this process so far.
inline long PeakResidentKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
#ifdef __APPLE__
  return static_cast<long>(usage.ru_maxrss / 1024);  // bytes there, KiB on Linux
#else
  return usage.ru_maxrss;
#endif
}

// [main thread] The resident size of process `pid` now; 0 where it cannot be seen.
inline long ResidentKiB(pid_t pid) {
  long residentKiB = 0;
#if defined(__linux__)
  if (std::FILE* statm = std::fopen(("/proc/" + std::to_string(pid) + "/statm").c_str(), "r")) {
    long pages = 0;
    if (std::fscanf(statm, "%*d %ld", &pages) == 1) {
      residentKiB = pages * (sysconf(_SC_PAGESIZE) / 1024);
    }
    std::fclose(statm);
  }
#else
  (void)pid;
#endif
  return residentKiB;
}

// [main thread] Runs the current test alone in a new process of this program,
// where InChild() holds. Succeeds when it passed there within `limit` and
// without its resident size passing `capKiB`; the child's output comes with a
// failure.
inline ::testing::AssertionResult PassesInChild(std::chrono::milliseconds limit, long capKiB) {
  char self[PROC_PIDPATHINFO_MAXSIZE] = {};
  if (proc_pidpath(getpid(), self, sizeof self) <= 0) {
    return ::testing::AssertionFailure() << "cannot find this test program's own file";
  }
  std::string outPath = (std::filesystem::temp_directory_path() / "veneer-child-XXXXXX").string();
  const int out = mkstemp(outPath.data());
  if (out < 0) {
    return ::testing::AssertionFailure() << "cannot make a file for the child's output";
  }
  unlink(outPath.c_str());

  const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string filter = std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name();
  std::vector<char*> args = {self, filter.data(), nullptr};
  std::string marker = std::string(kChildVariable) + "=1";
  std::vector<char*> env = {marker.data()};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    env.push_back(*entry);
  }
  env.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out, 1);
  posix_spawn_file_actions_adddup2(&actions, out, 2);
  pid_t child = -1;
  const int spawned = posix_spawn(&child, self, &actions, nullptr, args.data(), env.data());
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) {
    close(out);
    return ::testing::AssertionFailure() << "cannot start the child";
  }

  const auto deadline = std::chrono::steady_clock::now() + limit;
  std::string stopped;
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    const long residentKiB = ResidentKiB(child);
    if (residentKiB > capKiB) {
      stopped = "its resident size passed " + std::to_string(capKiB / 1024) + " MiB";
    } else if (std::chrono::steady_clock::now() > deadline) {
      stopped = "still running after " + std::to_string(limit.count()) + " ms";
    }
    if (!stopped.empty()) {
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::string output;
  lseek(out, 0, SEEK_SET);
  char buffer[4096];
  for (ssize_t got = 0; (got = read(out, buffer, sizeof buffer)) > 0;) {
    output.append(buffer, static_cast<size_t>(got));
  }
  close(out);
  if (stopped.empty() && WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
      output.find("[  PASSED  ] 1 test.") != std::string::npos) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "in a child process" << (stopped.empty() ? "" : ", stopped: ") << stopped
                                       << ":\n"
                                       << output;
}

}  // namespace linktest
