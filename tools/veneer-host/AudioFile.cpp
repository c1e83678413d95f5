#include "AudioFile.h"

#include <sndfile.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "FileAccess.h"
#include "StopSignal.h"

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

// Frames converted between interleaved and per-channel audio at a time.
constexpr std::size_t kPieceFrames = 16384;

}  // namespace

struct AudioFileReader::Handle {
  SoundFile file;
};

AudioFileReader::AudioFileReader(std::unique_ptr<Handle> handle, std::string path)
    : handle_(std::move(handle)), path_(std::move(path)) {}

AudioFileReader::~AudioFileReader() = default;

std::unique_ptr<AudioFileReader> AudioFileReader::Open(const std::string& path, int maxChannels, std::string* error) {
  SF_INFO info{};
  auto handle = std::make_unique<Handle>(Handle{SoundFile(sf_open(path.c_str(), SFM_READ, &info))});
  if (handle->file == nullptr) {
    *error = "cannot read " + path + ": " + sf_strerror(nullptr);
    return nullptr;
  }
  if (info.channels > maxChannels) {
    *error = path + " has " + std::to_string(info.channels) + " channels; only mono and stereo audio can be rendered";
    return nullptr;
  }
  if (info.channels < 1 || info.samplerate < 1) {
    *error = path + " has no usable audio (" + std::to_string(info.channels) + " channels at " +
             std::to_string(info.samplerate) + " Hz)";
    return nullptr;
  }
  std::unique_ptr<AudioFileReader> reader(new AudioFileReader(std::move(handle), path));
  reader->shape_ = {static_cast<double>(info.samplerate), static_cast<std::size_t>(info.channels), info.format};
  reader->interleaved_.resize(kPieceFrames * reader->shape_.channels);
  if (info.frames > 0 && info.frames != SF_COUNT_MAX) {
    reader->frames_ = static_cast<std::size_t>(info.frames);
  } else {
    // A FLAC stream without a length: read through once, then again from the start.
    for (;;) {
      const sf_count_t read = sf_readf_float(reader->handle_->file.get(), reader->interleaved_.data(),
                                             static_cast<sf_count_t>(kPieceFrames));
      if (read <= 0 || companion::StopRequested()) {
        break;
      }
      reader->frames_ += static_cast<std::size_t>(read);
    }
    if (sf_seek(reader->handle_->file.get(), 0, SEEK_SET) != 0) {
      *error = "cannot read " + path + " a second time from its start";
      return nullptr;
    }
  }
  if (sf_error(reader->handle_->file.get()) != SF_ERR_NO_ERROR) {
    *error = "cannot read " + path + ": " + sf_strerror(reader->handle_->file.get());
    return nullptr;
  }
  if (reader->frames_ == 0 || companion::StopRequested()) {
    *error = path + (reader->frames_ == 0 ? " holds no audio" : ": reading interrupted");
    return nullptr;
  }
  return reader;
}

std::optional<std::size_t> AudioFileReader::Read(float* const* channels, std::size_t frames, std::string* error) {
  const std::size_t count = shape_.channels;
  std::size_t done = 0;
  while (done < frames) {
    const auto piece = static_cast<sf_count_t>(std::min(frames - done, kPieceFrames));
    const sf_count_t read = sf_readf_float(handle_->file.get(), interleaved_.data(), piece);
    if (read <= 0) {
      break;
    }
    for (std::size_t c = 0; c < count; ++c) {
      float* out = channels[c] + done;
      for (sf_count_t frame = 0; frame < read; ++frame) {
        out[frame] = interleaved_[static_cast<std::size_t>(frame) * count + c];
      }
    }
    done += static_cast<std::size_t>(read);
  }
  if (sf_error(handle_->file.get()) != SF_ERR_NO_ERROR) {
    *error = "cannot read " + path_ + ": " + sf_strerror(handle_->file.get());
    return std::nullopt;
  }
  return done;
}

struct AudioFileWriter::Handle {
  SoundFile file;
};

AudioFileWriter::AudioFileWriter(std::unique_ptr<Handle> handle, std::string path, std::string temp,
                                 std::size_t channels)
    : handle_(std::move(handle)),
      path_(std::move(path)),
      temp_(std::move(temp)),
      interleaved_(kPieceFrames * channels) {
  companion::RemoveIfKilled(temp_);
}

AudioFileWriter::~AudioFileWriter() {
  if (!temp_.empty()) {
    handle_->file.reset();
    std::string unused;
    companion::CommitFileBeside(temp_, path_, false, &unused);
    companion::ForgetIfKilled(temp_);
  }
}

