/* The host's monotonic clock. Its time base is 1/1: one tick is one nanosecond. */
#ifndef VENEER_PLATFORM_MACH_TIME_H
#define VENEER_PLATFORM_MACH_TIME_H

#include <mach/kern_return.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct mach_timebase_info {
  uint32_t numer;
  uint32_t denom;
};
typedef struct mach_timebase_info* mach_timebase_info_t;
typedef struct mach_timebase_info mach_timebase_info_data_t;

/* [any thread] Fills numer = denom = 1; KERN_INVALID_ARGUMENT for a null `info`.
   The function shares its name with the struct tag, as on the platform. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
__attribute__((visibility("default"))) kern_return_t mach_timebase_info(mach_timebase_info_t info);
#pragma GCC diagnostic pop

/* [any thread] Monotonic ticks (nanoseconds); stops while the system sleeps.
   The platform returns uint64_t, which there is unsigned long long; this
   system's uint64_t is unsigned long, so the type is spelled out: "%lu" or a
   long* fails here as it does there, while `std::uint64_t t =
   mach_absolute_time();` and "%llu" work on both. (PRIu64 is "lu" here:
   format the result through a std::uint64_t variable, not directly.) */
__attribute__((visibility("default"))) unsigned long long mach_absolute_time(void);

#ifdef __cplusplus
}
#endif

#endif
