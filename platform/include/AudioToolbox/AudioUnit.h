/* The Audio Unit headers in one. */
#ifndef VENEER_PLATFORM_AUDIOTOOLBOX_AUDIOUNIT_H
#define VENEER_PLATFORM_AUDIOTOOLBOX_AUDIOUNIT_H

#include <AudioToolbox/AUComponent.h>
#include <AudioToolbox/AudioComponent.h>
#include <AudioToolbox/AudioOutputUnit.h>
#include <AudioToolbox/AudioUnitProperties.h>
#include <AudioToolbox/MusicDevice.h>

#endif
