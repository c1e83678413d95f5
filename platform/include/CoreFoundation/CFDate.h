/* Absolute time: seconds since 2001-01-01 00:00:00 UTC. */
#ifndef VENEER_PLATFORM_CFDATE_H
#define VENEER_PLATFORM_CFDATE_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

/* 1970-01-01 and 1904-01-01, as seconds before the reference date. */
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1904;

/* [any thread] The wall clock; it may jump when the system time is set. */
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

CF_EXTERN_C_END

#endif
