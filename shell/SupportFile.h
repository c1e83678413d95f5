// A file of the support folder, opened so that whatever lies under its name
// cannot block or flood the caller: a named pipe, a device, a folder or a
// socket counts as a file that cannot be opened. Anyone can put one there, and
// every thread of the host opens these files (the render thread too, to log).
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace veneer {

class SupportFile {
 public:
  enum class Mode {
    kRead,
    kRewrite,  // created when missing; a write replaces what it holds
    kAppend,   // created when missing
  };

  // [any thread] Opens `path` without waiting for anything (a pipe's other
  // end, a device); a file it creates gets 0666 less the umask, as with fopen.
  // Stays closed (false) unless `path` is, or leads to, a regular file.
  SupportFile(const std::string& path, Mode mode);
  ~SupportFile();
  SupportFile(const SupportFile&) = delete;
  SupportFile& operator=(const SupportFile&) = delete;

  [[nodiscard]] explicit operator bool() const { return descriptor_ >= 0; }

  // [any thread] Fills `buffer` from the file: fewer bytes only at its end (or
  // on a read error). The number of bytes read.
  [[nodiscard]] size_t Read(std::span<char> buffer) const;

  // [any thread] Writes `text` with one write call, so that in append mode the
  // texts of concurrent writers stay whole; in rewrite mode it is written from
  // the start and the file cut to its length. What does not fit on a full disk is lost.
  void Write(std::string_view text) const;

 private:
  int descriptor_ = -1;
  Mode mode_;
};

}  // namespace veneer
