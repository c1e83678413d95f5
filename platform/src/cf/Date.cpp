#include <CoreFoundation/CFDate.h>

#include <time.h>

extern "C" {

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec) - kCFAbsoluteTimeIntervalSince1970 + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // extern "C"
