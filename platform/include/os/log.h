/* Unified logging, reduced to standard error: every message is written as
   one line with a single write(2), so lines from different threads never mix.
   All types are printed, debug and info included, whatever the log. Privacy
   annotations such as %{public}s or %{private}d are dropped, leaving the plain
   printf conversion; %@ is not supported. */
#ifndef VENEER_PLATFORM_OS_LOG_H
#define VENEER_PLATFORM_OS_LOG_H

#include <os/base.h>
#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
#define OS_EXPORT extern "C" __attribute__((visibility("default")))
extern "C" {
#else
#define OS_EXPORT extern __attribute__((visibility("default")))
#endif

typedef struct os_log_s* os_log_t;

OS_ENUM(os_log_type, uint8_t, OS_LOG_TYPE_DEFAULT = 0x00, OS_LOG_TYPE_INFO = 0x01, OS_LOG_TYPE_DEBUG = 0x02,
        OS_LOG_TYPE_ERROR = 0x10, OS_LOG_TYPE_FAULT = 0x11);

/* Use OS_LOG_DEFAULT and OS_LOG_DISABLED. */
extern __attribute__((visibility("default"))) struct os_log_s _os_log_default;
extern __attribute__((visibility("default"))) struct os_log_s _os_log_disabled;

#define OS_LOG_DEFAULT (&_os_log_default)
#define OS_LOG_DISABLED (&_os_log_disabled)

#ifdef __cplusplus
}
#endif

/* [any thread] A log for `subsystem` and `category`; the same pair gives the
   same log, which lives for the whole process. */
OS_EXPORT os_log_t os_log_create(const char* subsystem, const char* category);

/* [any thread] False only for OS_LOG_DISABLED (and a null log). */
OS_EXPORT bool os_log_type_enabled(os_log_t log, os_log_type_t type);

/* [any thread] Use the os_log macros, which skip evaluating the arguments of a disabled log. */
OS_EXPORT void _os_log_write_line(os_log_t log, os_log_type_t type, const char* format, ...);

#define os_log_with_type(log, type, ...)                              \
  do {                                                                \
    os_log_t _os_log_target = (log);                                  \
    os_log_type_t _os_log_level = (type);                             \
    if (os_log_type_enabled(_os_log_target, _os_log_level)) {         \
      _os_log_write_line(_os_log_target, _os_log_level, __VA_ARGS__); \
    }                                                                 \
  } while (0)

#define os_log(log, ...) os_log_with_type(log, OS_LOG_TYPE_DEFAULT, __VA_ARGS__)
#define os_log_info(log, ...) os_log_with_type(log, OS_LOG_TYPE_INFO, __VA_ARGS__)
#define os_log_debug(log, ...) os_log_with_type(log, OS_LOG_TYPE_DEBUG, __VA_ARGS__)
#define os_log_error(log, ...) os_log_with_type(log, OS_LOG_TYPE_ERROR, __VA_ARGS__)
#define os_log_fault(log, ...) os_log_with_type(log, OS_LOG_TYPE_FAULT, __VA_ARGS__)

#endif
