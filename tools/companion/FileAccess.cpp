#include "FileAccess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace companion {

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) {
    return std::nullopt;
  }
  std::string content;
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
  close(fd);
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
