/* Basic integer and status types of the platform (64-bit layouts). */
#ifndef VENEER_PLATFORM_MACTYPES_H
#define VENEER_PLATFORM_MACTYPES_H

#include <stdint.h>

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
/* The platform spells the 64-bit types long long. Ours do too (not the
   int64_t of this system, which is long), so that a %ld/%lu or a long* used
   for them fails here as it does there. */
typedef unsigned long long UInt64;
typedef signed long long SInt64;

typedef float Float32;
typedef double Float64;

typedef SInt32 OSStatus;
typedef SInt16 OSErr;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef unsigned char Boolean;
typedef UInt8 Byte;
typedef SInt8 SignedByte;
typedef char* Ptr;
typedef UInt16 UniChar;
typedef UInt32 UTF32Char;
typedef UInt16 UTF16Char;
typedef UInt8 UTF8Char;

enum { noErr = 0 };

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#endif
