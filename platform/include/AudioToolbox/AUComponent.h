/* The Audio Unit (version 2) component interface: types, statuses, selectors,
   method types and the calls a host makes on a unit. */
#ifndef VENEER_PLATFORM_AUCOMPONENT_H
#define VENEER_PLATFORM_AUCOMPONENT_H

/* A system header, as the platform's are: its nullability marks (a clang
   extension, and all or nothing per header) are checked at the calls, not here. */
#if defined(__clang__)
#pragma clang system_header
#endif

#include <AudioToolbox/AudioComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef AudioComponentInstance AudioUnit;

/* clang-format off */
CF_ENUM(UInt32) {
  kAudioUnitType_Output = 0x61756F75,          /* 'auou' */
  kAudioUnitType_MusicDevice = 0x61756D75,     /* 'aumu' */
  kAudioUnitType_MusicEffect = 0x61756D66,     /* 'aumf' */
  kAudioUnitType_FormatConverter = 0x61756663, /* 'aufc' */
  kAudioUnitType_Effect = 0x61756678,          /* 'aufx' */
  kAudioUnitType_Mixer = 0x61756D78,           /* 'aumx' */
  kAudioUnitType_Panner = 0x6175706E,          /* 'aupn' */
  kAudioUnitType_Generator = 0x6175676E,       /* 'augn' */
  kAudioUnitType_OfflineEffect = 0x61756F6C,   /* 'auol' */
  kAudioUnitType_MIDIProcessor = 0x61756D69    /* 'aumi' */
};

CF_ENUM(UInt32) { kAudioUnitManufacturer_Apple = 0x6170706C /* 'appl' */ };

CF_ENUM(OSStatus) {
  kAudioUnitErr_InvalidProperty = -10879,
  kAudioUnitErr_InvalidParameter = -10878,
  kAudioUnitErr_InvalidElement = -10877,
  kAudioUnitErr_NoConnection = -10876,
  kAudioUnitErr_FailedInitialization = -10875,
  kAudioUnitErr_TooManyFramesToProcess = -10874,
  kAudioUnitErr_InvalidFile = -10871,
  kAudioUnitErr_UnknownFileType = -10870,
  kAudioUnitErr_FileNotSpecified = -10869,
  kAudioUnitErr_FormatNotSupported = -10868,
  kAudioUnitErr_Uninitialized = -10867,
  kAudioUnitErr_InvalidScope = -10866,
  kAudioUnitErr_PropertyNotWritable = -10865,
  kAudioUnitErr_CannotDoInCurrentContext = -10863,
  kAudioUnitErr_InvalidPropertyValue = -10851,
  kAudioUnitErr_PropertyNotInUse = -10850,
  kAudioUnitErr_Initialized = -10849,
  kAudioUnitErr_InvalidOfflineRender = -10848,
  kAudioUnitErr_Unauthorized = -10847,
  kAudioUnitErr_MIDIOutputBufferFull = -66753,
  kAudioUnitErr_ExtensionNotFound = -66744,
  kAudioUnitErr_InvalidParameterValue = -66743,
  kAudioUnitErr_InvalidFilePath = -66742,
  kAudioUnitErr_MissingKey = -66741,
  kAudioUnitErr_RenderTimeout = -66745
};
/* clang-format on */

typedef UInt32 AudioUnitPropertyID;
typedef UInt32 AudioUnitScope;
typedef UInt32 AudioUnitElement;
typedef UInt32 AudioUnitParameterID;
typedef Float32 AudioUnitParameterValue;

/* clang-format off */
CF_ENUM(AudioUnitScope) {
  kAudioUnitScope_Global = 0,
  kAudioUnitScope_Input = 1,
  kAudioUnitScope_Output = 2,
  kAudioUnitScope_Group = 3,
  kAudioUnitScope_Part = 4,
  kAudioUnitScope_Note = 5,
  kAudioUnitScope_Layer = 6,
  kAudioUnitScope_LayerItem = 7
};
/* clang-format on */

