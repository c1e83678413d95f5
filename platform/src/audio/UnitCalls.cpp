// The host's calls on a unit: each one asks the instance's Lookup for its
// selector and calls the method with the interface as `self`.
#include <AudioToolbox/AudioUnit.h>
#include <CoreServices/CoreServices.h>

#include "audio/Instances.h"

namespace {

// The method behind kMusicDeviceMIDIEventListSelect; the platform names no type for it.
using MIDIEventListMethod = OSStatus (*)(void* self, UInt32 inOffsetSampleFrame, const struct MIDIEventList* evtList);

template <typename Method, typename... Args>
OSStatus Dispatch(AudioComponentInstance instance, SInt16 selector, Args... args) {
  AudioComponentPlugInInterface* interface = veneer::audio::LiveInterface(instance);
  if (interface == nullptr) {
    return badComponentInstance;
  }
  AudioComponentMethod method = interface->Lookup(selector);
  if (method == nullptr) {
    return badComponentSelector;
  }
  // The platform's method types all start with the interface pointer.
  return reinterpret_cast<Method>(method)(interface, args...);  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
}

}  // namespace

extern "C" {

OSStatus AudioUnitInitialize(AudioUnit inUnit) {
  return Dispatch<AudioUnitInitializeProc>(inUnit, kAudioUnitInitializeSelect);
}

OSStatus AudioUnitUninitialize(AudioUnit inUnit) {
  return Dispatch<AudioUnitUninitializeProc>(inUnit, kAudioUnitUninitializeSelect);
}

OSStatus AudioUnitGetPropertyInfo(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                                  AudioUnitElement inElement, UInt32* outDataSize, Boolean* outWritable) {
  return Dispatch<AudioUnitGetPropertyInfoProc>(inUnit, kAudioUnitGetPropertyInfoSelect, inID, inScope, inElement,
                                                outDataSize, outWritable);
}

OSStatus AudioUnitGetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, void* outData, UInt32* ioDataSize) {
  return Dispatch<AudioUnitGetPropertyProc>(inUnit, kAudioUnitGetPropertySelect, inID, inScope, inElement, outData,
                                            ioDataSize);
}

OSStatus AudioUnitSetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, const void* inData, UInt32 inDataSize) {
  return Dispatch<AudioUnitSetPropertyProc>(inUnit, kAudioUnitSetPropertySelect, inID, inScope, inElement, inData,
                                            inDataSize);
}

OSStatus AudioUnitAddPropertyListener(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitPropertyListenerProc inProc,
                                      void* inProcUserData) {
  return Dispatch<AudioUnitAddPropertyListenerProc>(inUnit, kAudioUnitAddPropertyListenerSelect, inID, inProc,
                                                    inProcUserData);
}

OSStatus AudioUnitRemovePropertyListenerWithUserData(AudioUnit inUnit, AudioUnitPropertyID inID,
                                                     AudioUnitPropertyListenerProc inProc, void* inProcUserData) {
  return Dispatch<AudioUnitRemovePropertyListenerWithUserDataProc>(
      inUnit, kAudioUnitRemovePropertyListenerWithUserDataSelect, inID, inProc, inProcUserData);
}

OSStatus AudioUnitAddRenderNotify(AudioUnit inUnit, AURenderCallback inProc, void* inProcUserData) {
  return Dispatch<AudioUnitAddRenderNotifyProc>(inUnit, kAudioUnitAddRenderNotifySelect, inProc, inProcUserData);
}

OSStatus AudioUnitRemoveRenderNotify(AudioUnit inUnit, AURenderCallback inProc, void* inProcUserData) {
  return Dispatch<AudioUnitRemoveRenderNotifyProc>(inUnit, kAudioUnitRemoveRenderNotifySelect, inProc, inProcUserData);
}

OSStatus AudioUnitGetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue* outValue) {
  return Dispatch<AudioUnitGetParameterProc>(inUnit, kAudioUnitGetParameterSelect, inID, inScope, inElement, outValue);
}

OSStatus AudioUnitSetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue inValue,
                               UInt32 inBufferOffsetInFrames) {
  return Dispatch<AudioUnitSetParameterProc>(inUnit, kAudioUnitSetParameterSelect, inID, inScope, inElement, inValue,
                                             inBufferOffsetInFrames);
}

OSStatus AudioUnitScheduleParameters(AudioUnit inUnit, const AudioUnitParameterEvent* inParameterEvent,
                                     UInt32 inNumParamEvents) {
  return Dispatch<AudioUnitScheduleParametersProc>(inUnit, kAudioUnitScheduleParametersSelect, inParameterEvent,
                                                   inNumParamEvents);
}

