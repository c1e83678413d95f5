/* The AudioToolbox subset that Veneer, its tools and its tests use. */
#ifndef VENEER_PLATFORM_AUDIOTOOLBOX_H
#define VENEER_PLATFORM_AUDIOTOOLBOX_H

#include <AudioToolbox/AudioUnit.h>
#include <CoreAudioTypes/CoreAudioTypes.h>
#include <CoreFoundation/CoreFoundation.h>

#endif
