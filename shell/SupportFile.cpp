#include "shell/SupportFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace veneer {
namespace {

int OpenFlags(SupportFile::Mode mode) {
  // Non-blocking: opening a pipe with no writer (or no reader) returns at once.
  constexpr int kAlways = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  switch (mode) {
    case SupportFile::Mode::kRead:
      break;
    case SupportFile::Mode::kRewrite:
      return O_WRONLY | O_CREAT | kAlways;
    case SupportFile::Mode::kAppend:
      return O_WRONLY | O_CREAT | O_APPEND | kAlways;
  }
  return O_RDONLY | kAlways;
}

}  // namespace

SupportFile::SupportFile(const std::string& path, Mode mode) : mode_(mode) {
  // Refused before opening when possible: opening some devices does something.
  // The check after opening is the one that counts, should the name change between.
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return;
  }
  const int descriptor = open(path.c_str(), OpenFlags(mode), 0666);
  if (descriptor < 0) {
    return;
  }
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    return;
  }
  descriptor_ = descriptor;
}

SupportFile::~SupportFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

size_t SupportFile::Read(std::span<char> buffer) const {
  size_t filled = 0;
  while (filled < buffer.size()) {
    const ssize_t got = read(descriptor_, buffer.data() + filled, buffer.size() - filled);
    if (got > 0) {
      filled += static_cast<size_t>(got);
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  return filled;
}

void SupportFile::Write(std::string_view text) const {
  if (mode_ == Mode::kRewrite) {
    // Written over the old text, then cut to length, rather than emptied
    // first: every instance rewrites the same files, and on some file systems
    // a file emptied and written again is flushed on close, while the next
    // writer's emptying waits for that.
    ssize_t written = 0;
    while ((written = pwrite(descriptor_, text.data(), text.size(), 0)) < 0 && errno == EINTR) {
    }
    if (written >= 0) {
      while (ftruncate(descriptor_, written) != 0 && errno == EINTR) {
      }
    }
    return;
  }
  // One call: a regular file takes all of it unless the disk is full, which a
  // second call would not cure.
  while (write(descriptor_, text.data(), text.size()) < 0 && errno == EINTR) {
  }
}

}  // namespace veneer
