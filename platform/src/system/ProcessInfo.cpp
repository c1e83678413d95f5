// proc_name and proc_pidpath, read from /proc.
#include <fcntl.h>
#include <libproc.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// Missing /proc entries mean there is no such process, as the platform reports.
int FailWith(int error) {
  errno = error == ENOENT ? ESRCH : error;
  return 0;
}

}  // namespace

extern "C" {

int proc_name(int pid, void* buffer, uint32_t buffersize) {
  if (buffer == nullptr || buffersize == 0 || pid < 0) {
    return FailWith(EINVAL);
  }
  char path[32];
  std::snprintf(path, sizeof path, "/proc/%d/comm", pid);
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return FailWith(errno);
  }
  char name[64];
  ssize_t length;
  do {
    length = read(fd, name, sizeof name);
  } while (length < 0 && errno == EINTR);
  const int readError = errno;
  close(fd);
  if (length < 0) {
    return FailWith(readError);
  }
  auto size = static_cast<size_t>(length);
  if (size > 0 && name[size - 1] == '\n') {
    --size;
  }
  if (size > buffersize - 1) {
    size = buffersize - 1;
  }
  std::memcpy(buffer, name, size);
  static_cast<char*>(buffer)[size] = '\0';
  return static_cast<int>(size);
}

int proc_pidpath(int pid, void* buffer, uint32_t buffersize) {
  if (buffer == nullptr || pid < 0) {
    return FailWith(EINVAL);
  }
  if (buffersize < PROC_PIDPATHINFO_SIZE) {
    return FailWith(ENOMEM);
  }
  char link[32];
  std::snprintf(link, sizeof link, "/proc/%d/exe", pid);
  const ssize_t length = readlink(link, static_cast<char*>(buffer), buffersize);
  if (length < 0) {
    return FailWith(errno);
  }
  if (static_cast<size_t>(length) >= buffersize) {
    static_cast<char*>(buffer)[0] = '\0';
    return FailWith(ENOMEM);
  }
  static_cast<char*>(buffer)[length] = '\0';
  return static_cast<int>(length);
}

}  // extern "C"
