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

// [render thread] The sum of the squares of `count` samples: sixteen partial
// sums of sixteen samples a step, then the rest one by one.
VENEER_WIDEST_VECTORS float SumOfSquares(const float* samples, size_t count) {
  Lanes even{};
  Lanes odd{};
  size_t i = 0;
  for (; i + 2 * kLaneCount <= count; i += 2 * kLaneCount) {
    Lanes a;
    Lanes b;
    std::memcpy(&a, samples + i, sizeof a);  // host blocks carry no alignment promise
    std::memcpy(&b, samples + i + kLaneCount, sizeof b);
    even += a * a;
    odd += b * b;
  }
  float tail = 0.0F;
  for (; i < count; ++i) {
    tail += samples[i] * samples[i];
  }
  const Lanes lanes = even + odd;
  return (((lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) + ((lanes[4] + lanes[5]) + (lanes[6] + lanes[7]))) + tail;
}

}  // namespace

float Veneer::MeterValue(const AudioBufferList& buffers, UInt32 frames) {
  // All channels are pooled into one single-precision sum.
  float sumSquares = 0.0F;
  UInt32 sampleCount = 0;
  for (UInt32 b = 0; b < buffers.mNumberBuffers; ++b) {
    const AudioBuffer& buffer = buffers.mBuffers[b];
    if (buffer.mData == nullptr) {
      continue;
    }
    const UInt32 count = std::min<UInt32>(frames, buffer.mDataByteSize / sizeof(float));
    sumSquares += SumOfSquares(static_cast<const float*>(buffer.mData), count);
    sampleCount += count;
  }
  const float value = sampleCount == 0 ? 0.0F : std::sqrt(sumSquares / static_cast<float>(sampleCount)) * kRmsScale;
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
