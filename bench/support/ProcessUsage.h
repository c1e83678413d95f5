// What the whole process holds and has used, as the system counts it: the
// figures the many-instances benchmark divides by the number of instances.
#pragma once

#include <cstddef>

namespace bench {

struct CpuUsage {
  double seconds = 0.0;          // user plus system time of every thread so far
  long voluntarySwitches = 0;    // a thread gave up the processor (waited)
  long involuntarySwitches = 0;  // a thread was preempted
};

// [any thread]
CpuUsage ProcessCpu();

// [any thread] Resident memory in bytes; 0 when the system does not tell.
size_t ResidentBytes();

// [any thread] Threads of the process; -1 when the system does not tell.
long ThreadCount();

// [any thread] Open file descriptors; -1 when the system does not tell.
long OpenFileCount();

// [any thread] The soft limits a process of many instances meets first: open
// files, and processes (on Linux: threads) of this user; -1 for unlimited.
long OpenFileLimit();
long ProcessLimit();

}  // namespace bench
