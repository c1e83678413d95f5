// Main-thread identity, process name and path, the host clock and os_log.
#include <CoreAudio/HostTime.h>
#include <gtest/gtest.h>
#include <libproc.h>
#include <mach/mach.h>
#include <os/log.h>
#include <pthread.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CaptureStderr.h"

namespace {

TEST(System, PthreadMainNpTellsTheInitialThreadApart) {
  EXPECT_EQ(pthread_main_np(), 1);
  int onWorker = -1;
  std::thread worker([&onWorker] { onWorker = pthread_main_np(); });
  worker.join();
  EXPECT_EQ(onWorker, 0);
}

#if defined(__linux__)
// Renames the process for one test and restores the name afterwards.
class ProcessRename {
 public:
  explicit ProcessRename(const char* name) {
    prctl(PR_GET_NAME, saved_);
    prctl(PR_SET_NAME, name);
  }
  ~ProcessRename() { prctl(PR_SET_NAME, saved_); }
  ProcessRename(const ProcessRename&) = delete;
  ProcessRename& operator=(const ProcessRename&) = delete;

 private:
  char saved_[17] = {};
};

TEST(System, ProcNameAndPidPathReadTheCurrentNameAndExecutableOfAProcess) {
  const ProcessRename rename("Logic Pro X");
  char name[2 * MAXCOMLEN + 1];
  std::memset(name, 'x', sizeof name);
  EXPECT_EQ(proc_name(getpid(), name, sizeof name), 11);
  EXPECT_STREQ(name, "Logic Pro X");
  char shortName[6];
  EXPECT_EQ(proc_name(getpid(), shortName, sizeof shortName), 5);
  EXPECT_STREQ(shortName, "Logic");
  // One byte too short for the name and its terminator: cut, terminated inside
  // the buffer, and the byte after it left alone.
  char area[16];
  std::memset(area, 'x', sizeof area);
  EXPECT_EQ(proc_name(getpid(), area, 11), 10);
  EXPECT_EQ(std::string(area), "Logic Pro ");
  EXPECT_EQ(area[11], 'x');

  char path[PROC_PIDPATHINFO_MAXSIZE];
  const int length = proc_pidpath(getpid(), path, sizeof path);
  ASSERT_GT(length, 0);
  EXPECT_EQ(static_cast<size_t>(length), std::strlen(path));
  EXPECT_EQ(path[0], '/');
  const std::string text(path);
  EXPECT_EQ(text.substr(text.rfind('/') + 1), "platform_tests");

  const auto failsWith = [](int result, int error) { return result == 0 && errno == error; };
  errno = 0;
  EXPECT_TRUE(failsWith(proc_name(getpid(), nullptr, 64), EINVAL));
  errno = 0;
  EXPECT_TRUE(failsWith(proc_name(getpid(), name, 0), EINVAL));
  errno = 0;
  EXPECT_TRUE(failsWith(proc_name(0x3FFFFFFF, name, sizeof name), ESRCH));
  char small[64];
  errno = 0;
  EXPECT_TRUE(failsWith(proc_pidpath(getpid(), small, sizeof small), ENOMEM));
  errno = 0;
  EXPECT_TRUE(failsWith(proc_pidpath(0x3FFFFFFF, path, sizeof path), ESRCH));
}
#endif

TEST(System, HostClockCountsMonotonicNanoseconds) {
  mach_timebase_info_data_t timebase = {0, 0};
  EXPECT_EQ(mach_timebase_info(&timebase), KERN_SUCCESS);
  EXPECT_EQ(timebase.numer, 1u);
  EXPECT_EQ(timebase.denom, 1u);
  EXPECT_EQ(mach_timebase_info(nullptr), KERN_INVALID_ARGUMENT);

  const uint64_t start = mach_absolute_time();
  uint64_t previous = start;
  for (int i = 0; i < 1000; ++i) {
    const uint64_t now = mach_absolute_time();
    ASSERT_GE(now, previous);
    previous = now;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const uint64_t hostNow = AudioGetCurrentHostTime();
  EXPECT_GE(hostNow - start, 20 * 1000000u);
  EXPECT_LT(hostNow - start, 5 * 1000000000ull);

  EXPECT_EQ(AudioGetHostClockFrequency(), 1.0e9);
  EXPECT_EQ(AudioGetHostClockMinimumTimeDelta(), 1u);
  EXPECT_EQ(AudioConvertHostTimeToNanos(123456789), 123456789u);
  EXPECT_EQ(AudioConvertNanosToHostTime(987654321), 987654321u);
}

TEST(System, OsLogWritesOneFormattedLinePerMessageOfTheEnabledLogs) {
  os_log_t log = os_log_create("com.veneer.test", "general");
  EXPECT_EQ(log, os_log_create("com.veneer.test", "general"));
  EXPECT_NE(log, os_log_create("com.veneer.test", "other"));
  EXPECT_TRUE(os_log_type_enabled(log, OS_LOG_TYPE_DEBUG));
  EXPECT_TRUE(os_log_type_enabled(OS_LOG_DEFAULT, OS_LOG_TYPE_INFO));
  EXPECT_FALSE(os_log_type_enabled(OS_LOG_DISABLED, OS_LOG_TYPE_FAULT));
  EXPECT_FALSE(os_log_type_enabled(nullptr, OS_LOG_TYPE_ERROR));

  testsupport::CaptureStderr capture;
  os_log_error(OS_LOG_DEFAULT, "render failed: %d frames, unit %{public}s, code %{private}d (100%%)", 512, "Veneer",
               -50);
  os_log(log, "plain");
  os_log_debug(OS_LOG_DEFAULT, "%%{kept}s %{public, mask.hash}s", "x");
  os_log_fault(OS_LOG_DISABLED, "never %d", 1);
  EXPECT_EQ(capture.Finish(),
            "render failed: 512 frames, unit Veneer, code -50 (100%)\n"
            "plain\n"
            "%{kept}s x\n");
}

TEST(System, OsLogLinesFromThreadsStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  const std::string padding(300, '.');
  const std::string longMessage(5000, 'L');
  testsupport::CaptureStderr capture;
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([t, &padding] {
      for (int i = 0; i < kLines; ++i) {
        os_log_info(OS_LOG_DEFAULT, "writer %d line %d %s", t, i, padding.c_str());
      }
    });
  }
  os_log(OS_LOG_DEFAULT, "%s", longMessage.c_str());
  for (auto& writer : writers) {
    writer.join();
  }
  const std::string text = capture.Finish();

  std::istringstream lines(text);
  std::string line;
  std::map<std::pair<int, int>, int> seen;
  int longLines = 0;
  while (std::getline(lines, line)) {
    if (line == longMessage) {
      ++longLines;
      continue;
    }
    int t = -1;
    int i = -1;
    char rest[400] = {};
    ASSERT_EQ(std::sscanf(line.c_str(), "writer %d line %d %399s", &t, &i, rest), 3) << line;
    ASSERT_EQ(padding, rest) << line;
    ++seen[{t, i}];
  }
  EXPECT_EQ(longLines, 1);
  EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines));
  for (const auto& [key, count] : seen) {
    EXPECT_EQ(count, 1) << "writer " << key.first << " line " << key.second;
  }
}

}  // namespace
