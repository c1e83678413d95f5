// The main queue and the main run loop, driven as a host's main thread would.
#include <CoreFoundation/CFRunLoop.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>
#include <mach/mach_time.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// One recorded run of a work item: what it was and when it ran.
struct Step {
  std::vector<int>* order;
  int value;
  Clock::time_point ranAt{};
};

void RecordStep(void* step) {
  auto* s = static_cast<Step*>(step);
  s->ranAt = Clock::now();
  s->order->push_back(s->value);
}

void CountRun(void* counter) { ++*static_cast<int*>(counter); }

// Runs the main loop until `done` holds; false if it did not within `limit`.
bool RunUntil(const std::function<bool()>& done, Clock::duration limit = std::chrono::seconds(10)) {
  const auto end = Clock::now() + limit;
  while (!done()) {
    if (Clock::now() >= end) {
      return false;
    }
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.05, true);
  }
  return true;
}

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

TEST(MainQueue, RunsWorkInPostingOrderOnlyWhileTheLoopRuns) {
  std::vector<int> order;
  std::vector<Step> steps;
  steps.reserve(50);
  for (int i = 0; i < 50; ++i) {
    steps.push_back(Step{&order, i});
  }
  for (auto& step : steps) {
    dispatch_async_f(dispatch_get_main_queue(), &step, RecordStep);
  }
  std::this_thread::sleep_for(milliseconds(30));
  EXPECT_TRUE(order.empty()) << "work ran before the main thread ran its loop";

  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
  ASSERT_EQ(order.size(), 50u);
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(order[i], i);
  }
}

// Work posted by workers: each item says which thread posted it and in what order.
struct WorkerItem {
  int thread;
  int index;
};
struct WorkerTally {
  std::vector<std::vector<int>> timesRun;
  std::vector<int> lastIndex;
  int offMainThread = 0;
  int total = 0;
};
WorkerTally* gTally = nullptr;

void TallyWorkerItem(void* context) {
  const auto* item = static_cast<const WorkerItem*>(context);
  if (pthread_main_np() != 1) {
    ++gTally->offMainThread;
  }
  ++gTally->timesRun[item->thread][item->index];
  EXPECT_GT(item->index, gTally->lastIndex[item->thread]) << "thread " << item->thread << " out of order";
  gTally->lastIndex[item->thread] = item->index;
  ++gTally->total;
}

TEST(MainQueue, WorkFromWorkerThreadsRunsOnceEachOnTheMainThread) {
  constexpr int kThreads = 4;
  constexpr int kItemsPerThread = 250;
  WorkerTally tally;
  tally.timesRun.assign(kThreads, std::vector<int>(kItemsPerThread, 0));
  tally.lastIndex.assign(kThreads, -1);
  gTally = &tally;
  std::vector<WorkerItem> items;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kItemsPerThread; ++i) {
      items.push_back(WorkerItem{t, i});
    }
  }
  std::vector<std::thread> workers;
  for (int t = 0; t < kThreads; ++t) {
    workers.emplace_back([&items, t] {
      for (int i = 0; i < kItemsPerThread; ++i) {
        dispatch_async_f(dispatch_get_main_queue(), &items[t * kItemsPerThread + i], TallyWorkerItem);
      }
    });
  }
  EXPECT_TRUE(RunUntil([&tally] { return tally.total == kThreads * kItemsPerThread; }));
  for (auto& worker : workers) {
    worker.join();
  }
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
  gTally = nullptr;

  EXPECT_EQ(tally.total, kThreads * kItemsPerThread);
  EXPECT_EQ(tally.offMainThread, 0);
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kItemsPerThread; ++i) {
      ASSERT_EQ(tally.timesRun[t][i], 1) << "thread " << t << " item " << i;
    }
  }
}

struct Repeater {
  int runs = 0;
  bool again = true;
};

void RunAndRepost(void* context) {
  auto* repeater = static_cast<Repeater*>(context);
  ++repeater->runs;
  if (repeater->again) {
    dispatch_async_f(dispatch_get_main_queue(), repeater, RunAndRepost);
  }
}

struct Chain {
  std::vector<int> order;
  Step second{&order, 2};
  Step third{&order, 3};
  CFRunLoopRunResult nestedResult = kCFRunLoopRunFinished;
};

