/* Starting and stopping output units. */
#ifndef VENEER_PLATFORM_AUDIOOUTPUTUNIT_H
#define VENEER_PLATFORM_AUDIOOUTPUTUNIT_H

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kAudioOutputUnitRange = 0x0200, kAudioOutputUnitStartSelect = 0x0201, kAudioOutputUnitStopSelect = 0x0202 };

typedef OSStatus (*AudioOutputUnitStartProc)(void* self);
typedef OSStatus (*AudioOutputUnitStopProc)(void* self);

/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioOutputUnitStart(AudioUnit ci);
/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioOutputUnitStop(AudioUnit ci);

#ifdef __cplusplus
}
#endif

#endif
