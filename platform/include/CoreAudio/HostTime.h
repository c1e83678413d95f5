/* Host time: the clock of mach_absolute_time(), whose ticks are nanoseconds. */
#ifndef VENEER_PLATFORM_COREAUDIO_HOSTTIME_H
#define VENEER_PLATFORM_COREAUDIO_HOSTTIME_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/* [any thread] */
CF_EXPORT UInt64 AudioGetCurrentHostTime(void);
/* [any thread] Ticks per second. */
CF_EXPORT Float64 AudioGetHostClockFrequency(void);
/* [any thread] The smallest step of the clock, in ticks. */
CF_EXPORT UInt32 AudioGetHostClockMinimumTimeDelta(void);
/* [any thread] */
CF_EXPORT UInt64 AudioConvertHostTimeToNanos(UInt64 inHostTime);
/* [any thread] */
CF_EXPORT UInt64 AudioConvertNanosToHostTime(UInt64 inNanos);

CF_EXTERN_C_END

#endif
