// The input meter: a peak hold on three times the RMS of the block, falling by
// a fixed factor per render.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "shell/Veneer.h"

namespace veneer {
namespace {

// An RMS of 1/3 (about -9.5 dBFS) reads as full scale.
constexpr float kRmsScale = 3.0F;
// Applied per render whenever the block is not louder than the held level.
constexpr double kDecayPerRender = 0.9;

// Eight single-precision lanes: both compilers spell a SIMD register this way,
// on x86-64 (two SSE or one AVX register) and on arm64 (two NEON registers)
// alike. No fast-math is needed: the lanes are independent sums, whose order
// is ours to choose.
using Lanes = float __attribute__((vector_size(32)));
// The same lanes read straight from a block: host blocks carry no alignment
// promise, and the samples are floats the lanes may alias. Read this way
// rather than copied into a Lanes, no 32-byte-aligned stack slot is set up.
using BlockLanes = float __attribute__((vector_size(32), aligned(alignof(float)), may_alias));
constexpr size_t kLaneCount = 8;

// Where the system can pick a function's variant when the module loads (ELF on
// x86-64), the sum also gets an AVX2 build: half the instructions per sample.
// Not under ThreadSanitizer: it instruments the variant picker, which runs
// while the module is relocated, before the sanitizer's runtime is up.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VENEER_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define VENEER_THREAD_SANITIZER 1
#endif
#if defined(__x86_64__) && defined(__ELF__) && !defined(VENEER_THREAD_SANITIZER)
#define VENEER_WIDEST_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define VENEER_WIDEST_VECTORS
#endif

// Half a Lanes and a quarter: the steps of the final fold.
using HalfLanes = float __attribute__((vector_size(16)));
using QuarterLanes = float __attribute__((vector_size(8)));

// [any thread] The eight lanes added up, by halves: two vector additions
// and one scalar, rather than seven additions of lanes taken out one by one.
inline float LaneTotal(const Lanes& lanes) {
  HalfLanes low;
  HalfLanes high;
  std::memcpy(&low, &lanes, sizeof low);
  std::memcpy(&high, reinterpret_cast<const std::byte*>(&lanes) + sizeof low, sizeof high);
  const HalfLanes four = low + high;
  QuarterLanes front;
  QuarterLanes back;
  std::memcpy(&front, &four, sizeof front);
  std::memcpy(&back, reinterpret_cast<const std::byte*>(&four) + sizeof front, sizeof back);
  const QuarterLanes two = front + back;
  return two[0] + two[1];
}

// [any thread] The squares of the fewer than sixteen samples a block may end
// with, one by one. Apart, so that blocks of whole steps (the usual sizes) do
// not pay for the registers its vectorised form takes.
[[gnu::noinline]] float TailSquares(const float* sample, const float* end) {
  float sum = 0.0F;
  for (; sample != end; ++sample) {
    sum += *sample * *sample;
  }
  return sum;
}

// [any thread] The mean square of the first `frames` samples of every buffer
// that has memory (fewer where a buffer holds fewer), 0 for none. All channels
// are pooled into one single-precision sum: sixteen partial sums of sixteen
// samples a step, then the rest one by one, and one fold at the end. The
// square root is the caller's: its call for errno on a negative argument
// would make this function keep its vector sums in an aligned stack frame.
VENEER_WIDEST_VECTORS float MeanSquare(const AudioBufferList& buffers, UInt32 frames) {
  Lanes even{};
  Lanes odd{};
  float tail = 0.0F;
  UInt32 samples = 0;
  for (UInt32 b = 0; b < buffers.mNumberBuffers; ++b) {
    const AudioBuffer& buffer = buffers.mBuffers[b];
    if (buffer.mData == nullptr) {
      continue;
    }
    const auto* sample = static_cast<const float*>(buffer.mData);
    const UInt32 count = std::min<UInt32>(frames, buffer.mDataByteSize / sizeof(float));
    const float* const end = sample + count;
    const float* const stepsEnd = sample + (count & ~(2 * kLaneCount - 1));
    for (; sample != stepsEnd; sample += 2 * kLaneCount) {
      const Lanes first = *reinterpret_cast<const BlockLanes*>(sample);
      const Lanes second = *reinterpret_cast<const BlockLanes*>(sample + kLaneCount);
      even += first * first;
      odd += second * second;
    }
    if (sample != end) {
      tail += TailSquares(sample, end);
    }
    samples += count;
  }
  return samples == 0 ? 0.0F : (LaneTotal(even + odd) + tail) / static_cast<float>(samples);
}

}  // namespace

float Veneer::MeterValue(const AudioBufferList& buffers, UInt32 frames) {
  const float value = std::sqrt(MeanSquare(buffers, frames)) * kRmsScale;
  // As fmin: a NaN (a block holding one) fails the comparison and reads full scale.
  return value < 1.0F ? value : 1.0F;
}

void Veneer::HoldLevel(float value) {
  // Deliberately not max(value, held x 0.9): a block below the held level
  // still lets the meter fall, even below the block's own value.
  const float held = audioLevel_.load(std::memory_order_relaxed);
  audioLevel_.store(value > held ? value : static_cast<float>(held * kDecayPerRender), std::memory_order_relaxed);
}

void Veneer::UpdateAudioLevel(const AudioBufferList& buffers, UInt32 frames) { HoldLevel(MeterValue(buffers, frames)); }

}  // namespace veneer
