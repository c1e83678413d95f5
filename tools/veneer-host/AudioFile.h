// Audio files in and out through libsndfile: WAV, AIFF and FLAC, as
// non-interleaved float channels, the way the host hands audio to a unit.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct Audio {
  double sampleRate = 0;
  std::vector<std::vector<float>> channels;  // one vector per channel, all the same length
  int fileFormat = 0;                        // libsndfile format of the source file; 0 when generated

  [[nodiscard]] std::size_t Frames() const { return channels.empty() ? 0 : channels.front().size(); }
};

// [main thread] The whole file. Files with more than `maxChannels` channels are
// refused before their audio is read; `error` says why.
std::optional<Audio> ReadAudioFile(const std::string& path, int maxChannels, std::string* error);

// Whether `path` names a container the tool writes (by its extension); `error` says why not.
bool CanWriteAudioTo(const std::string& path, std::string* error);

// [main thread] Writes `audio` in the container the extension names (.wav, .aif/.aiff,
// .flac), keeping the source's sample format where the container allows it.
bool WriteAudioFile(const std::string& path, const Audio& audio, std::string* error);

// Peak and RMS over all channels, in dBFS (-inf for silence).
struct Level {
  double peakDb = 0;
  double rmsDb = 0;
};
Level MeasureLevel(const Audio& audio);

}  // namespace host
