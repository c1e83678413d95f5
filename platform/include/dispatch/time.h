/* dispatch_time_t: a point on the monotonic clock of mach_absolute_time(), in
   nanoseconds (the host time base is 1/1). */
#ifndef VENEER_PLATFORM_DISPATCH_TIME_H
#define VENEER_PLATFORM_DISPATCH_TIME_H

#include <dispatch/base.h>
#include <stdint.h>

#define NSEC_PER_SEC 1000000000ull
#define NSEC_PER_MSEC 1000000ull
#define USEC_PER_SEC 1000000ull
#define NSEC_PER_USEC 1000ull

/* uint64_t on the platform, where that is unsigned long long; spelled so here
   (this system's uint64_t is unsigned long) so that formats and pointers are
   checked as there. Assigning it to a std::uint64_t is fine on both. */
typedef unsigned long long dispatch_time_t;

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)

/* [any thread] `when` (DISPATCH_TIME_NOW for now) moved by `delta` nanoseconds.
   DISPATCH_TIME_FOREVER stays so, and so does a sum that overflows. `delta`
   is the platform's int64_t, long long. */
DISPATCH_EXPORT dispatch_time_t dispatch_time(dispatch_time_t when, long long delta);

#endif
