// What the platform's hooks (GlibcHooks.cpp, DarwinHooks.cpp) share with the
// counting: VENEER_GUARD_HOOKS where a mechanism exists and no sanitizer owns malloc.
#pragma once

#include <pthread.h>  // defines __GLIBC__ with glibc

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define VENEER_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VENEER_SANITIZED 1
#endif

#if !defined(VENEER_SANITIZED) && (defined(__GLIBC__) || defined(__APPLE__))
#define VENEER_GUARD_HOOKS 1
#endif

namespace rtguard::detail {

enum class Event { kAllocation, kFree, kLock };

struct Watch;

// [any thread] Counts one call of the calling thread while it watches. Calls made
// inside a counted one (a zone handing the work to another) are not counted again.
class CountedCall {
 public:
  explicit CountedCall(Event event, bool counts = true);
  CountedCall(const CountedCall&) = delete;
  CountedCall& operator=(const CountedCall&) = delete;
  ~CountedCall();

 private:
  Watch* watch_;
};

// Whether the platform's hooks are in place; defined next to them.
bool HooksInstalled();

}  // namespace rtguard::detail
