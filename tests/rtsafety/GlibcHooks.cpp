// With glibc: the test binary defines malloc and friends and the mutex calls
// itself, which every image's calls then reach; glibc's own entry points do
// the work, so the replacements never recurse.
#include "GuardHooks.h"

#if defined(VENEER_GUARD_HOOKS) && defined(__GLIBC__)
#include <dlfcn.h>

#include <cerrno>
#include <cstddef>

namespace rtguard::detail {
bool HooksInstalled() { return true; }
}  // namespace rtguard::detail

using rtguard::detail::CountedCall;
using rtguard::detail::Event;

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

// [any thread]
void* malloc(std::size_t size) {
  const CountedCall counted(Event::kAllocation);
  return __libc_malloc(size);
}

// [any thread]
void* calloc(std::size_t count, std::size_t size) {
  const CountedCall counted(Event::kAllocation);
  return __libc_calloc(count, size);
}

// [any thread]
void* realloc(void* memory, std::size_t size) {
  const CountedCall counted(Event::kAllocation);
  return __libc_realloc(memory, size);
}

// [any thread]
void* memalign(std::size_t alignment, std::size_t size) {
  const CountedCall counted(Event::kAllocation);
  return __libc_memalign(alignment, size);
}

// [any thread]
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  const CountedCall counted(Event::kAllocation);
  return __libc_memalign(alignment, size);
}

// [any thread]
int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
  const CountedCall counted(Event::kAllocation);
  *out = __libc_memalign(alignment, size);
  return *out != nullptr ? 0 : ENOMEM;
}

// [any thread]
void free(void* memory) {
  const CountedCall counted(Event::kFree, memory != nullptr);
  __libc_free(memory);
}

// [any thread]
int pthread_mutex_lock(pthread_mutex_t* mutex) {
  using Lock = int (*)(pthread_mutex_t*);
  static const auto real = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  const CountedCall counted(Event::kLock);
  return real(mutex);
}

// [any thread]
int pthread_mutex_trylock(pthread_mutex_t* mutex) {
  using Lock = int (*)(pthread_mutex_t*);
  static const auto real = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
  const CountedCall counted(Event::kLock);
  return real(mutex);
}
}
#endif
