// Watches one thread for the calls a real-time thread must not make: heap
// allocations and frees, and mutex locks. With glibc the test binary replaces
// malloc and friends and pthread_mutex_lock; on macOS a library loaded at launch
// wraps the malloc zones and interposes the mutex calls for every image.
#pragma once

#include <cstdint>

namespace rtguard {

struct Counts {
  std::uint64_t allocations = 0;
  std::uint64_t frees = 0;
  std::uint64_t locks = 0;
};

// False in sanitizer builds, whose runtimes own malloc, and where neither
// mechanism exists: nothing is counted there.
bool Active();
// Whether this build should have the guard: no sanitizer owns malloc and the
// platform has a mechanism (glibc, macOS). A guard that should be there and is
// not is a failure, never a quiet skip.
bool Expected();

// [any thread] Starts counting this thread's calls.
void BeginWatch();
// [any thread] Stops, and returns what this thread called since BeginWatch.
Counts EndWatch();

}  // namespace rtguard
