/* Starting and stopping output units. */
#ifndef VENEER_PLATFORM_AUDIOOUTPUTUNIT_H
#define VENEER_PLATFORM_AUDIOOUTPUTUNIT_H

/* A system header, as the platform's are: its nullability marks (a clang
   extension, and all or nothing per header) are checked at the calls, not here. */
#if defined(__clang__)
#pragma clang system_header
#endif

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kAudioOutputUnitRange = 0x0200, kAudioOutputUnitStartSelect = 0x0201, kAudioOutputUnitStopSelect = 0x0202 };

typedef OSStatus (*AudioOutputUnitStartProc)(void* self);
typedef OSStatus (*AudioOutputUnitStopProc)(void* self);

/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioOutputUnitStart(AudioUnit _Nonnull ci);
/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioOutputUnitStop(AudioUnit _Nonnull ci);

#ifdef __cplusplus
}
#endif

#endif
