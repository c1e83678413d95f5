#include "link/SettingsFile.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <span>

#include "shell/SupportFile.h"
#include "shell/SupportFolder.h"

namespace veneer {

std::string IpcPath() {
  // The one file whose path does not depend on HOME being set: without it the
  // path is relative to the host's working folder.
  if (std::optional<std::string> path = SupportFilePath(kSettingsFileName)) {
    return *path;
  }
  std::string relative(".");
  relative += kSupportFolder;
  relative += kSettingsFileName;
  return relative;
}

void ApplySettingsLine(std::string_view line, Settings& settings) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) {
    return;
  }
  const std::string_view key = line.substr(0, equals);
  // atof reads the longest numeric prefix after leading blanks and ignores the rest.
  const double value = std::atof(std::string(line.substr(equals + 1)).c_str());
  if (key == "seq") {
    // Truncated toward zero. Out of range saturates instead of overflowing, and
    // "nan" counts as negative: it is never a counter to apply.
    if (std::isnan(value) || value <= -9.2233720368547758e18) {
      settings.seq = INT64_MIN;
    } else if (value >= 9.2233720368547758e18) {
      settings.seq = INT64_MAX;
    } else {
      settings.seq = static_cast<int64_t>(value);
    }
    return;
  }
  if (key == "appRunning") {
    settings.appRunning = value;
  } else if (const SteeredSetting* setting = SettingForFileKey(key); setting != nullptr) {
    settings.values[IndexOf(*setting)] = value;
  }
}

namespace {

// Cuts bytes, given in pieces of any size, into lines and applies them; holds
// at most one line, so memory stays the same whatever the file's size.
class SettingsLines {
 public:
  // Applies every line that `bytes` ends and holds the start of the next.
  void Feed(std::string_view bytes) {
    for (size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
      Hold(bytes.substr(0, end));
      EndLine();
      bytes.remove_prefix(end + 1);
    }
    Hold(bytes);
  }

  // The bytes ended: the line held is the last one, without its line end.
  Settings End() {
    EndLine();
    return settings_;
  }

  // The bytes were cut short: the line held may be only part of one.
  [[nodiscard]] const Settings& Cut() const { return settings_; }

 private:
  void Hold(std::string_view piece) {
    if (tooLong_ || piece.size() > line_.size() - held_) {
      tooLong_ = true;
      return;
    }
    std::copy(piece.begin(), piece.end(), line_.begin() + static_cast<std::ptrdiff_t>(held_));
    held_ += piece.size();
  }

  void EndLine() {
    if (!tooLong_) {
      ApplySettingsLine(std::string_view(line_.data(), held_), settings_);
    }
    held_ = 0;
    tooLong_ = false;
  }

  Settings settings_;
  std::array<char, kSettingsLineLimit> line_{};
  size_t held_ = 0;
  bool tooLong_ = false;
};

}  // namespace

Settings ParseSettings(std::string_view bytes) {
  SettingsLines lines;
  lines.Feed(bytes);
  return lines.End();
}

std::optional<Settings> ReadSettingsFile(const std::string& path) {
  const SupportFile file(path, SupportFile::Mode::kRead);
  if (!file) {
    return std::nullopt;
  }
  SettingsLines lines;
  std::array<char, 4096> piece{};
  for (size_t read = 0; read < kSettingsReadLimit;) {
    const size_t wanted = std::min(piece.size(), kSettingsReadLimit - read);
    const size_t got = file.Read(std::span(piece).first(wanted));
    lines.Feed(std::string_view(piece.data(), got));
    if (got < wanted) {
      return lines.End();
    }
    read += got;
  }
  // At the limit: the file may end just there, its last line whole.
  char next = 0;
  if (file.Read(std::span(&next, 1)) == 0) {
    return lines.End();
  }
  return lines.Cut();
}

}  // namespace veneer
