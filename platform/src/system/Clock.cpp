// The host clock: the steady clock in nanoseconds, which is also the clock
// the main queue measures due times with.
#include <CoreAudio/HostTime.h>
#include <mach/mach_time.h>

#include <chrono>

extern "C" {

unsigned long long mach_absolute_time(void) {
  const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(sinceStart).count());
}

kern_return_t mach_timebase_info(mach_timebase_info_t info) {
  if (info == nullptr) {
    return KERN_INVALID_ARGUMENT;
  }
  info->numer = 1;
  info->denom = 1;
  return KERN_SUCCESS;
}

UInt64 AudioGetCurrentHostTime(void) { return mach_absolute_time(); }
Float64 AudioGetHostClockFrequency(void) { return 1.0e9; }
UInt32 AudioGetHostClockMinimumTimeDelta(void) { return 1; }
UInt64 AudioConvertHostTimeToNanos(UInt64 inHostTime) { return inHostTime; }
UInt64 AudioConvertNanosToHostTime(UInt64 inNanos) { return inNanos; }

}  // extern "C"
