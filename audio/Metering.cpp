// The input meter: a peak hold on three times the RMS of the block, falling by
// a fixed factor per render.
#include <algorithm>
#include <cmath>

#include "shell/Veneer.h"

namespace veneer {
namespace {

// An RMS of 1/3 (about -9.5 dBFS) reads as full scale.
constexpr float kRmsScale = 3.0F;
// Applied per render whenever the block is not louder than the held level.
constexpr double kDecayPerRender = 0.9;

}  // namespace

void Veneer::UpdateAudioLevel(const AudioBufferList& buffers, UInt32 frames) {
  float sumSquares = 0.0F;
  UInt32 sampleCount = 0;
  // All channels are pooled into one sum.
  for (UInt32 b = 0; b < buffers.mNumberBuffers; ++b) {
    const AudioBuffer& buffer = buffers.mBuffers[b];
    if (buffer.mData == nullptr) {
      continue;
    }
    const UInt32 count = std::min<UInt32>(frames, buffer.mDataByteSize / sizeof(float));
    const auto* samples = static_cast<const float*>(buffer.mData);
    for (UInt32 i = 0; i < count; ++i) {
      sumSquares += samples[i] * samples[i];
    }
    sampleCount += count;
  }
  float value = sampleCount == 0 ? 0.0F : std::sqrt(sumSquares / static_cast<float>(sampleCount)) * kRmsScale;
  // fmin takes the number over a NaN, so a block holding a NaN reads full scale.
  value = std::fmin(value, 1.0F);

  // Deliberately not max(value, held x 0.9): a block below the held level
  // still lets the meter fall, even below the block's own value.
  const float held = audioLevel_.load(std::memory_order_relaxed);
  audioLevel_.store(value > held ? value : static_cast<float>(held * kDecayPerRender), std::memory_order_relaxed);
}

}  // namespace veneer
