/* Export, inline and attribute macros shared by the dispatch headers. */
#ifndef VENEER_PLATFORM_DISPATCH_BASE_H
#define VENEER_PLATFORM_DISPATCH_BASE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define DISPATCH_EXPORT extern "C" __attribute__((visibility("default")))
#define __DISPATCH_BEGIN_DECLS extern "C" {
#define __DISPATCH_END_DECLS }
#else
#define DISPATCH_EXPORT extern __attribute__((visibility("default")))
#define __DISPATCH_BEGIN_DECLS
#define __DISPATCH_END_DECLS
#endif

#define DISPATCH_INLINE static inline
#define DISPATCH_ALWAYS_INLINE __attribute__((__always_inline__))
#define DISPATCH_NORETURN __attribute__((__noreturn__))
#define DISPATCH_NOTHROW __attribute__((__nothrow__))
#define DISPATCH_NONNULL_ALL
#define DISPATCH_NOESCAPE
#define DISPATCH_PURE __attribute__((__pure__))
#define DISPATCH_CONST __attribute__((__const__))
#define DISPATCH_WARN_RESULT __attribute__((__warn_unused_result__))
#define DISPATCH_RETURNS_RETAINED

typedef void (*dispatch_function_t)(void* context);

#endif
