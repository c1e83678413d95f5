/* CoreFoundation base types and the polymorphic object functions. */
#ifndef VENEER_PLATFORM_CFBASE_H
#define VENEER_PLATFORM_CFBASE_H

#include <MacTypes.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#define CF_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#define CF_EXPORT extern __attribute__((visibility("default")))
#endif

#define CF_INLINE static inline
#define CF_RETURNS_RETAINED
#define CF_RETURNS_NOT_RETAINED
#define CF_RELEASES_ARGUMENT
#define CF_CONSUMED
#define CF_NOESCAPE
#define CF_IMPLICIT_BRIDGING_ENABLED
#define CF_IMPLICIT_BRIDGING_DISABLED
#define CF_ASSUME_NONNULL_BEGIN
#define CF_ASSUME_NONNULL_END

/* The component API's pointer parameters carry the platform's nullability
   marks: with clang, a literal null where the platform promises a pointer is
   a -Wnonnull warning here as it is there. Other compilers have no such marks. */
#if !defined(__clang__)
#define _Nonnull
#define _Nullable
#endif

/* Enumerations as the platform declares them. In C++ a CF_ENUM type is an enum
   of its own with a fixed underlying type, so an integer does not convert to
   it, and constants of two different enums do not mix silently. CF_OPTIONS
   stays the integer type in C++ (so that a | b is still one), with the
   constants in an enum of that underlying type. C gets the integer typedef
   and a plain enum. CF_ENUM(Type) alone declares anonymous constants.
   Used as `typedef CF_ENUM(Type, Name) { ... };`: the leading typedef names
   a placeholder, since `typedef enum Name : Type Name;` is not valid C++.
   clang-format takes `CF_ENUM(Type) {` for an initializer list, so the
   headers turn it off around those enums. */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define __CF_NAMED_ENUM(_type, _name) \
  int __CF_ENUM_##_name;              \
  enum _name : _type;                 \
  typedef enum _name _name;           \
  enum _name : _type
#define __CF_ANON_ENUM(_type) enum : _type
#define CF_OPTIONS(_type, _name) \
  _type _name;                   \
  enum : _type
#else
#define __CF_NAMED_ENUM(_type, _name) \
  _type _name;                        \
  enum
#define __CF_ANON_ENUM(_type) enum
#define CF_OPTIONS(_type, _name) \
  _type _name;                   \
  enum
#endif
#define __CF_ENUM_GET_MACRO(_1, _2, NAME, ...) NAME
#define CF_ENUM(...) __CF_ENUM_GET_MACRO(__VA_ARGS__, __CF_NAMED_ENUM, __CF_ANON_ENUM, )(__VA_ARGS__)

CF_EXTERN_C_BEGIN

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef signed long CFIndex;

typedef const void* CFTypeRef;

typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef CFTypeRef CFPropertyListRef;

typedef CF_ENUM(CFIndex, CFComparisonResult) {
  kCFCompareLessThan = -1L,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1
};

typedef CFComparisonResult (*CFComparatorFunction)(const void* val1, const void* val2, void* context);

static const CFIndex kCFNotFound = -1;

typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex loc, CFIndex len) {
  CFRange range;
  range.location = loc;
  range.length = len;
  return range;
}

typedef const struct __CFNull* CFNullRef;
CF_EXPORT CFTypeID CFNullGetTypeID(void);
CF_EXPORT const CFNullRef kCFNull;

/* Allocators: every allocator here is the system's malloc; the constants
   exist so that calls written for the platform compile and behave alike. */
typedef const struct __CFAllocator* CFAllocatorRef;
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;
CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);
CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);

CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
CF_EXPORT void CFRelease(CFTypeRef cf);
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef cf);

CF_EXTERN_C_END

#endif
