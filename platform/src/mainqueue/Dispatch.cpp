// The main dispatch queue and dispatch_time; the queue's work is kept and run
// by MainQueue.
// The queue struct is this file's own, not the opaque C++ hierarchy clients see.
#define __DISPATCH_BUILDING_DISPATCH__ 1
#include <dispatch/dispatch.h>
#include <mach/mach_time.h>
#include <pthread.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <mutex>

#include "mainqueue/MainQueue.h"

// A tag: the main queue is the only queue, and its state lives in MainQueue.
struct dispatch_queue_s {
  const char* label;
};

namespace {

using veneer::mainqueue::Clock;
using veneer::mainqueue::MainQueue;

dispatch_queue_s gMainQueue{"com.apple.main-thread"};

bool IsMainQueue(dispatch_queue_t queue) { return queue == &gMainQueue; }

// What a thread in dispatch_sync_f waits on.
struct SyncCall {
  void* context;
  dispatch_function_t work;
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;
};

void RunSyncCall(void* call) {
  auto& sync = *static_cast<SyncCall*>(call);
  sync.work(sync.context);
  const std::lock_guard lock(sync.mutex);
  sync.done = true;
  sync.finished.notify_one();
}

}  // namespace

extern "C" {

dispatch_queue_main_t _dispatch_get_main_q(void) { return &gMainQueue; }

dispatch_time_t dispatch_time(dispatch_time_t when, long long delta) {
  if (when == DISPATCH_TIME_FOREVER) {
    return DISPATCH_TIME_FOREVER;
  }
  const uint64_t base = when == DISPATCH_TIME_NOW ? mach_absolute_time() : when;
  if (delta >= 0) {
    const auto step = static_cast<uint64_t>(delta);
    const uint64_t limit = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    return base > limit - step ? DISPATCH_TIME_FOREVER : base + step;
  }
  // Earlier than the clock's start still means "already due", but never NOW.
  const uint64_t back = static_cast<uint64_t>(-(delta + 1)) + 1;
  return base > back ? base - back : 1;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  if (!IsMainQueue(queue) || work == nullptr) {
    return;
  }
  MainQueue::Get().Post(context, work);
}

void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context, dispatch_function_t work) {
  if (!IsMainQueue(queue) || work == nullptr) {
    return;
  }
  if (when == DISPATCH_TIME_NOW) {
    MainQueue::Get().Post(context, work);
    return;
  }
  if (when > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    return;  // FOREVER (or beyond the clock): would never run
  }
  // mach_absolute_time() reads the steady clock, so a host time is a point on it.
  const Clock::time_point due{std::chrono::duration_cast<Clock::duration>(std::chrono::nanoseconds(when))};
  MainQueue::Get().PostAt(due, context, work);
}

void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  if (!IsMainQueue(queue) || work == nullptr) {
    return;
  }
  if (pthread_main_np() != 0) {
    // The main thread would wait for itself.
    std::fputs("BUG IN CLIENT OF LIBDISPATCH: dispatch_sync_f called on the main queue from the main thread\n", stderr);
    std::abort();
  }
  SyncCall call{context, work, {}, {}, false};
  MainQueue::Get().Post(&call, RunSyncCall);
  std::unique_lock lock(call.mutex);
  call.finished.wait(lock, [&call] { return call.done; });
}

void dispatch_main(void) {
  if (pthread_main_np() == 0) {
    std::fputs("BUG IN CLIENT OF LIBDISPATCH: dispatch_main called off the main thread\n", stderr);
    std::abort();
  }
  for (;;) {
    // A CFRunLoopStop ends only the current run; dispatch_main goes on.
    MainQueue::Get().Run(Clock::now() + std::chrono::hours(24), false, false);
  }
}

}  // extern "C"