typedef CF_OPTIONS(UInt32, AudioUnitRenderActionFlags) {
  kAudioUnitRenderAction_PreRender = (1U << 2),
  kAudioUnitRenderAction_PostRender = (1U << 3),
  kAudioUnitRenderAction_OutputIsSilence = (1U << 4),
  kAudioOfflineUnitRenderAction_Preflight = (1U << 5),
  kAudioOfflineUnitRenderAction_Render = (1U << 6),
  kAudioOfflineUnitRenderAction_Complete = (1U << 7),
  kAudioUnitRenderAction_PostRenderError = (1U << 8),
  kAudioUnitRenderAction_DoNotCheckRenderArgs = (1U << 9)
};

typedef OSStatus (*AURenderCallback)(void* inRefCon, AudioUnitRenderActionFlags* ioActionFlags,
                                     const AudioTimeStamp* inTimeStamp, UInt32 inBusNumber, UInt32 inNumberFrames,
                                     AudioBufferList* ioData);

typedef void (*AudioUnitPropertyListenerProc)(void* inRefCon, AudioUnit inUnit, AudioUnitPropertyID inID,
                                              AudioUnitScope inScope, AudioUnitElement inElement);

typedef void (*AUInputSamplesInOutputCallback)(void* inRefCon, const AudioTimeStamp* inOutputTimeStamp,
                                               Float64 inInputSample, Float64 inNumberInputSamples);

typedef CF_ENUM(UInt32, AUParameterEventType) { kParameterEvent_Immediate = 1, kParameterEvent_Ramped = 2 };

/* A parameter change at a point of the next render, or a ramp over it: 32 bytes. */
struct AudioUnitParameterEvent {
  AudioUnitScope scope;
  AudioUnitElement element;
  AudioUnitParameterID parameter;
  AUParameterEventType eventType;
  union {
    struct {
      SInt32 startBufferOffset;
      UInt32 durationInFrames;
      AudioUnitParameterValue startValue;
      AudioUnitParameterValue endValue;
    } ramp;
    struct {
      UInt32 bufferOffset;
      AudioUnitParameterValue value;
    } immediate;
  } eventValues;
};
typedef struct AudioUnitParameterEvent AudioUnitParameterEvent;

struct AudioUnitParameter {
  AudioUnit mAudioUnit;
  AudioUnitParameterID mParameterID;
  AudioUnitScope mScope;
  AudioUnitElement mElement;
};
typedef struct AudioUnitParameter AudioUnitParameter;

struct AudioUnitProperty {
  AudioUnit mAudioUnit;
  AudioUnitPropertyID mPropertyID;
  AudioUnitScope mScope;
  AudioUnitElement mElement;
};
typedef struct AudioUnitProperty AudioUnitProperty;

/* Selectors of the Audio Unit interface. */
enum {
  kAudioUnitRange = 0x0000,
  kAudioUnitInitializeSelect = 0x0001,
  kAudioUnitUninitializeSelect = 0x0002,
  kAudioUnitGetPropertyInfoSelect = 0x0003,
  kAudioUnitGetPropertySelect = 0x0004,
  kAudioUnitSetPropertySelect = 0x0005,
  kAudioUnitAddPropertyListenerSelect = 0x000A,
  kAudioUnitRemovePropertyListenerSelect = 0x000B,
  kAudioUnitRemovePropertyListenerWithUserDataSelect = 0x0012,
  kAudioUnitAddRenderNotifySelect = 0x000F,
  kAudioUnitRemoveRenderNotifySelect = 0x0010,
  kAudioUnitGetParameterSelect = 0x0006,
  kAudioUnitSetParameterSelect = 0x0007,
  kAudioUnitScheduleParametersSelect = 0x0011,
  kAudioUnitRenderSelect = 0x000E,
  kAudioUnitResetSelect = 0x0009,
  kAudioUnitComplexRenderSelect = 0x0013,
  kAudioUnitProcessSelect = 0x0014,
  kAudioUnitProcessMultipleSelect = 0x0015
};

