#include "support/ProcessUsage.h"

#include <sys/resource.h>
#include <unistd.h>

#if defined(__APPLE__)
#include <fcntl.h>
#include <libproc.h>
#include <mach/mach.h>
#elif defined(__linux__)
#include <dirent.h>

#include <fstream>
#include <string>
#endif

namespace bench {

CpuUsage ProcessCpu() {
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) != 0) {
    return {};
  }
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return {seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_nvcsw, usage.ru_nivcsw};
}

namespace {

long SoftLimit(int resource) {
  rlimit limit{};
  if (getrlimit(resource, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
    return -1;
  }
  return static_cast<long>(limit.rlim_cur);
}

}  // namespace

long OpenFileLimit() { return SoftLimit(RLIMIT_NOFILE); }

long ProcessLimit() { return SoftLimit(RLIMIT_NPROC); }

#if defined(__APPLE__)

size_t ResidentBytes() {
  mach_task_basic_info_data_t info{};
  mach_msg_type_number_t count = MACH_TASK_BASIC_INFO_COUNT;
  if (task_info(mach_task_self(), MACH_TASK_BASIC_INFO, reinterpret_cast<task_info_t>(&info), &count) != KERN_SUCCESS) {
    return 0;
  }
  return static_cast<size_t>(info.resident_size);
}

long ThreadCount() {
  proc_taskinfo info{};
  if (proc_pidinfo(getpid(), PROC_PIDTASKINFO, 0, &info, static_cast<int>(sizeof info)) !=
      static_cast<int>(sizeof info)) {
    return -1;
  }
  return info.pti_threadnum;
}

long OpenFileCount() {
  // Every descriptor the table can hold, asked whether it is open.
  long count = 0;
  for (int fd = 0, size = getdtablesize(); fd < size; ++fd) {
    count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
  }
  return count;
}

#elif defined(__linux__)

size_t ResidentBytes() {
  // statm: total and resident size, in pages.
  std::ifstream statm("/proc/self/statm");
  size_t total = 0;
  size_t resident = 0;
  if (!(statm >> total >> resident)) {
    return 0;
  }
  return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

long ThreadCount() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with("Threads:")) {
      return std::stol(line.substr(8));
    }
  }
  return -1;
}

long OpenFileCount() {
  DIR* folder = opendir("/proc/self/fd");
  if (folder == nullptr) {
    return -1;
  }
  long count = 0;
  while (const dirent* entry = readdir(folder)) {
    count += entry->d_name[0] != '.' ? 1 : 0;
  }
  closedir(folder);
  return count - 1;  // not the descriptor this listing holds open
}

#else

size_t ResidentBytes() { return 0; }
long ThreadCount() { return -1; }
long OpenFileCount() { return -1; }

#endif

}  // namespace bench
