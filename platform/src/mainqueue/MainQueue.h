// The process's one main queue: work posted from any thread, kept in due-time
// order, and run by the main thread's run loop.
#pragma once

#include <CoreFoundation/CFRunLoop.h>
#include <dispatch/base.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <queue>
#include <vector>

namespace veneer::mainqueue {

using Clock = std::chrono::steady_clock;

class MainQueue {
 public:
  // The process's instance; never destroyed, so that threads still posting
  // while the process exits find it intact (work left in it does not run).
  static MainQueue& Get();

  // [any thread] Queues work due now, after everything already queued.
  void Post(void* context, dispatch_function_t work);
  // [any thread] Queues work due at `due`.
  void PostAt(Clock::time_point due, void* context, dispatch_function_t work);

  // [main thread] Runs due work until `deadline`, a stop, or (with
  // returnAfterOneItem) one item. With onlyQueuedBefore, work posted during
  // this run waits for the next one, so that a zero-length run always ends.
  CFRunLoopRunResult Run(Clock::time_point deadline, bool returnAfterOneItem, bool onlyQueuedBefore);

  // [any thread] Makes the running run, or the next one, return kCFRunLoopRunStopped.
  void Stop();
  // [any thread] Makes a waiting run look at the queue again.
  void WakeUp();

 private:
  MainQueue() = default;

  struct Item {
    Clock::time_point due;
    uint64_t sequence;
    void* context;
    dispatch_function_t work;
  };
  // Earliest due first; posting order among equal times.
  struct RunsLater {
    bool operator()(const Item& a, const Item& b) const {
      return a.due != b.due ? a.due > b.due : a.sequence > b.sequence;
    }
  };

  void Push(Clock::time_point due, void* context, dispatch_function_t work);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::priority_queue<Item, std::vector<Item>, RunsLater> items_;
  uint64_t nextSequence_ = 0;
  bool stopRequested_ = false;
};

}  // namespace veneer::mainqueue
