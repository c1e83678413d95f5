#include "RealtimeGuard.h"

#include <pthread.h>

#include <atomic>

#include "GuardHooks.h"

namespace rtguard {
namespace detail {

// Each thread's watch, under a thread-specific key: unlike thread_local in a
// macOS library, which is set up with malloc on a thread's first use, reading
// the key never allocates.
struct Watch {
  Counts counts;
  int depth = 0;
};

namespace {

pthread_key_t gKey;
// Read by hooks that may run before this file's initialisation.
std::atomic<bool> gKeyReady{false};

[[maybe_unused]] const bool gKeyMade = [] {
  gKeyReady.store(pthread_key_create(&gKey, nullptr) == 0);
  return true;
}();

Watch* Current() {
  return gKeyReady.load(std::memory_order_relaxed) ? static_cast<Watch*>(pthread_getspecific(gKey)) : nullptr;
}

}  // namespace

CountedCall::CountedCall(Event event, bool counts) : watch_(Current()) {
  if (watch_ == nullptr || watch_->depth++ > 0 || !counts) {
    return;
  }
  switch (event) {
    case Event::kAllocation:
      ++watch_->counts.allocations;
      break;
    case Event::kFree:
      ++watch_->counts.frees;
      break;
    case Event::kLock:
      ++watch_->counts.locks;
      break;
  }
}

CountedCall::~CountedCall() {
  if (watch_ != nullptr) {
    --watch_->depth;
  }
}

}  // namespace detail

bool Expected() {
#if defined(VENEER_GUARD_HOOKS)
  return true;
#else
  return false;
#endif
}

bool Active() {
#if defined(VENEER_GUARD_HOOKS)
  return detail::gKeyReady.load() && detail::HooksInstalled();
#else
  return false;
#endif
}

namespace {

// Ends this thread's watch, if any, before its record is freed (so the free is not counted).
detail::Watch* TakeWatch() {
  auto* watch = static_cast<detail::Watch*>(pthread_getspecific(detail::gKey));
  pthread_setspecific(detail::gKey, nullptr);
  return watch;
}

}  // namespace

void BeginWatch() {
  delete TakeWatch();
  auto* watch = new detail::Watch;  // allocated before the watch starts: not counted
  pthread_setspecific(detail::gKey, watch);
}

Counts EndWatch() {
  detail::Watch* watch = TakeWatch();
  const Counts counts = watch != nullptr ? watch->counts : Counts{};
  delete watch;
  return counts;
}

}  // namespace rtguard
