// veneerctl log: the end of the plug-in's debug log, optionally followed like tail -f.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>

#include "Arguments.h"
#include "Commands.h"
#include "StopSignal.h"

namespace veneerctl {

namespace {

constexpr double kPollSeconds = 0.25;
constexpr std::size_t kChunk = 64 * 1024;

std::string ReadRange(int fd, off_t from, off_t to) {
  std::string bytes(static_cast<std::size_t>(to - from), '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = pread(fd, bytes.data() + done, bytes.size() - done, from + static_cast<off_t>(done));
    if (got <= 0) {
      break;
    }
    done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

// The last `count` lines of the first `size` bytes, reading backwards so a huge log costs little.
std::string LastLines(int fd, off_t size, long count) {
  if (count == 0) {
    return "";
  }
  std::string tail;
  off_t position = size;
  auto enough = [&] {
    // A final line end closes the last line rather than starting another.
    const std::size_t body = !tail.empty() && tail.back() == '\n' ? tail.size() - 1 : tail.size();
    long seen = 0;
    for (std::size_t i = 0; i < body; ++i) {
      seen += tail[i] == '\n';
    }
    return seen >= count;
  };
  while (position > 0 && !enough()) {
    const off_t from = position > static_cast<off_t>(kChunk) ? position - static_cast<off_t>(kChunk) : 0;
    tail = ReadRange(fd, from, position) + tail;
    position = from;
  }
  std::size_t start = tail.size();
  if (start > 0 && tail[start - 1] == '\n') {
    --start;
  }
  for (long found = 0; start > 0; --start) {
    if (tail[start - 1] == '\n' && ++found == count) {
      break;
    }
  }
  return tail.substr(start);
}

struct Position {
  dev_t device = 0;
  ino_t inode = 0;
  off_t offset = 0;
};

// Prints what was appended since `position`; starts over when the log was deleted and recreated or cut.
void PrintAppended(const std::string& path, Position* position) {
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) {
    return;
  }
  struct stat info {};
  if (fstat(fd, &info) == 0) {
    if (info.st_dev != position->device || info.st_ino != position->inode || info.st_size < position->offset) {
      *position = Position{info.st_dev, info.st_ino, 0};
    }
    if (info.st_size > position->offset) {
      std::cout << ReadRange(fd, position->offset, info.st_size) << std::flush;
      position->offset = info.st_size;
    }
  }
  close(fd);
}

}  // namespace

int RunLog(const Invocation& invocation, const LogOptions& options) {
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  if (options.follow) {
    InstallStopHandlers();
  }
  const std::string path = folder->File(kDebugLog);
  Position position;
  const int fd = open(path.c_str(), O_RDONLY);
  struct stat info {};
  if (fd >= 0 && fstat(fd, &info) == 0) {
    std::cout << LastLines(fd, info.st_size, options.lines) << std::flush;
    position = Position{info.st_dev, info.st_ino, info.st_size};
  } else {
    std::cout << "no debug log at " << path << std::endl;
  }
  if (fd >= 0) {
    close(fd);
  }
  if (!options.follow) {
    return fd >= 0 ? kExitOk : kExitFailure;
  }
  while (SleepUnlessStopped(kPollSeconds)) {
    PrintAppended(path, &position);
  }
  return kExitOk;
}

}  // namespace veneerctl
