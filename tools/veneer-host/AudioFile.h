// Audio files in and out through libsndfile: WAV, AIFF and FLAC, as
// non-interleaved float channels, the way the host hands audio to a unit.
// Renders stream them in pieces, so memory does not grow with a file's length.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AudioStream.h"

namespace host {

// An audio file read from start to end, in pieces.
class AudioFileReader final : public AudioSource {
 public:
  // [main thread] Files with more than `maxChannels` channels, or no audio, are refused before
  // their audio is read; `error` says why.
  static std::unique_ptr<AudioFileReader> Open(const std::string& path, int maxChannels, std::string* error);
  ~AudioFileReader() override;
  AudioFileReader(const AudioFileReader&) = delete;
  AudioFileReader& operator=(const AudioFileReader&) = delete;

  [[nodiscard]] const AudioShape& Shape() const override { return shape_; }
  // What the file holds; counted by reading it through when its header does not say.
  [[nodiscard]] std::size_t Frames() const override { return frames_; }
  std::optional<std::size_t> Read(float* const* channels, std::size_t frames, std::string* error) override;

 private:
  struct Handle;
  AudioFileReader(std::unique_ptr<Handle> handle, std::string path);

  std::unique_ptr<Handle> handle_;
  std::string path_;
  AudioShape shape_;
  std::size_t frames_ = 0;
  std::vector<float> interleaved_;
};

// An audio file written in pieces into a hidden file beside its target, renamed into place
// only by Commit: a full disk or an interruption leaves the old file (or none), never a
// shorter one that reads as good. The hidden file is removed unless committed, and also when
// a second Ctrl-C ends the process.
class AudioFileWriter final : public AudioSink {
 public:
  // [main thread] In the container the extension names (.wav, .aif/.aiff, .flac), keeping the
  // source's sample format where the container allows it.
  static std::unique_ptr<AudioFileWriter> Create(const std::string& path, const AudioShape& shape, std::string* error);
  ~AudioFileWriter() override;
  AudioFileWriter(const AudioFileWriter&) = delete;
  AudioFileWriter& operator=(const AudioFileWriter&) = delete;

  bool Write(const float* const* channels, std::size_t frames, std::string* error) override;
  // [main thread] Completes the file (closing writes the header's final sizes) and renames it into place.
  bool Commit(std::string* error);

 private:
  struct Handle;
  AudioFileWriter(std::unique_ptr<Handle> handle, std::string path, std::string temp, std::size_t channels);

  std::unique_ptr<Handle> handle_;
  std::string path_;
  std::string temp_;
  std::vector<float> interleaved_;
};

// [main thread] The whole file; see AudioFileReader::Open.
std::optional<Audio> ReadAudioFile(const std::string& path, int maxChannels, std::string* error);

// Whether `path` names a container the tool writes (by its extension); `error` says why not.
bool CanWriteAudioTo(const std::string& path, std::string* error);

// [main thread] Writes `audio` whole; see AudioFileWriter::Create.
bool WriteAudioFile(const std::string& path, const Audio& audio, std::string* error);

}  // namespace host
