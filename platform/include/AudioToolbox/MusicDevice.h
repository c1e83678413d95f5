/* The music-device (MIDI) part of the Audio Unit interface. */
#ifndef VENEER_PLATFORM_MUSICDEVICE_H
#define VENEER_PLATFORM_MUSICDEVICE_H

/* A system header, as the platform's are: its nullability marks (a clang
   extension, and all or nothing per header) are checked at the calls, not here. */
#if defined(__clang__)
#pragma clang system_header
#endif

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Declared only: code that builds an event list includes <CoreMIDI/CoreMIDI.h>. */
struct MIDIEventList;

typedef UInt32 MusicDeviceInstrumentID;
typedef UInt32 MusicDeviceGroupID;
typedef UInt32 NoteInstanceID;
typedef AudioComponentInstance MusicDeviceComponent;

enum { kMusicNoteEvent_UseGroupInstrument = 0xFFFFFFFF, kMusicNoteEvent_Unused = 0xFFFFFFFF };

struct NoteParamsControlValue {
  AudioUnitParameterID mID;
  AudioUnitParameterValue mValue;
};
typedef struct NoteParamsControlValue NoteParamsControlValue;

/* Pitch and velocity, then argCount - 2 control values. */
struct MusicDeviceNoteParams {
  UInt32 argCount;
  Float32 mPitch;
  Float32 mVelocity;
  NoteParamsControlValue mControls[1];
};
typedef struct MusicDeviceNoteParams MusicDeviceNoteParams;

enum {
  kMusicDeviceRange = 0x0100,
  kMusicDeviceMIDIEventSelect = 0x0101,
  kMusicDeviceSysExSelect = 0x0102,
  kMusicDevicePrepareInstrumentSelect = 0x0103,
  kMusicDeviceReleaseInstrumentSelect = 0x0104,
  kMusicDeviceStartNoteSelect = 0x0105,
  kMusicDeviceStopNoteSelect = 0x0106,
  kMusicDeviceMIDIEventListSelect = 0x0107
};

typedef OSStatus (*MusicDeviceMIDIEventProc)(void* self, UInt32 inStatus, UInt32 inData1, UInt32 inData2,
                                             UInt32 inOffsetSampleFrame);
typedef OSStatus (*MusicDeviceSysExProc)(void* self, const UInt8* inData, UInt32 inLength);
typedef OSStatus (*MusicDeviceStartNoteProc)(void* self, MusicDeviceInstrumentID inInstrument,
                                             MusicDeviceGroupID inGroupID, NoteInstanceID* outNoteInstanceID,
                                             UInt32 inOffsetSampleFrame, const MusicDeviceNoteParams* inParams);
typedef OSStatus (*MusicDeviceStopNoteProc)(void* self, MusicDeviceGroupID inGroupID, NoteInstanceID inNoteInstanceID,
                                            UInt32 inOffsetSampleFrame);

/* [any thread] As the other unit calls: dispatched through the unit's Lookup. */
AUDIOTOOLBOX_EXPORT OSStatus MusicDeviceMIDIEvent(MusicDeviceComponent _Nonnull inUnit, UInt32 inStatus, UInt32 inData1,
                                                  UInt32 inData2, UInt32 inOffsetSampleFrame);
AUDIOTOOLBOX_EXPORT OSStatus MusicDeviceSysEx(MusicDeviceComponent _Nonnull inUnit, const UInt8* _Nonnull inData,
                                              UInt32 inLength);
AUDIOTOOLBOX_EXPORT OSStatus MusicDeviceMIDIEventList(MusicDeviceComponent _Nonnull inUnit, UInt32 inOffsetSampleFrame,
                                                      const struct MIDIEventList* _Nonnull evtList);
AUDIOTOOLBOX_EXPORT OSStatus MusicDeviceStartNote(MusicDeviceComponent _Nonnull inUnit,
                                                  MusicDeviceInstrumentID inInstrument, MusicDeviceGroupID inGroupID,
                                                  NoteInstanceID* _Nonnull outNoteInstanceID,
                                                  UInt32 inOffsetSampleFrame,
                                                  const MusicDeviceNoteParams* _Nonnull inParams);
AUDIOTOOLBOX_EXPORT OSStatus MusicDeviceStopNote(MusicDeviceComponent _Nonnull inUnit, MusicDeviceGroupID inGroupID,
                                                 NoteInstanceID inNoteInstanceID, UInt32 inOffsetSampleFrame);

#ifdef __cplusplus
}
#endif

#endif
