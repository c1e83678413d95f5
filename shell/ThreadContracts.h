// Checks of the contracts the thread tags state, and the guard every entry
// point of a thread or queue of our own runs behind. The checks are on in
// debug builds (the sanitizer presets) and compiled out of release builds: a
// broken contract there stops the process at once with its name, instead of
// racing silently in a host.
#pragma once

#include <pthread.h>

#include <atomic>
#include <exception>

namespace veneer {

#if defined(NDEBUG)
inline constexpr bool kThreadChecks = false;
#else
inline constexpr bool kThreadChecks = true;
#endif

// [any thread] Writes "thread contract broken: <what> <contract>" to standard error and aborts.
[[noreturn]] void ThreadContractBroken(const char* what, const char* contract);

// [any thread] `what` runs on the main thread.
inline void ExpectMainThread(const char* what) {
  if constexpr (kThreadChecks) {
    if (pthread_main_np() == 0) {
      ThreadContractBroken(what, "must run on the main thread");
    }
  }
}

// Which thread is inside an instance's render call, if any, so that the
// instance's link functions can tell they were called from there.
class RenderingThread {
 public:
  // [render thread] Marks the calling thread as rendering for the scope's life.
  class Scope {
   public:
    explicit Scope(RenderingThread& owner) : owner_(owner) {
      if constexpr (kThreadChecks) {
        owner_.thread_.store(pthread_self(), std::memory_order_relaxed);
        owner_.rendering_.store(true, std::memory_order_release);
      }
    }
    ~Scope() {
      if constexpr (kThreadChecks) {
        owner_.rendering_.store(false, std::memory_order_release);
      }
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    RenderingThread& owner_;
  };

  // [any thread] `what` is not called from inside this instance's render call.
  void ExpectNotHere(const char* what) const {
    if constexpr (kThreadChecks) {
      if (rendering_.load(std::memory_order_acquire) &&
          pthread_equal(thread_.load(std::memory_order_relaxed), pthread_self()) != 0) {
        ThreadContractBroken(what, "must not run on the render thread");
      }
    }
  }

 private:
  std::atomic<bool> rendering_{false};
  std::atomic<pthread_t> thread_{};
};

// [any thread] Logs that an exception reached `where`; never throws itself.
void LogCaught(const char* where, const char* what) noexcept;

// [any thread] Runs `body` so that nothing it throws leaves it: the entry
// points of our own threads and of work we post to the main queue run behind
// it, since an exception escaping them would end the host. What was thrown is
// logged with `where`, when logging still works.
template <typename Body>
void RunGuarded(const char* where, Body&& body) noexcept {
  try {
    body();
  } catch (const std::exception& e) {
    LogCaught(where, e.what());
  } catch (...) {
    LogCaught(where, "not a standard exception");
  }
}

}  // namespace veneer