/* The method type of each selector, as a component's Lookup hands it out. */
typedef OSStatus (*AudioUnitInitializeProc)(void* self);
typedef OSStatus (*AudioUnitUninitializeProc)(void* self);
typedef OSStatus (*AudioUnitGetPropertyInfoProc)(void* self, AudioUnitPropertyID prop, AudioUnitScope scope,
                                                 AudioUnitElement elem, UInt32* _Nullable outDataSize,
                                                 Boolean* _Nullable outWritable);
typedef OSStatus (*AudioUnitGetPropertyProc)(void* self, AudioUnitPropertyID inID, AudioUnitScope inScope,
                                             AudioUnitElement inElement, void* _Nonnull outData,
                                             UInt32* _Nonnull ioDataSize);
typedef OSStatus (*AudioUnitSetPropertyProc)(void* self, AudioUnitPropertyID inID, AudioUnitScope inScope,
                                             AudioUnitElement inElement, const void* _Nullable inData,
                                             UInt32 inDataSize);
typedef OSStatus (*AudioUnitAddPropertyListenerProc)(void* self, AudioUnitPropertyID prop,
                                                     AudioUnitPropertyListenerProc proc, void* userData);
typedef OSStatus (*AudioUnitRemovePropertyListenerProc)(void* self, AudioUnitPropertyID prop,
                                                        AudioUnitPropertyListenerProc proc);
typedef OSStatus (*AudioUnitRemovePropertyListenerWithUserDataProc)(void* self, AudioUnitPropertyID prop,
                                                                    AudioUnitPropertyListenerProc proc, void* userData);
typedef OSStatus (*AudioUnitAddRenderNotifyProc)(void* self, AURenderCallback proc, void* userData);
typedef OSStatus (*AudioUnitRemoveRenderNotifyProc)(void* self, AURenderCallback proc, void* userData);
typedef OSStatus (*AudioUnitScheduleParametersProc)(void* self, const AudioUnitParameterEvent* events,
                                                    UInt32 numEvents);
typedef OSStatus (*AudioUnitResetProc)(void* self, AudioUnitScope inScope, AudioUnitElement inElement);
typedef OSStatus (*AudioUnitComplexRenderProc)(void* self, AudioUnitRenderActionFlags* ioActionFlags,
                                               const AudioTimeStamp* inTimeStamp, UInt32 inOutputBusNumber,
                                               UInt32 inNumberOfPackets, UInt32* outNumberOfPackets,
                                               AudioStreamPacketDescription* outPacketDescriptions,
                                               AudioBufferList* ioData, void* outMetadata, UInt32* outMetadataByteSize);
typedef OSStatus (*AudioUnitProcessProc)(void* self, AudioUnitRenderActionFlags* ioActionFlags,
                                         const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames,
                                         AudioBufferList* ioData);
typedef OSStatus (*AudioUnitProcessMultipleProc)(void* self, AudioUnitRenderActionFlags* ioActionFlags,
                                                 const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames,
                                                 UInt32 inNumberInputBufferLists,
                                                 const AudioBufferList** inInputBufferLists,
                                                 UInt32 inNumberOutputBufferLists,
                                                 AudioBufferList** ioOutputBufferLists);
typedef OSStatus (*AudioUnitGetParameterProc)(void* inComponentStorage, AudioUnitParameterID inID,
                                              AudioUnitScope inScope, AudioUnitElement inElement,
                                              AudioUnitParameterValue* outValue);
typedef OSStatus (*AudioUnitSetParameterProc)(void* inComponentStorage, AudioUnitParameterID inID,
                                              AudioUnitScope inScope, AudioUnitElement inElement,
                                              AudioUnitParameterValue inValue, UInt32 inBufferOffsetInFrames);
typedef OSStatus (*AudioUnitRenderProc)(void* inComponentStorage, AudioUnitRenderActionFlags* ioActionFlags,
                                        const AudioTimeStamp* inTimeStamp, UInt32 inOutputBusNumber,
                                        UInt32 inNumberFrames, AudioBufferList* ioData);

