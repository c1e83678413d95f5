#include "AudioStream.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace host {

namespace {

double ToDb(double linear) { return linear > 0 ? 20.0 * std::log10(linear) : -std::numeric_limits<double>::infinity(); }

}  // namespace

std::optional<std::size_t> MemorySource::Read(float* const* channels, std::size_t frames, std::string* /*error*/) {
  const std::size_t count = std::min(frames, audio_.Frames() - position_);
  for (std::size_t c = 0; c < audio_.channels.size(); ++c) {
    std::copy_n(audio_.channels[c].data() + position_, count, channels[c]);
  }
  position_ += count;
  return count;
}

MemorySink::MemorySink(const AudioShape& shape) {
  audio_.sampleRate = shape.sampleRate;
  audio_.fileFormat = shape.fileFormat;
  audio_.channels.resize(shape.channels);
}

bool MemorySink::Write(const float* const* channels, std::size_t frames, std::string* /*error*/) {
  for (std::size_t c = 0; c < audio_.channels.size(); ++c) {
    audio_.channels[c].insert(audio_.channels[c].end(), channels[c], channels[c] + frames);
  }
  return true;
}

void LevelMeter::Add(const float* const* channels, std::size_t channelCount, std::size_t frames) {
  for (std::size_t c = 0; c < channelCount; ++c) {
    for (std::size_t i = 0; i < frames; ++i) {
      const double sample = channels[c][i];
      peak_ = std::max(peak_, std::fabs(sample));
      sumSquares_ += sample * sample;
    }
  }
  samples_ += channelCount * frames;
}

Level LevelMeter::Result() const {
  return {ToDb(peak_), ToDb(samples_ == 0 ? 0.0 : std::sqrt(sumSquares_ / static_cast<double>(samples_)))};
}

}  // namespace host
