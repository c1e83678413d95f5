/* Process information: the name and the executable path of a process. */
#ifndef VENEER_PLATFORM_LIBPROC_H
#define VENEER_PLATFORM_LIBPROC_H

#include <stdint.h>

#ifndef MAXCOMLEN
#define MAXCOMLEN 16
#endif
#define PROC_PIDPATHINFO_SIZE 1024
#define PROC_PIDPATHINFO_MAXSIZE (4 * 1024)

#ifdef __cplusplus
extern "C" {
#endif

/* [any thread] Copies the name of process `pid` (at most buffersize - 1 bytes,
   then a NUL) and returns the number of bytes copied; 0 with errno set on failure. */
__attribute__((visibility("default"))) int proc_name(int pid, void* buffer, uint32_t buffersize);

/* [any thread] Copies the absolute path of the executable of process `pid`, NUL
   terminated, and returns its length; 0 with errno set on failure (ENOMEM when
   buffersize is below PROC_PIDPATHINFO_SIZE or the path does not fit). */
__attribute__((visibility("default"))) int proc_pidpath(int pid, void* buffer, uint32_t buffersize);

#ifdef __cplusplus
}
#endif

#endif
