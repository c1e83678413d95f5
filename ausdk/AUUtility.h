// Small pieces the framework is built from: its exception, the conversion of
// every exception into a status at the component boundary, retained CF
// references, atomic parameter values, and the system-log helper with its sink.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace ausdk {

// The framework's exception: "OSStatus <n>", carrying the status.
class AUException : public std::runtime_error {
 public:
  explicit AUException(OSStatus err) : std::runtime_error("OSStatus " + std::to_string(err)), mError(err) {}

  OSStatus mError;
};

// [any thread] Logs "throwing <status>" to the system log at error level, then throws.
[[noreturn]] void Throw(OSStatus err);
// [any thread] Throws without logging.
[[noreturn]] void ThrowQuiet(OSStatus err);

inline void ThrowIf(bool condition, OSStatus err) {
  if (condition) {
    Throw(err);
  }
}
inline void ThrowQuietIf(bool condition, OSStatus err) {
  if (condition) {
    ThrowQuiet(err);
  }
}

// [any thread] One line at error level in the system log, printf-style; also
// handed to the log sink, when one is installed.
void LogError(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Receives every line the framework logs, without a newline, on the thread that
// logs it (the render thread among them). The system log gets the line as well.
using LogSink = void (*)(const char* line);
// [any thread] Installs `sink`, or none with null. Without one, logging costs
// one atomic load more than the system log alone.
void SetLogSink(LogSink sink);

// Runs `body` and turns whatever it throws into the status the host sees, in
// the framework's order of catch clauses. Nothing crosses the boundary.
template <typename Body>
OSStatus CatchExceptions(Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const AUException& e) {
    return e.mError;
  } catch (const std::bad_alloc&) {
    return kAudio_MemFullError;
  } catch (const OSStatus& status) {
    return status;
  } catch (const std::system_error& e) {
    return static_cast<OSStatus>(e.code().value());
  } catch (...) {
    return -1;
  }
}

// A retained CF reference, released when replaced or destroyed.
template <typename T>
class Owned {
 public:
  Owned() = default;
  // Takes over a reference the caller already holds.
  static Owned FromCreate(T ref) { return Owned(ref); }
  // Retains a reference the caller does not hold.
  static Owned FromGet(T ref) {
    if (ref != nullptr) {
      CFRetain(ref);
    }
    return Owned(ref);
  }
  Owned(const Owned& other) : ref_(other.ref_) {
    if (ref_ != nullptr) {
      CFRetain(ref_);
    }
  }
  Owned(Owned&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
  Owned& operator=(const Owned& other) {
    Owned copy(other);
    swap(copy);
    return *this;
  }
  Owned& operator=(Owned&& other) noexcept {
    Owned moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~Owned() {
    if (ref_ != nullptr) {
      CFRelease(ref_);
    }
  }

  [[nodiscard]] T get() const { return ref_; }
  explicit operator bool() const { return ref_ != nullptr; }
  // Gives the reference to the caller, who must release it.
  T release() { return std::exchange(ref_, nullptr); }
  void swap(Owned& other) noexcept { std::swap(ref_, other.ref_); }

 private:
  explicit Owned(T ref) : ref_(ref) {}
  T ref_ = nullptr;
};

// A value that the render thread and other threads touch without a lock:
// read with acquire order, written with a sequentially consistent store.
template <typename T>
class AtomicValue {
 public:
  AtomicValue() = default;
  explicit AtomicValue(T value) : value_(value) {}
  AtomicValue(const AtomicValue& other) : value_(other.load()) {}
  AtomicValue& operator=(const AtomicValue& other) {
    store(other.load());
    return *this;
  }
  AtomicValue(AtomicValue&& other) noexcept : value_(other.load()) {}
  AtomicValue& operator=(AtomicValue&& other) noexcept {
    store(other.load());
    return *this;
  }
  ~AtomicValue() = default;

  [[nodiscard]] T load() const { return value_.load(std::memory_order_acquire); }
  void store(T value) { value_.store(value, std::memory_order_seq_cst); }

 private:
  std::atomic<T> value_{};
};

// Four-character codes for log lines: most significant byte first, bytes
// outside printable ASCII as '.'.
std::string FourCC(UInt32 code);

}  // namespace ausdk