void PostTwoMore(void* context) {
  auto* chain = static_cast<Chain*>(context);
  chain->order.push_back(1);
  dispatch_async_f(dispatch_get_main_queue(), &chain->second, RecordStep);
  dispatch_async_f(dispatch_get_main_queue(), &chain->third, RecordStep);
}

void RunLoopInside(void* context) {
  auto* chain = static_cast<Chain*>(context);
  chain->order.push_back(1);
  chain->nestedResult = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
  chain->order.push_back(10);
}

TEST(MainQueue, WorkCanPostWorkForLaterRunsAndRunTheLoopAgain) {
  Chain posting;
  dispatch_async_f(dispatch_get_main_queue(), &posting, PostTwoMore);
  ASSERT_TRUE(RunUntil([&posting] { return posting.order.size() == 3; }));
  EXPECT_EQ(posting.order, (std::vector<int>{1, 2, 3}));

  Chain nesting;
  dispatch_async_f(dispatch_get_main_queue(), &nesting, RunLoopInside);
  dispatch_async_f(dispatch_get_main_queue(), &nesting.second, RecordStep);
  dispatch_async_f(dispatch_get_main_queue(), &nesting.third, RecordStep);
  ASSERT_TRUE(RunUntil([&nesting] { return nesting.order.size() == 4; }));
  EXPECT_EQ(nesting.order, (std::vector<int>{1, 2, 10, 3}));
  EXPECT_EQ(nesting.nestedResult, kCFRunLoopRunHandledSource);

  // A zero-length run leaves work posted during it for the next run.
  Repeater repeater;
  dispatch_async_f(dispatch_get_main_queue(), &repeater, RunAndRepost);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
  EXPECT_EQ(repeater.runs, 1);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
  EXPECT_EQ(repeater.runs, 2);
  repeater.again = false;
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
  EXPECT_EQ(repeater.runs, 3);
}

TEST(Dispatch, DelayedWorkRunsWhenDueInDueOrder) {
  std::vector<int> order;
  Step late{&order, 1};
  Step soon{&order, 2};
  Step now{&order, 3};
  Step soonToo{&order, 4};
  const auto start = Clock::now();
  dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, 60 * NSEC_PER_MSEC), dispatch_get_main_queue(), &late, RecordStep);
  const dispatch_time_t soonTime = dispatch_time(DISPATCH_TIME_NOW, 20 * NSEC_PER_MSEC);
  dispatch_after_f(soonTime, dispatch_get_main_queue(), &soon, RecordStep);
  dispatch_async_f(dispatch_get_main_queue(), &now, RecordStep);
  dispatch_after_f(soonTime, dispatch_get_main_queue(), &soonToo, RecordStep);

  ASSERT_TRUE(RunUntil([&order] { return order.size() == 4; }));
  EXPECT_EQ(order, (std::vector<int>{3, 2, 4, 1}));
  EXPECT_GE(soon.ranAt - start, milliseconds(20));
  EXPECT_GE(soonToo.ranAt - start, milliseconds(20));
  EXPECT_GE(late.ranAt - start, milliseconds(60));
  EXPECT_LT(late.ranAt - start, std::chrono::seconds(5));
}

TEST(Dispatch, ImmediateWorkQueuesBehindDelayedWorkAlreadyDue) {
  std::vector<int> order;
  Step delayed{&order, 1};
  Step immediate{&order, 2};
  dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, 10 * NSEC_PER_MSEC), dispatch_get_main_queue(), &delayed,
                   RecordStep);
  std::this_thread::sleep_for(milliseconds(30));
  dispatch_async_f(dispatch_get_main_queue(), &immediate, RecordStep);
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(Dispatch, DelayedWorkWaitsWhileTheLoopRuns) {
  int runs = 0;
  const auto start = Clock::now();
  dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, 80 * NSEC_PER_MSEC), dispatch_get_main_queue(), &runs, CountRun);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.02, false), kCFRunLoopRunTimedOut);
  if (Clock::now() - start < milliseconds(80)) {
    EXPECT_EQ(runs, 0);
  }
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 5.0, true), kCFRunLoopRunHandledSource);
  EXPECT_EQ(runs, 1);
  EXPECT_GE(Clock::now() - start, milliseconds(80));
}

