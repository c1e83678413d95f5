/* Property lists: reading XML and binary plists into CoreFoundation objects and writing them back. */
#ifndef VENEER_PLATFORM_CFPROPERTYLIST_H
#define VENEER_PLATFORM_CFPROPERTYLIST_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>

CF_EXTERN_C_BEGIN

/* Errors are not reported through CFError here: every error out-parameter is set to NULL. */
typedef struct __CFError* CFErrorRef;

typedef CF_ENUM(CFIndex, CFPropertyListFormat) {
  kCFPropertyListOpenStepFormat = 1,
  kCFPropertyListXMLFormat_v1_0 = 100,
  kCFPropertyListBinaryFormat_v1_0 = 200,
};

typedef CF_OPTIONS(CFOptionFlags, CFPropertyListMutabilityOptions) {
  kCFPropertyListImmutable = 0,
  kCFPropertyListMutableContainers = 1 << 0,
  kCFPropertyListMutableContainersAndLeaves = 1 << 1,
};

/* [any thread] Reads an XML or binary plist; NULL when the data is not one (or holds a date). */
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error);
/* [any thread] Writes XML or binary; NULL for the OpenStep format or an invalid property list. */
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);
/* [any thread] */
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

CF_EXTERN_C_END

#endif
