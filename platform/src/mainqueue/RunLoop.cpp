// CFRunLoop: the main loop runs the main queue; other threads' loops have no
// sources, so running them returns kCFRunLoopRunFinished at once.
#include <CoreFoundation/CFRunLoop.h>
#include <pthread.h>

#include <cmath>
#include <string>

#include "cf/Object.h"
#include "mainqueue/MainQueue.h"

struct __CFRunLoop final : veneer::cf::Object {
  explicit __CFRunLoop(bool mainLoop) : Object(veneer::cf::kRunLoopTypeId), isMain(mainLoop) {
    if (isMain) {
      MakeImmortal();
    }
  }
  [[nodiscard]] std::string Describe() const override { return isMain ? "<CFRunLoop main>" : Object::Describe(); }

  const bool isMain;
};

namespace {

using veneer::mainqueue::Clock;
using veneer::mainqueue::MainQueue;

// Longest wait asked of the clock; a run of 1e10 s (as CFRunLoopRun uses) is cut to this.
constexpr double kLongestRunSeconds = 1.0e8;

CFRunLoopRef MainLoop() {
  static auto* const loop = new __CFRunLoop(true);  // immortal, like the platform's
  return loop;
}

// Holds the loop of a thread other than the main thread until the thread ends.
class ThreadLoop {
 public:
  ThreadLoop(const ThreadLoop&) = delete;
  ThreadLoop& operator=(const ThreadLoop&) = delete;
  ThreadLoop() = default;
  ~ThreadLoop() {
    if (loop_ != nullptr) {
      loop_->Release();
    }
  }
  CFRunLoopRef Get() {
    if (loop_ == nullptr) {
      loop_ = new __CFRunLoop(false);
    }
    return loop_;
  }

 private:
  __CFRunLoop* loop_ = nullptr;
};

bool RunsMainQueue(CFRunLoopMode mode) {
  return mode != nullptr && (CFEqual(mode, kCFRunLoopDefaultMode) || CFEqual(mode, kCFRunLoopCommonModes));
}

const __CFRunLoop* AsRunLoop(CFRunLoopRef rl) { return veneer::cf::Cast<__CFRunLoop>(rl, veneer::cf::kRunLoopTypeId); }

}  // namespace

extern "C" {

const CFRunLoopMode kCFRunLoopDefaultMode = __CFStringMakeConstantString("kCFRunLoopDefaultMode");
const CFRunLoopMode kCFRunLoopCommonModes = __CFStringMakeConstantString("kCFRunLoopCommonModes");

CFTypeID CFRunLoopGetTypeID(void) { return veneer::cf::kRunLoopTypeId; }

CFRunLoopRef CFRunLoopGetMain(void) { return MainLoop(); }

CFRunLoopRef CFRunLoopGetCurrent(void) {
  if (pthread_main_np() != 0) {
    return MainLoop();
  }
  thread_local ThreadLoop threadLoop;
  return threadLoop.Get();
}

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled) {
  if (pthread_main_np() == 0 || !RunsMainQueue(mode)) {
    return kCFRunLoopRunFinished;
  }
  if (std::isnan(seconds) || seconds < 0) {
    seconds = 0;
  }
  const auto now = Clock::now();
  const auto length = std::chrono::duration<double>(std::fmin(seconds, kLongestRunSeconds));
  const auto deadline = now + std::chrono::duration_cast<Clock::duration>(length);
  return MainQueue::Get().Run(deadline, returnAfterSourceHandled != 0, seconds == 0);
}

void CFRunLoopRun(void) {
  CFRunLoopRunResult result = kCFRunLoopRunTimedOut;
  do {
    result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1.0e10, false);
  } while (result != kCFRunLoopRunStopped && result != kCFRunLoopRunFinished);
}

void CFRunLoopStop(CFRunLoopRef rl) {
  const auto* loop = AsRunLoop(rl);
  if (loop != nullptr && loop->isMain) {
    MainQueue::Get().Stop();
  }
}

void CFRunLoopWakeUp(CFRunLoopRef rl) {
  const auto* loop = AsRunLoop(rl);
  if (loop != nullptr && loop->isMain) {
    MainQueue::Get().WakeUp();
  }
}

}  // extern "C"
