/* OS_ENUM as on the platform: in C++ a typedef of an enum with a fixed
   underlying type, a type of its own; in C the integer type and plain
   constants. */
#ifndef VENEER_PLATFORM_OS_BASE_H
#define VENEER_PLATFORM_OS_BASE_H

#if defined(__cplusplus) && __cplusplus >= 201103L
#define OS_ENUM(_name, _type, ...) typedef enum : _type { __VA_ARGS__ } _name##_t
#else
#define OS_ENUM(_name, _type, ...) \
  enum { __VA_ARGS__ };            \
  typedef _type _name##_t
#endif

#endif