TEST(Dispatch, NullQueueNullFunctionAndForeverAreIgnored) {
  int runs = 0;
  dispatch_async_f(nullptr, &runs, CountRun);
  dispatch_after_f(DISPATCH_TIME_NOW, nullptr, &runs, CountRun);
  dispatch_sync_f(nullptr, &runs, CountRun);
  dispatch_async_f(dispatch_get_main_queue(), &runs, nullptr);
  dispatch_after_f(DISPATCH_TIME_NOW, dispatch_get_main_queue(), &runs, nullptr);
  dispatch_after_f(DISPATCH_TIME_FOREVER, dispatch_get_main_queue(), &runs, CountRun);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.03, false), kCFRunLoopRunTimedOut);
  EXPECT_EQ(runs, 0);
}

TEST(Dispatch, TimeCountsNanosecondsOfTheHostClock) {
  const uint64_t before = mach_absolute_time();
  const dispatch_time_t now = dispatch_time(DISPATCH_TIME_NOW, 0);
  const uint64_t after = mach_absolute_time();
  EXPECT_GE(now, before);
  EXPECT_LE(now, after);
  EXPECT_EQ(dispatch_time(now, 5 * NSEC_PER_MSEC), now + 5000000);
  EXPECT_EQ(dispatch_time(now, -static_cast<int64_t>(NSEC_PER_USEC)), now - 1000);
  EXPECT_EQ(dispatch_time(DISPATCH_TIME_FOREVER, -1), DISPATCH_TIME_FOREVER);
  EXPECT_EQ(dispatch_time(now, INT64_MAX), DISPATCH_TIME_FOREVER);
  // Before the clock's start is still a time (due at once), not DISPATCH_TIME_NOW.
  EXPECT_EQ(dispatch_time(100, -1000), 1u);
}

struct SyncState {
  int value = 0;
  int ranOnMainThread = -1;
};

void SetValue(void* context) {
  auto* state = static_cast<SyncState*>(context);
  state->ranOnMainThread = pthread_main_np();
  state->value = 7;
}

TEST(Dispatch, SyncFromWorkerReturnsAfterTheMainThreadRanTheWork) {
  SyncState state;
  std::atomic<int> seenByWorker{-1};
  std::atomic<bool> finished{false};
  std::thread worker([&] {
    dispatch_sync_f(dispatch_get_main_queue(), &state, SetValue);
    seenByWorker = state.value;
    finished = true;
  });
  std::this_thread::sleep_for(milliseconds(20));
  EXPECT_FALSE(finished) << "dispatch_sync_f returned before the main loop ran";
  EXPECT_TRUE(RunUntil([&finished] { return finished.load(); }));
  worker.join();
  EXPECT_EQ(seenByWorker, 7);
  EXPECT_EQ(state.ranOnMainThread, 1);
}

TEST(DispatchDeathTest, SyncOnTheMainThreadEndsTheProcess) {
  int runs = 0;
  EXPECT_DEATH(dispatch_sync_f(dispatch_get_main_queue(), &runs, CountRun), "main thread");
}

void ExitWithCode(void* code) { _exit(*static_cast<int*>(code)); }

TEST(DispatchDeathTest, MainRunsTheQueueUntilTheProcessEnds) {
  static int code = 3;
  EXPECT_EXIT(
      {
        dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, 10 * NSEC_PER_MSEC), dispatch_get_main_queue(), &code,
                         ExitWithCode);
        CFRunLoopStop(CFRunLoopGetMain());  // dispatch_main does not stop for it
        dispatch_main();
      },
      testing::ExitedWithCode(3), "");
}

TEST(RunLoop, MainLoopIsTheMainThreadsCurrentLoopAndNeverGoesAway) {
  CFRunLoopRef main = CFRunLoopGetMain();
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(CFRunLoopGetCurrent(), main);
  EXPECT_EQ(CFGetTypeID(main), CFRunLoopGetTypeID());
  CFRelease(main);
  CFRelease(main);
  EXPECT_EQ(CFRetain(main), main);
  EXPECT_EQ(CFGetTypeID(CFRunLoopGetMain()), CFRunLoopGetTypeID());
}

TEST(RunLoop, ReturnsAfterOneItemWhenAsked) {
  int runs = 0;
  for (int i = 0; i < 3; ++i) {
    dispatch_async_f(dispatch_get_main_queue(), &runs, CountRun);
  }
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 5.0, true), kCFRunLoopRunHandledSource);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopCommonModes, 5.0, true), kCFRunLoopRunHandledSource);
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
  EXPECT_EQ(runs, 3);
}

