#include "RealtimeGuard.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define VENEER_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VENEER_SANITIZED 1
#endif

namespace rtguard {
namespace {

// Static TLS of the executable: reading it never allocates.
thread_local bool tWatching = false;
thread_local Counts tCounts;

}  // namespace

void BeginWatch() {
  tCounts = {};
  tWatching = true;
}

Counts EndWatch() {
  tWatching = false;
  return tCounts;
}

#if defined(VENEER_SANITIZED)
bool Active() { return false; }
#else
bool Active() { return true; }

namespace {
void CountAllocation() {
  if (tWatching) {
    ++tCounts.allocations;
  }
}
}  // namespace
#endif

}  // namespace rtguard

#if !defined(VENEER_SANITIZED)
// glibc's own entry points, so the replacements never recurse.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
  rtguard::CountAllocation();
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  rtguard::CountAllocation();
  return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
  rtguard::CountAllocation();
  return __libc_realloc(memory, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  rtguard::CountAllocation();
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  rtguard::CountAllocation();
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
  rtguard::CountAllocation();
  *out = __libc_memalign(alignment, size);
  return *out != nullptr ? 0 : 12;  // ENOMEM
}

void free(void* memory) {
  if (memory != nullptr && rtguard::tWatching) {
    ++rtguard::tCounts.frees;
  }
  __libc_free(memory);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  using Lock = int (*)(pthread_mutex_t*);
  static const auto real = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  if (rtguard::tWatching) {
    ++rtguard::tCounts.locks;
  }
  return real(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) {
  using Lock = int (*)(pthread_mutex_t*);
  static const auto real = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
  if (rtguard::tWatching) {
    ++rtguard::tCounts.locks;
  }
  return real(mutex);
}
}
#endif
