// What the fuzz targets share: the input read as a stream of choices, the
// values that break code, a private HOME with the support folder, and Veneer
// and the stand-in products registered in this process.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include "standin/Variants.h"

namespace fuzzing {

// A null pointer the compiler does not see as one: the platform's headers mark
// most pointer parameters non-null, and a host that passes null anyway must
// still get a status back.
template <typename T>
T* Absent() {
  return nullptr;
}

// The input as choices taken from the front; zeros once it runs out, so a
// short input still describes a whole run, and zeros pick the ordinary case.
class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : rest_(data, size) {}

  template <typename T>
  T Take() {
    T value{};
    const size_t n = std::min(sizeof value, rest_.size());
    if (n > 0) {
      std::memcpy(&value, rest_.data(), n);
      rest_ = rest_.subspan(n);
    }
    return value;
  }
  // A number below `bound`, from one byte when that is enough.
  uint32_t Below(uint32_t bound) {
    if (bound <= 1) {
      return 0;
    }
    return bound <= 256 ? Take<uint8_t>() % bound : Take<uint32_t>() % bound;
  }
  bool Flag() { return (Take<uint8_t>() & 1U) != 0; }
  std::span<const uint8_t> TakeSpan(size_t n) {
    const auto taken = rest_.first(std::min(n, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  std::span<const uint8_t> Rest() { return TakeSpan(rest_.size()); }
  [[nodiscard]] bool Empty() const { return rest_.empty(); }

 private:
  std::span<const uint8_t> rest_;
};

// A parameter value as a host might send one, leaning on NaN, infinities,
// extremes, denormals and negative zero.
float TakeValue(Bytes& in);
// A sample rate: the usual ones, 0, negative, NaN, infinite, tiny and huge.
double TakeSampleRate(Bytes& in);
// A parameter id: the shell's own (0-10), its read-backs (200-220), a stand-in
// product's, or any.
AudioUnitParameterID TakeParameterId(Bytes& in);

// Prints why and aborts, so that libFuzzer keeps the input.
[[noreturn]] void Fail(const char* why);

// [main thread] Once per process, before anything else: HOME becomes a new
// folder under the temp folder (removed at exit) holding the support folder,
// with the debug log sent to /dev/null; no installed components are searched;
// Veneer and the five stand-in products are registered in this process.
// Returns Veneer's component.
AudioComponent SetUpProcess();
// The stand-in component registered for `variant`.
AudioComponent StandInComponent(standin::Variant variant);

// Stand-in instances open now. Every one is an inner unit or the harness's
// own, so once the harness has closed its units none may be left: an inner
// unit its Veneer did not release stays open for good, and since the platform
// keeps every instance record, LeakSanitizer cannot see it.
size_t OpenProducts();
// Fails when more than `mayStayOpen` stand-in instances are open.
void CheckProductsClosed(size_t mayStayOpen = 0);

enum class Age { kFresh, kStale };
// [main thread] Replaces a support-folder file in one rename. A fresh file is
// dated far ahead (which counts as fresh for as long as a run lasts), a stale
// one a minute back.
void WriteSupportFile(const std::string& name, const std::string& text, Age age = Age::kFresh);
void RemoveSupportFile(const std::string& name);

// Owns one CF reference (null allowed).
class CF {
 public:
  explicit CF(CFTypeRef ref = nullptr) : ref_(ref) {}
  CF(CF&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
  CF(const CF&) = delete;
  CF& operator=(const CF&) = delete;
  CF& operator=(CF&&) = delete;
  ~CF() {
    if (ref_ != nullptr) {
      CFRelease(ref_);
    }
  }
  [[nodiscard]] CFTypeRef get() const { return ref_; }

 private:
  CFTypeRef ref_;
};

// A string made of input bytes (UTF-8; "?" when they are not).
CFStringRef CreateText(std::span<const uint8_t> bytes);
CFNumberRef CreateInt(SInt64 value);

}  // namespace fuzzing
