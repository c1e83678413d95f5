#include "mainqueue/MainQueue.h"

namespace veneer::mainqueue {

MainQueue& MainQueue::Get() {
  static auto* const instance = new MainQueue();  // lives for the process
  return *instance;
}

void MainQueue::Post(void* context, dispatch_function_t work) {
  const std::lock_guard lock(mutex_);
  // Stamped under the lock, so that due order is posting order across threads.
  Push(Clock::now(), context, work);
}

void MainQueue::PostAt(Clock::time_point due, void* context, dispatch_function_t work) {
  const std::lock_guard lock(mutex_);
  Push(due, context, work);
}

void MainQueue::Push(Clock::time_point due, void* context, dispatch_function_t work) {
  items_.push(Item{due, nextSequence_++, context, work});
  changed_.notify_all();
}

CFRunLoopRunResult MainQueue::Run(Clock::time_point deadline, bool returnAfterOneItem, bool onlyQueuedBefore) {
  std::unique_lock lock(mutex_);
  const uint64_t sequenceLimit = onlyQueuedBefore ? nextSequence_ : UINT64_MAX;
  for (;;) {
    if (stopRequested_) {
      stopRequested_ = false;
      return kCFRunLoopRunStopped;
    }
    const auto now = Clock::now();
    if (!items_.empty() && items_.top().due <= now && items_.top().sequence < sequenceLimit) {
      const Item item = items_.top();
      items_.pop();
      // Unlocked while the work runs: it may post work or run the loop again.
      lock.unlock();
      item.work(item.context);
      lock.lock();
      if (returnAfterOneItem) {
        return kCFRunLoopRunHandledSource;
      }
      continue;
    }
    if (now >= deadline) {
      return kCFRunLoopRunTimedOut;
    }
    auto wakeAt = deadline;
    if (!items_.empty() && items_.top().due < wakeAt) {
      wakeAt = items_.top().due;
    }
    changed_.wait_until(lock, wakeAt);
  }
}

void MainQueue::Stop() {
  const std::lock_guard lock(mutex_);
  stopRequested_ = true;
  changed_.notify_all();
}

void MainQueue::WakeUp() {
  const std::lock_guard lock(mutex_);
  changed_.notify_all();
}

}  // namespace veneer::mainqueue
