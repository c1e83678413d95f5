/* CFString: immutable and mutable Unicode strings, stored as UTF-8. */
#ifndef VENEER_PLATFORM_CFSTRING_H
#define VENEER_PLATFORM_CFSTRING_H

#include <CoreFoundation/CFBase.h>
#include <stdarg.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;

typedef CF_ENUM(CFStringEncoding, CFStringBuiltInEncodings) {
  kCFStringEncodingMacRoman = 0,
  kCFStringEncodingWindowsLatin1 = 0x0500,
  kCFStringEncodingISOLatin1 = 0x0201,
  kCFStringEncodingNextStepLatin = 0x0B01,
  kCFStringEncodingASCII = 0x0600,
  kCFStringEncodingUnicode = 0x0100,
  kCFStringEncodingUTF8 = 0x08000100,
  kCFStringEncodingNonLossyASCII = 0x0BFF,
  kCFStringEncodingUTF16 = 0x0100,
  kCFStringEncodingUTF16BE = 0x10000100,
  kCFStringEncodingUTF16LE = 0x14000100,
  kCFStringEncodingUTF32 = 0x0c000100,
  kCFStringEncodingUTF32BE = 0x18000100,
  kCFStringEncodingUTF32LE = 0x1c000100
};

#define kCFStringEncodingInvalidId (0xffffffffU)

typedef CF_OPTIONS(CFOptionFlags, CFStringCompareFlags) {
  kCFCompareCaseInsensitive = 1,
  kCFCompareBackwards = 4,
  kCFCompareAnchored = 8,
  kCFCompareNonliteral = 16,
  kCFCompareLocalized = 32,
  kCFCompareNumerically = 64
};

typedef const struct __CFDictionary* CFDictionaryRef;

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/* CFSTR("text") is a constant string that lives for the whole process. */
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* cStr);
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                              CFStringEncoding encoding, Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars);
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str, CFRange range);
/* printf conversions, plus %@ for any CF object's description. The format
   options dictionary is accepted and ignored, as the platform does for most uses. */
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format,
                                               ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                                           CFStringRef format, va_list arguments);

CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength, CFStringRef theString);
CF_EXPORT void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
CF_EXPORT void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding);
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions, CFStringRef format,
                                    ...);

/* Lengths and indexes count UTF-16 code units, as on the platform. */
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                                   Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen,
                                   CFIndex* usedBufLen);
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                             CFStringCompareFlags compareOptions);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix);
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef str);
CF_EXPORT double CFStringGetDoubleValue(CFStringRef str);

/* [any thread] Writes the object's description and a newline to standard error. */
CF_EXPORT void CFShow(CFTypeRef obj);

CF_EXTERN_C_END

#endif
