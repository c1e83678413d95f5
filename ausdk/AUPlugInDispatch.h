// The component's method functions and the lookups that hand them to the
// system by selector. Every method converts exceptions into a status.
#pragma once

#include <AudioToolbox/AudioUnit.h>

namespace ausdk {

// Rows 1-7, 9-11 and 14-18 of the Audio Unit interface.
struct AUBaseLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds start and stop (513, 514).
struct AUOutputLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds start, stop and complex render (19).
struct AUComplexOutputLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds process (20).
struct AUBaseProcessLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds process multiple (21).
struct AUBaseProcessMultipleLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds process and process multiple (20, 21).
struct AUBaseProcessAndMultipleLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds MIDI event, SysEx and MIDI event list (257, 258, 263).
struct AUMIDILookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds the MIDI selectors and process (20).
struct AUMIDIProcessLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};
// Adds the MIDI selectors and the instrument and note selectors (259-262).
struct AUMusicLookup {
  static AudioComponentMethod Lookup(SInt16 selector);
};

// The method functions; `self` is the plug-in instance record.
OSStatus AUMethodInitialize(void* self);
OSStatus AUMethodUninitialize(void* self);
OSStatus AUMethodGetPropertyInfo(void* self, AudioUnitPropertyID prop, AudioUnitScope scope, AudioUnitElement elem,
                                 UInt32* outDataSize, Boolean* outWritable);
OSStatus AUMethodGetProperty(void* self, AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                             void* outData, UInt32* ioDataSize);
OSStatus AUMethodSetProperty(void* self, AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                             const void* inData, UInt32 inDataSize);
OSStatus AUMethodAddPropertyListener(void* self, AudioUnitPropertyID prop, AudioUnitPropertyListenerProc proc,
                                     void* userData);
OSStatus AUMethodRemovePropertyListener(void* self, AudioUnitPropertyID prop, AudioUnitPropertyListenerProc proc);
OSStatus AUMethodRemovePropertyListenerWithUserData(void* self, AudioUnitPropertyID prop,
                                                    AudioUnitPropertyListenerProc proc, void* userData);
OSStatus AUMethodAddRenderNotify(void* self, AURenderCallback proc, void* userData);
OSStatus AUMethodRemoveRenderNotify(void* self, AURenderCallback proc, void* userData);
OSStatus AUMethodGetParameter(void* self, AudioUnitParameterID param, AudioUnitScope scope, AudioUnitElement elem,
                              AudioUnitParameterValue* value);
OSStatus AUMethodSetParameter(void* self, AudioUnitParameterID param, AudioUnitScope scope, AudioUnitElement elem,
                              AudioUnitParameterValue value, UInt32 bufferOffset);
OSStatus AUMethodScheduleParameters(void* self, const AudioUnitParameterEvent* events, UInt32 numEvents);
OSStatus AUMethodRender(void* self, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                        UInt32 inOutputBusNumber, UInt32 inNumberFrames, AudioBufferList* ioData);
OSStatus AUMethodComplexRender(void* self, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                               UInt32 inOutputBusNumber, UInt32 inNumberOfPackets, UInt32* outNumberOfPackets,
                               AudioStreamPacketDescription* outPacketDescriptions, AudioBufferList* ioData,
                               void* outMetadata, UInt32* outMetadataByteSize);
OSStatus AUMethodReset(void* self, AudioUnitScope scope, AudioUnitElement elem);
OSStatus AUMethodProcess(void* self, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                         UInt32 inNumberFrames, AudioBufferList* ioData);
OSStatus AUMethodProcessMultiple(void* self, AudioUnitRenderActionFlags* ioActionFlags,
                                 const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames,
                                 UInt32 inNumberInputBufferLists, const AudioBufferList** inInputBufferLists,
                                 UInt32 inNumberOutputBufferLists, AudioBufferList** ioOutputBufferLists);
OSStatus AUMethodStart(void* self);
OSStatus AUMethodStop(void* self);
OSStatus AUMethodMIDIEvent(void* self, UInt32 inStatus, UInt32 inData1, UInt32 inData2, UInt32 inOffsetSampleFrame);
OSStatus AUMethodSysEx(void* self, const UInt8* inData, UInt32 inLength);
OSStatus AUMethodMIDIEventList(void* self, UInt32 inOffsetSampleFrame, const struct MIDIEventList* eventList);
OSStatus AUMethodPrepareInstrument(void* self, MusicDeviceInstrumentID inInstrument);
OSStatus AUMethodReleaseInstrument(void* self, MusicDeviceInstrumentID inInstrument);
OSStatus AUMethodStartNote(void* self, MusicDeviceInstrumentID inInstrument, MusicDeviceGroupID inGroupID,
                           NoteInstanceID* outNoteInstanceID, UInt32 inOffsetSampleFrame,
                           const MusicDeviceNoteParams* inParams);
OSStatus AUMethodStopNote(void* self, MusicDeviceGroupID inGroupID, NoteInstanceID inNoteInstanceID,
                          UInt32 inOffsetSampleFrame);

}  // namespace ausdk