OSStatus AudioUnitRender(AudioUnit inUnit, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                         UInt32 inOutputBusNumber, UInt32 inNumberFrames, AudioBufferList* ioData) {
  // Every block: the method the instance was made with, not a Lookup each time.
  AudioComponentPlugInInterface* interface = veneer::audio::LiveInterface(inUnit);
  if (interface == nullptr) {
    return badComponentInstance;
  }
  const AudioComponentMethod method = inUnit->render.load(std::memory_order_relaxed);
  if (method == nullptr) {
    return badComponentSelector;
  }
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the platform's method types
  return reinterpret_cast<AudioUnitRenderProc>(method)(interface, ioActionFlags, inTimeStamp, inOutputBusNumber,
                                                       inNumberFrames, ioData);
}

OSStatus AudioUnitProcess(AudioUnit inUnit, AudioUnitRenderActionFlags* ioActionFlags,
                          const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames, AudioBufferList* ioData) {
  return Dispatch<AudioUnitProcessProc>(inUnit, kAudioUnitProcessSelect, ioActionFlags, inTimeStamp, inNumberFrames,
                                        ioData);
}

OSStatus AudioUnitProcessMultiple(AudioUnit inUnit, AudioUnitRenderActionFlags* ioActionFlags,
                                  const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames,
                                  UInt32 inNumberInputBufferLists, const AudioBufferList** inInputBufferLists,
                                  UInt32 inNumberOutputBufferLists, AudioBufferList** ioOutputBufferLists) {
  return Dispatch<AudioUnitProcessMultipleProc>(inUnit, kAudioUnitProcessMultipleSelect, ioActionFlags, inTimeStamp,
                                                inNumberFrames, inNumberInputBufferLists, inInputBufferLists,
                                                inNumberOutputBufferLists, ioOutputBufferLists);
}

OSStatus AudioUnitReset(AudioUnit inUnit, AudioUnitScope inScope, AudioUnitElement inElement) {
  return Dispatch<AudioUnitResetProc>(inUnit, kAudioUnitResetSelect, inScope, inElement);
}

OSStatus AudioOutputUnitStart(AudioUnit ci) {
  return Dispatch<AudioOutputUnitStartProc>(ci, kAudioOutputUnitStartSelect);
}

OSStatus AudioOutputUnitStop(AudioUnit ci) { return Dispatch<AudioOutputUnitStopProc>(ci, kAudioOutputUnitStopSelect); }

OSStatus MusicDeviceMIDIEvent(MusicDeviceComponent inUnit, UInt32 inStatus, UInt32 inData1, UInt32 inData2,
                              UInt32 inOffsetSampleFrame) {
  return Dispatch<MusicDeviceMIDIEventProc>(inUnit, kMusicDeviceMIDIEventSelect, inStatus, inData1, inData2,
                                            inOffsetSampleFrame);
}

OSStatus MusicDeviceSysEx(MusicDeviceComponent inUnit, const UInt8* inData, UInt32 inLength) {
  return Dispatch<MusicDeviceSysExProc>(inUnit, kMusicDeviceSysExSelect, inData, inLength);
}

OSStatus MusicDeviceMIDIEventList(MusicDeviceComponent inUnit, UInt32 inOffsetSampleFrame,
                                  const struct MIDIEventList* evtList) {
  return Dispatch<MIDIEventListMethod>(inUnit, kMusicDeviceMIDIEventListSelect, inOffsetSampleFrame, evtList);
}

OSStatus MusicDeviceStartNote(MusicDeviceComponent inUnit, MusicDeviceInstrumentID inInstrument,
                              MusicDeviceGroupID inGroupID, NoteInstanceID* outNoteInstanceID,
                              UInt32 inOffsetSampleFrame, const MusicDeviceNoteParams* inParams) {
  return Dispatch<MusicDeviceStartNoteProc>(inUnit, kMusicDeviceStartNoteSelect, inInstrument, inGroupID,
                                            outNoteInstanceID, inOffsetSampleFrame, inParams);
}

OSStatus MusicDeviceStopNote(MusicDeviceComponent inUnit, MusicDeviceGroupID inGroupID, NoteInstanceID inNoteInstanceID,
                             UInt32 inOffsetSampleFrame) {
  return Dispatch<MusicDeviceStopNoteProc>(inUnit, kMusicDeviceStopNoteSelect, inGroupID, inNoteInstanceID,
                                           inOffsetSampleFrame);
}

}  // extern "C"
