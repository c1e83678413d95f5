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
      // Emptied only once it is known to be a regular file.
      return O_WRONLY | O_CREAT | kAlways;
    case SupportFile::Mode::kAppend:
      return O_WRONLY | O_CREAT | O_APPEND | kAlways;
  }
  return O_RDONLY | kAlways;
}

}  // namespace

SupportFile::SupportFile(const std::string& path, Mode mode) {
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
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
      (mode == Mode::kRewrite && ftruncate(descriptor, 0) != 0)) {
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
  // One call: a regular file takes all of it unless the disk is full, which a
  // second call would not cure.
  while (write(descriptor_, text.data(), text.size()) < 0 && errno == EINTR) {
  }
}

}  // namespace veneer