std::unique_ptr<AudioFileWriter> AudioFileWriter::Create(const std::string& path, const AudioShape& shape,
                                                         std::string* error) {
  const std::optional<int> container = ContainerFor(path);
  if (!container) {
    CanWriteAudioTo(path, error);
    return nullptr;
  }
  SF_INFO info{};
  info.samplerate = static_cast<int>(shape.sampleRate);
  info.channels = static_cast<int>(shape.channels);
  info.format = *container | (shape.fileFormat & SF_FORMAT_SUBMASK);
  if ((shape.fileFormat & SF_FORMAT_SUBMASK) == 0 || sf_format_check(&info) == 0) {
    // FLAC holds integers only; the others keep the unit's float output exactly.
    info.format = *container | (*container == SF_FORMAT_FLAC ? SF_FORMAT_PCM_24 : SF_FORMAT_FLOAT);
  }
  // Float samples in WAV carry the extensible header, which readers expect of anything but
  // 8- and 16-bit integers.
  const int samples = info.format & SF_FORMAT_SUBMASK;
  if (*container == SF_FORMAT_WAV && (samples == SF_FORMAT_FLOAT || samples == SF_FORMAT_DOUBLE)) {
    info.format = SF_FORMAT_WAVEX | samples;
  }
  const std::optional<std::string> temp = companion::CreateFileBeside(path, error);
  if (!temp) {
    return nullptr;
  }
  auto handle = std::make_unique<Handle>(Handle{SoundFile(sf_open(temp->c_str(), SFM_WRITE, &info))});
  if (handle->file == nullptr) {
    *error = "cannot write " + path + ": " + sf_strerror(nullptr);
    companion::CommitFileBeside(*temp, path, false, error);
    return nullptr;
  }
  return std::unique_ptr<AudioFileWriter>(new AudioFileWriter(std::move(handle), path, *temp, shape.channels));
}

bool AudioFileWriter::Write(const float* const* channels, std::size_t frames, std::string* error) {
  const std::size_t count = interleaved_.size() / kPieceFrames;
  for (std::size_t done = 0; done < frames;) {
    const std::size_t piece = std::min(frames - done, kPieceFrames);
    for (std::size_t frame = 0; frame < piece; ++frame) {
      for (std::size_t c = 0; c < count; ++c) {
        interleaved_[frame * count + c] = channels[c][done + frame];
      }
    }
    if (sf_writef_float(handle_->file.get(), interleaved_.data(), static_cast<sf_count_t>(piece)) !=
        static_cast<sf_count_t>(piece)) {
      *error = "cannot write " + path_ + ": " + sf_strerror(handle_->file.get());
      return false;
    }
    done += piece;
  }
  return true;
}

bool AudioFileWriter::Commit(std::string* error) {
  // Closing writes the header's final sizes, and can fail too.
  const bool written = sf_close(handle_->file.release()) == 0;
  if (!written) {
    *error = "cannot write " + path_ + ": " + sf_strerror(nullptr);
  }
  const bool committed = companion::CommitFileBeside(temp_, path_, written, error);
  companion::ForgetIfKilled(temp_);
  temp_.clear();
  return committed;
}

std::optional<Audio> ReadAudioFile(const std::string& path, int maxChannels, std::string* error) {
  const std::unique_ptr<AudioFileReader> reader = AudioFileReader::Open(path, maxChannels, error);
  if (reader == nullptr) {
    return std::nullopt;
  }
  Audio audio;
  audio.sampleRate = reader->Shape().sampleRate;
  audio.fileFormat = reader->Shape().fileFormat;
  audio.channels.assign(reader->Shape().channels, std::vector<float>(reader->Frames()));
  std::vector<float*> starts;
  for (std::vector<float>& channel : audio.channels) {
    starts.push_back(channel.data());
  }
  const std::optional<std::size_t> read = reader->Read(starts.data(), reader->Frames(), error);
  if (!read) {
    return std::nullopt;
  }
  for (std::vector<float>& channel : audio.channels) {
    channel.resize(*read);
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
  const std::unique_ptr<AudioFileWriter> writer = AudioFileWriter::Create(path, audio.Shape(), error);
  if (writer == nullptr) {
    return false;
  }
  std::vector<const float*> starts;
  for (const std::vector<float>& channel : audio.channels) {
    starts.push_back(channel.data());
  }
  return writer->Write(starts.data(), audio.Frames(), error) && writer->Commit(error);
}

}  // namespace host