TEST(RunLoop, TimesOutWhenNothingIsDueEvenWhenWokenUp) {
  std::thread waker([] {
    std::this_thread::sleep_for(milliseconds(20));
    CFRunLoopWakeUp(CFRunLoopGetMain());
  });
  auto start = Clock::now();
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.15, false), kCFRunLoopRunTimedOut);
  EXPECT_GE(Clock::now() - start, milliseconds(150));
  EXPECT_LT(SecondsSince(start), 3.0);
  waker.join();

  start = Clock::now();
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true), kCFRunLoopRunTimedOut);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, -1, true), kCFRunLoopRunTimedOut);
  EXPECT_LT(SecondsSince(start), 1.0);
}

TEST(RunLoop, OtherModesHaveNoSources) {
  int runs = 0;
  dispatch_async_f(dispatch_get_main_queue(), &runs, CountRun);
  const auto start = Clock::now();
  EXPECT_EQ(CFRunLoopRunInMode(CFSTR("com.veneer.private-mode"), 2.0, false), kCFRunLoopRunFinished);
  EXPECT_EQ(CFRunLoopRunInMode(nullptr, 2.0, false), kCFRunLoopRunFinished);
  EXPECT_LT(SecondsSince(start), 1.0);
  EXPECT_EQ(runs, 0);
  // The mode is matched by name, not by pointer.
  CFRunLoopRunInMode(CFSTR("kCFRunLoopDefaultMode"), 0, false);
  EXPECT_EQ(runs, 1);
}

void StopCurrentLoop(void* /*context*/) { CFRunLoopStop(CFRunLoopGetCurrent()); }

void StopMainLoopSoon() {
  std::this_thread::sleep_for(milliseconds(30));
  CFRunLoopStop(CFRunLoopGetMain());
}

TEST(RunLoop, StopFromAnyThreadEndsTheRunningOrElseTheNextRunOnce) {
  std::thread stopper(StopMainLoopSoon);
  auto start = Clock::now();
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 10.0, false), kCFRunLoopRunStopped);
  EXPECT_LT(SecondsSince(start), 5.0);
  stopper.join();
  stopper = std::thread(StopMainLoopSoon);
  start = Clock::now();
  CFRunLoopRun();
  EXPECT_LT(SecondsSince(start), 5.0);
  stopper.join();

  int runs = 0;
  dispatch_async_f(dispatch_get_main_queue(), nullptr, StopCurrentLoop);
  dispatch_async_f(dispatch_get_main_queue(), &runs, CountRun);
  CFRunLoopRun();
  EXPECT_EQ(runs, 0) << "work after the stop ran in the stopped run";

  CFRunLoopStop(CFRunLoopGetMain());
  start = Clock::now();
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 10.0, false), kCFRunLoopRunStopped);
  EXPECT_LT(SecondsSince(start), 5.0);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
  EXPECT_EQ(runs, 1);
}

TEST(RunLoop, OtherThreadsHaveTheirOwnLoopWithoutSources) {
  int runs = 0;
  dispatch_async_f(dispatch_get_main_queue(), &runs, CountRun);
  CFRunLoopRef workerLoop = nullptr;
  CFRunLoopRef workerLoopAgain = nullptr;
  CFRunLoopRunResult result = kCFRunLoopRunTimedOut;
  double seconds = 0;
  std::thread worker([&] {
    workerLoop = CFRunLoopGetCurrent();
    workerLoopAgain = CFRunLoopGetCurrent();
    const auto start = Clock::now();
    result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 5.0, false);
    CFRunLoopRun();
    seconds = SecondsSince(start);
  });
  worker.join();
  EXPECT_NE(workerLoop, nullptr);
  EXPECT_NE(workerLoop, CFRunLoopGetMain());
  EXPECT_EQ(workerLoop, workerLoopAgain);
  EXPECT_EQ(result, kCFRunLoopRunFinished);
  EXPECT_LT(seconds, 2.0);
  EXPECT_EQ(runs, 0) << "main-queue work ran off the main thread";
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
  EXPECT_EQ(runs, 1);
}

}  // namespace