/* The host's calls. Each asks the unit's Lookup for the selector's method;
   a selector the unit does not serve answers badComponentSelector, and a
   null or disposed unit badComponentInstance. [any thread] for all; which
   of them a unit allows on its render thread is the unit's contract. */
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitInitialize(AudioUnit _Nonnull inUnit);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitUninitialize(AudioUnit _Nonnull inUnit);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitGetPropertyInfo(AudioUnit _Nonnull inUnit, AudioUnitPropertyID inID,
                                                      AudioUnitScope inScope, AudioUnitElement inElement,
                                                      UInt32* _Nullable outDataSize, Boolean* _Nullable outWritable);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitGetProperty(AudioUnit _Nonnull inUnit, AudioUnitPropertyID inID,
                                                  AudioUnitScope inScope, AudioUnitElement inElement,
                                                  void* _Nonnull outData, UInt32* _Nonnull ioDataSize);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitSetProperty(AudioUnit _Nonnull inUnit, AudioUnitPropertyID inID,
                                                  AudioUnitScope inScope, AudioUnitElement inElement,
                                                  const void* _Nullable inData, UInt32 inDataSize);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitAddPropertyListener(AudioUnit _Nonnull inUnit, AudioUnitPropertyID inID,
                                                          AudioUnitPropertyListenerProc _Nonnull inProc,
                                                          void* _Nullable inProcUserData);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitRemovePropertyListenerWithUserData(AudioUnit _Nonnull inUnit,
                                                                         AudioUnitPropertyID inID,
                                                                         AudioUnitPropertyListenerProc _Nonnull inProc,
                                                                         void* _Nullable inProcUserData);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitAddRenderNotify(AudioUnit _Nonnull inUnit, AURenderCallback _Nonnull inProc,
                                                      void* _Nullable inProcUserData);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitRemoveRenderNotify(AudioUnit _Nonnull inUnit, AURenderCallback _Nonnull inProc,
                                                         void* _Nullable inProcUserData);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitGetParameter(AudioUnit _Nonnull inUnit, AudioUnitParameterID inID,
                                                   AudioUnitScope inScope, AudioUnitElement inElement,
                                                   AudioUnitParameterValue* _Nonnull outValue);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitSetParameter(AudioUnit _Nonnull inUnit, AudioUnitParameterID inID,
                                                   AudioUnitScope inScope, AudioUnitElement inElement,
                                                   AudioUnitParameterValue inValue, UInt32 inBufferOffsetInFrames);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitScheduleParameters(AudioUnit _Nonnull inUnit,
                                                         const AudioUnitParameterEvent* _Nonnull inParameterEvent,
                                                         UInt32 inNumParamEvents);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitRender(AudioUnit _Nonnull inUnit,
                                             AudioUnitRenderActionFlags* _Nullable ioActionFlags,
                                             const AudioTimeStamp* _Nonnull inTimeStamp, UInt32 inOutputBusNumber,
                                             UInt32 inNumberFrames, AudioBufferList* _Nonnull ioData);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitProcess(AudioUnit _Nonnull inUnit,
                                              AudioUnitRenderActionFlags* _Nullable ioActionFlags,
                                              const AudioTimeStamp* _Nonnull inTimeStamp, UInt32 inNumberFrames,
                                              AudioBufferList* _Nonnull ioData);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitProcessMultiple(AudioUnit _Nonnull inUnit,
                                                      AudioUnitRenderActionFlags* _Nullable ioActionFlags,
                                                      const AudioTimeStamp* _Nonnull inTimeStamp, UInt32 inNumberFrames,
                                                      UInt32 inNumberInputBufferLists,
                                                      const AudioBufferList* _Nonnull* _Nonnull inInputBufferLists,
                                                      UInt32 inNumberOutputBufferLists,
                                                      AudioBufferList* _Nonnull* _Nonnull ioOutputBufferLists);
AUDIOTOOLBOX_EXPORT OSStatus AudioUnitReset(AudioUnit _Nonnull inUnit, AudioUnitScope inScope,
                                            AudioUnitElement inElement);

#ifdef __cplusplus
}
#endif

#endif
