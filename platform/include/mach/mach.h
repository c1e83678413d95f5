/* The mach subset present here. */
#ifndef VENEER_PLATFORM_MACH_H
#define VENEER_PLATFORM_MACH_H

#include <mach/kern_return.h>
#include <mach/mach_time.h>

#endif
