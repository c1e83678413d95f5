/* CFRunLoop: the main thread's run loop, which runs the work posted to the
   main dispatch queue, and the source-less loops of other threads. */
#ifndef VENEER_PLATFORM_CFRUNLOOP_H
#define VENEER_PLATFORM_CFRUNLOOP_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

/* Same definition as in CFDate.h; identical typedefs may repeat. */
typedef double CFTimeInterval;

typedef struct __CFRunLoop* CFRunLoopRef;
typedef CFStringRef CFRunLoopMode;

typedef CF_ENUM(SInt32, CFRunLoopRunResult) {
  kCFRunLoopRunFinished = 1,
  kCFRunLoopRunStopped = 2,
  kCFRunLoopRunTimedOut = 3,
  kCFRunLoopRunHandledSource = 4
};

/* The main queue is a source of both modes. Any other mode has no sources,
   so running in it returns kCFRunLoopRunFinished at once. */
CF_EXPORT const CFRunLoopMode kCFRunLoopDefaultMode;
CF_EXPORT const CFRunLoopMode kCFRunLoopCommonModes;

CF_EXPORT CFTypeID CFRunLoopGetTypeID(void);

/* [any thread] The main thread's loop; it is never deallocated. */
CF_EXPORT CFRunLoopRef CFRunLoopGetMain(void);
/* [any thread] The calling thread's loop (not retained): the main loop on the
   main thread, otherwise a loop without sources that lives as long as the thread. */
CF_EXPORT CFRunLoopRef CFRunLoopGetCurrent(void);

/* [any thread] Runs the current thread's loop in the default mode until it is
   stopped; returns at once on a thread other than the main thread. */
CF_EXPORT void CFRunLoopRun(void);
/* [any thread] On the main thread, runs due main-queue work until `seconds`
   have passed (kCFRunLoopRunTimedOut), until stopped (kCFRunLoopRunStopped) or,
   with returnAfterSourceHandled, right after one work item (kCFRunLoopRunHandledSource).
   seconds <= 0 runs the work already due without waiting. Elsewhere, and for
   modes without sources, returns kCFRunLoopRunFinished at once. */
CF_EXPORT CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                                Boolean returnAfterSourceHandled);
/* [any thread] Makes the running run of `rl`, or its next one, return kCFRunLoopRunStopped. */
CF_EXPORT void CFRunLoopStop(CFRunLoopRef rl);
/* [any thread] Wakes `rl` if it is waiting, so that it checks its sources again. */
CF_EXPORT void CFRunLoopWakeUp(CFRunLoopRef rl);

CF_EXTERN_C_END

#endif
