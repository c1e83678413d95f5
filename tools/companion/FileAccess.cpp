#include "FileAccess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace companion {

namespace {

// Opened without waiting (a named pipe or a device in the folder must not hang
// the reader) and only when it is a regular file; -1 otherwise.
int OpenRegularForReading(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    return -1;
  }
  struct stat status {};
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(fd);
    return -1;
  }
  return fd;
}

// Appends what is left of `fd` to `content`.
void ReadRest(int fd, std::string& content) {
  char buffer[8192];
  for (;;) {
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      break;
    }
    content.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const int fd = OpenRegularForReading(path);
  if (fd < 0) {
    return std::nullopt;
  }
  std::string content;
  ReadRest(fd, content);
  close(fd);
  return content;
}

std::optional<std::string> ReadFileTail(const std::string& path, std::size_t maxBytes) {
  const int fd = OpenRegularForReading(path);
  if (fd < 0) {
    return std::nullopt;
  }
  const off_t end = lseek(fd, 0, SEEK_END);
  const off_t start = end > static_cast<off_t>(maxBytes) ? end - static_cast<off_t>(maxBytes) : 0;
  std::string content;
  if (end >= 0 && lseek(fd, start, SEEK_SET) == start) {
    ReadRest(fd, content);
  }
  close(fd);
  if (content.size() > maxBytes) {  // grew while read
    content.erase(0, content.size() - maxBytes);
  }
  return content;
}

namespace {

bool WriteAll(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t wrote = write(fd, content.data(), content.size());
    if (wrote < 0 && errno == EINTR) {
      continue;
    }
    if (wrote <= 0) {
      return false;
    }
    content.remove_prefix(static_cast<std::size_t>(wrote));
  }
  return true;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string NameOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

std::optional<std::string> CreateFileBeside(const std::string& path, std::string* error) {
  // A dot name keeps it out of sight.
  std::string temp = FolderOf(path) + "/." + NameOf(path) + ".XXXXXX";
  const int fd = mkstemp(temp.data());
  if (fd < 0) {
    *error = "cannot create a temporary file in " + FolderOf(path) + ": " + std::strerror(errno);
    return std::nullopt;
  }
  const bool readable = fchmod(fd, 0644) == 0;
  close(fd);
  if (!readable) {
    *error = "cannot make " + temp + " readable: " + std::strerror(errno);
    unlink(temp.c_str());
    return std::nullopt;
  }
  return temp;
}

bool CommitFileBeside(const std::string& temp, const std::string& path, bool written, std::string* error) {
  if (written && std::rename(temp.c_str(), path.c_str()) == 0) {
    return true;
  }
  if (written) {
    *error = "cannot rename " + temp + " to " + path + ": " + std::strerror(errno);
  }
  unlink(temp.c_str());
  return false;
}

bool ReplaceFileAtomically(const std::string& path, std::string_view content, std::string* error) {
  const std::optional<std::string> temp = CreateFileBeside(path, error);
  if (!temp) {
    return false;
  }
  const int fd = open(temp->c_str(), O_WRONLY | O_TRUNC);
  const bool written = fd >= 0 && WriteAll(fd, content);
  const int writeErrno = errno;
  const bool closed = fd >= 0 && close(fd) == 0;
  if (!written || !closed) {
    *error = "cannot write " + path + ": " + std::strerror(written ? errno : writeErrno);
  }
  return CommitFileBeside(*temp, path, written && closed, error);
}

std::optional<std::time_t> ModificationTime(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) {
    return std::nullopt;
  }
  return info.st_mtime;
}

StateLock::StateLock(const std::string& folder) {
  fd_ = open((folder + "/.veneerctl.lock").c_str(), O_RDWR | O_CREAT, 0644);
  if (fd_ < 0) {
    return;  // no lock beats no write: the rename still keeps readers safe
  }
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  while (fcntl(fd_, F_SETLKW, &lock) != 0 && errno == EINTR) {
  }
}

StateLock::~StateLock() {
  if (fd_ >= 0) {
    close(fd_);  // closing releases the lock
  }
}

}  // namespace companion
