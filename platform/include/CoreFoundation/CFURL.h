/* CFURL: URLs, above all file URLs, and the path work done on them. */
#ifndef VENEER_PLATFORM_CFURL_H
#define VENEER_PLATFORM_CFURL_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFURL* CFURLRef;

typedef CF_ENUM(CFIndex, CFURLPathStyle) {
  kCFURLPOSIXPathStyle = 0,
  kCFURLHFSPathStyle = 1, /* not supported here: calls with it answer NULL */
  kCFURLWindowsPathStyle = 2
};

CF_EXPORT CFTypeID CFURLGetTypeID(void);

/* URLs never change: every function here may be called from [any thread]. */

/* A relative path gives a URL relative to the current directory (its base URL). */
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
/* buffer holds a UTF-8 POSIX path of bufLen bytes. */
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                           CFIndex bufLen, Boolean isDirectory);
/* NULL when URLString holds characters a URL may not (spaces, for example). */
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL);
CF_EXPORT CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL);

/* Get rule: owned by the URL. For a relative URL, the relative part. */
CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef anURL);

/* Decoded path without a trailing slash (except "/"); relative URLs give their relative path. */
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
/* NUL-terminated UTF-8 path; false when buffer is too small or the URL is not a file URL. */
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                                   CFIndex maxBufLen);
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
/* NULL when the last path component has no extension. */
CF_EXPORT CFStringRef CFURLCopyPathExtension(CFURLRef url);

CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                                         CFStringRef pathComponent, Boolean isDirectory);
/* The result is a directory URL: "/a/b/c" gives "/a/b/". */
CF_EXPORT CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef allocator, CFURLRef url, CFStringRef extension);
CF_EXPORT CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef allocator, CFURLRef url);

CF_EXTERN_C_END

#endif
