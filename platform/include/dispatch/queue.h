/* The main dispatch queue: work posted to it runs, in order, on the main
   thread while that thread runs its run loop (CFRunLoopRun, CFRunLoopRunInMode
   in kCFRunLoopDefaultMode or kCFRunLoopCommonModes, dispatch_main). */
#ifndef VENEER_PLATFORM_DISPATCH_QUEUE_H
#define VENEER_PLATFORM_DISPATCH_QUEUE_H

#include <dispatch/base.h>
#include <dispatch/object.h>
#include <dispatch/time.h>

DISPATCH_DECL(dispatch_queue);
DISPATCH_DECL_SUBCLASS(dispatch_queue_serial, dispatch_queue);
DISPATCH_DECL_SUBCLASS(dispatch_queue_main, dispatch_queue_serial);

__DISPATCH_BEGIN_DECLS

/* [any thread] Use dispatch_get_main_queue(). */
DISPATCH_EXPORT dispatch_queue_main_t _dispatch_get_main_q(void);

/* [any thread] The serial queue bound to the main thread. */
DISPATCH_INLINE DISPATCH_ALWAYS_INLINE dispatch_queue_main_t dispatch_get_main_queue(void) {
  return _dispatch_get_main_q();
}

/* [any thread] Queues work(context) to run after everything queued before it.
   A null queue or function is ignored. */
DISPATCH_EXPORT void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);

/* [any thread] Queues work(context) to run once `when` has come, ordered by due
   time among the other queued work. DISPATCH_TIME_FOREVER never comes, so that
   work is dropped. */
DISPATCH_EXPORT void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                                      dispatch_function_t work);

/* [any thread other than the main thread] Queues work(context) and waits until
   it has run. On the main thread this can never complete, which ends the
   process with a message, as on the platform. */
DISPATCH_EXPORT void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work);

/* [main thread] Runs the main queue for the rest of the process's life. */
DISPATCH_EXPORT DISPATCH_NORETURN void dispatch_main(void);

__DISPATCH_END_DECLS

#endif
