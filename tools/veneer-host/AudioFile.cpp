#include "AudioFile.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "FileAccess.h"

namespace host {

namespace {

struct Closer {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using SoundFile = std::unique_ptr<SNDFILE, Closer>;

std::string Lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::optional<int> ContainerFor(const std::string& path) {
  const std::size_t dot = path.find_last_of('.');
  const std::string extension = dot == std::string::npos ? "" : Lowercase(path.substr(dot + 1));
  if (extension == "wav") {
    return SF_FORMAT_WAV;
  }
  if (extension == "aif" || extension == "aiff") {
    return SF_FORMAT_AIFF;
  }
  if (extension == "flac") {
    return SF_FORMAT_FLAC;
  }
  return std::nullopt;
}

double ToDb(double linear) { return linear > 0 ? 20.0 * std::log10(linear) : -std::numeric_limits<double>::infinity(); }

}  // namespace

std::optional<Audio> ReadAudioFile(const std::string& path, int maxChannels, std::string* error) {
  SF_INFO info{};
  const SoundFile file(sf_open(path.c_str(), SFM_READ, &info));
  if (file == nullptr) {
    *error = "cannot read " + path + ": " + sf_strerror(nullptr);
    return std::nullopt;
  }
  if (info.channels > maxChannels) {
    *error = path + " has " + std::to_string(info.channels) + " channels; only mono and stereo audio can be rendered";
    return std::nullopt;
  }
  if (info.channels < 1 || info.samplerate < 1) {
    *error = path + " has no usable audio (" + std::to_string(info.channels) + " channels at " +
             std::to_string(info.samplerate) + " Hz)";
    return std::nullopt;
  }
  Audio audio;
  audio.sampleRate = info.samplerate;
  audio.fileFormat = info.format;
  audio.channels.assign(static_cast<std::size_t>(info.channels), {});
  // In pieces until the end: some files (a FLAC stream without a length) do not say how long they are.
  constexpr sf_count_t kChunkFrames = 65536;
  std::vector<float> interleaved(static_cast<std::size_t>(kChunkFrames) * audio.channels.size());
  for (;;) {
    const sf_count_t read = sf_readf_float(file.get(), interleaved.data(), kChunkFrames);
    if (read <= 0) {
      break;
    }
    for (std::size_t c = 0; c < audio.channels.size(); ++c) {
      std::vector<float>& channel = audio.channels[c];
      for (sf_count_t frame = 0; frame < read; ++frame) {
        channel.push_back(interleaved[static_cast<std::size_t>(frame) * audio.channels.size() + c]);
      }
    }
  }
  if (sf_error(file.get()) != SF_ERR_NO_ERROR) {
    *error = "cannot read " + path + ": " + sf_strerror(file.get());
    return std::nullopt;
  }
  if (audio.Frames() == 0) {
    *error = path + " holds no audio";
    return std::nullopt;
  }
  return audio;
}

bool CanWriteAudioTo(const std::string& path, std::string* error) {
  if (path == "-") {
    *error = "the audio cannot go to standard output: give a file name (.wav, .aif, .aiff or .flac)";
    return false;
  }
  if (!ContainerFor(path)) {
    *error = "cannot tell the file type of " + path + ": use .wav, .aif, .aiff or .flac";
    return false;
  }
  return true;
}

bool WriteAudioFile(const std::string& path, const Audio& audio, std::string* error) {
  const std::optional<int> container = ContainerFor(path);
  if (!container) {
    CanWriteAudioTo(path, error);
    return false;
  }
  SF_INFO info{};
  info.samplerate = static_cast<int>(audio.sampleRate);
  info.channels = static_cast<int>(audio.channels.size());
  info.format = *container | (audio.fileFormat & SF_FORMAT_SUBMASK);
  if ((audio.fileFormat & SF_FORMAT_SUBMASK) == 0 || sf_format_check(&info) == 0) {
    // FLAC holds integers only; the others keep the unit's float output exactly.
    info.format = *container | (*container == SF_FORMAT_FLAC ? SF_FORMAT_PCM_24 : SF_FORMAT_FLOAT);
  }
  // Float samples in WAV carry the extensible header, which readers expect of anything but
  // 8- and 16-bit integers.
  const int samples = info.format & SF_FORMAT_SUBMASK;
  if (*container == SF_FORMAT_WAV && (samples == SF_FORMAT_FLOAT || samples == SF_FORMAT_DOUBLE)) {
    info.format = SF_FORMAT_WAVEX | samples;
  }
  // Into a file beside the target, renamed into place only when complete: a full disk
  // leaves the old file (or none), never a shorter one that reads as good.
  const std::optional<std::string> temp = companion::CreateFileBeside(path, error);
  if (!temp) {
    return false;
  }
  SNDFILE* file = sf_open(temp->c_str(), SFM_WRITE, &info);
  if (file == nullptr) {
    *error = "cannot write " + path + ": " + sf_strerror(nullptr);
    return companion::CommitFileBeside(*temp, path, false, error);
  }
  const std::size_t frames = audio.Frames();
  std::vector<float> interleaved(frames * audio.channels.size());
  for (std::size_t frame = 0; frame < frames; ++frame) {
    for (std::size_t c = 0; c < audio.channels.size(); ++c) {
      interleaved[frame * audio.channels.size() + c] = audio.channels[c][frame];
    }
  }
  bool written =
      sf_writef_float(file, interleaved.data(), static_cast<sf_count_t>(frames)) == static_cast<sf_count_t>(frames);
  if (!written) {
    *error = "cannot write " + path + ": " + sf_strerror(file);
  }
  // Closing writes the header's final sizes, and can fail too.
  if (sf_close(file) != 0 && written) {
    *error = "cannot write " + path + ": " + sf_strerror(nullptr);
    written = false;
  }
  return companion::CommitFileBeside(*temp, path, written, error);
}

Level MeasureLevel(const Audio& audio) {
  double peak = 0;
  double sumSquares = 0;
  std::size_t count = 0;
  for (const std::vector<float>& channel : audio.channels) {
    for (const float sample : channel) {
      peak = std::max(peak, static_cast<double>(std::fabs(sample)));
      sumSquares += static_cast<double>(sample) * sample;
    }
    count += channel.size();
  }
  return {ToDb(peak), ToDb(count == 0 ? 0.0 : std::sqrt(sumSquares / static_cast<double>(count)))};
}

}  // namespace host
