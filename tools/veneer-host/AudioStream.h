// Audio passed through in pieces, in order: where a render's input comes from
// and where its output goes, and the levels of what went by.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct AudioShape {
  double sampleRate = 0;
  std::size_t channels = 0;
  int fileFormat = 0;  // libsndfile format of the source file; 0 when generated
};

class AudioSource {
 public:
  virtual ~AudioSource() = default;
  [[nodiscard]] virtual const AudioShape& Shape() const = 0;
  [[nodiscard]] virtual std::size_t Frames() const = 0;
  // Up to `frames` frames into one buffer per channel, fewer only at the end (0 after it);
  // nothing, with `error` filled, when the audio cannot be read.
  virtual std::optional<std::size_t> Read(float* const* channels, std::size_t frames, std::string* error) = 0;
};

class AudioSink {
 public:
  virtual ~AudioSink() = default;
  virtual bool Write(const float* const* channels, std::size_t frames, std::string* error) = 0;
};

// A whole file's audio in memory: the demo voice, and small files.
struct Audio {
  double sampleRate = 0;
  std::vector<std::vector<float>> channels;  // one vector per channel, all the same length
  int fileFormat = 0;                        // libsndfile format of the source file; 0 when generated

  [[nodiscard]] std::size_t Frames() const { return channels.empty() ? 0 : channels.front().size(); }
  [[nodiscard]] AudioShape Shape() const { return {sampleRate, channels.size(), fileFormat}; }
};

// Audio held in memory, read from its start.
class MemorySource final : public AudioSource {
 public:
  explicit MemorySource(const Audio& audio) : audio_(audio), shape_(audio.Shape()) {}
  [[nodiscard]] const AudioShape& Shape() const override { return shape_; }
  [[nodiscard]] std::size_t Frames() const override { return audio_.Frames(); }
  std::optional<std::size_t> Read(float* const* channels, std::size_t frames, std::string* error) override;

 private:
  const Audio& audio_;
  AudioShape shape_;
  std::size_t position_ = 0;
};

// Audio collected in memory.
class MemorySink final : public AudioSink {
 public:
  explicit MemorySink(const AudioShape& shape);
  bool Write(const float* const* channels, std::size_t frames, std::string* error) override;
  [[nodiscard]] const Audio& Collected() const { return audio_; }

 private:
  Audio audio_;
};

// Peak and RMS over all channels, in dBFS (-inf for silence).
struct Level {
  double peakDb = 0;
  double rmsDb = 0;
};

class LevelMeter {
 public:
  void Add(const float* const* channels, std::size_t channelCount, std::size_t frames);
  [[nodiscard]] Level Result() const;

 private:
  double peak_ = 0;
  double sumSquares_ = 0;
  std::size_t samples_ = 0;
};

}  // namespace host
