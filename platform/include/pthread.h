/* The system's <pthread.h>, plus pthread_main_np() as on the platform. */
#pragma GCC system_header
#include_next <pthread.h>

#ifndef VENEER_PLATFORM_PTHREAD_H
#define VENEER_PLATFORM_PTHREAD_H

#ifdef __cplusplus
extern "C" {
#endif

/* [any thread] 1 on the process's initial thread (the main thread), 0 elsewhere. */
__attribute__((visibility("default"))) int pthread_main_np(void);

#ifdef __cplusplus
}
#endif

#endif
