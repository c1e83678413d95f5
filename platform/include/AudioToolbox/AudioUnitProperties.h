/* Audio Unit property ids and the value types that go with them. */
#ifndef VENEER_PLATFORM_AUDIOUNITPROPERTIES_H
#define VENEER_PLATFORM_AUDIOUNITPROPERTIES_H

#include <AudioToolbox/AUComponent.h>
#include <CoreFoundation/CFString.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef const struct __CFURL* CFURLRef;

/* clang-format off */
CF_ENUM(AudioUnitPropertyID) {
  kAudioUnitProperty_ClassInfo = 0,
  kAudioUnitProperty_MakeConnection = 1,
  kAudioUnitProperty_SampleRate = 2,
  kAudioUnitProperty_ParameterList = 3,
  kAudioUnitProperty_ParameterInfo = 4,
  kAudioUnitProperty_FastDispatch = 5,
  kAudioUnitProperty_CPULoad = 6,
  kAudioUnitProperty_StreamFormat = 8,
  kAudioUnitProperty_ElementCount = 11,
  kAudioUnitProperty_Latency = 12,
  kAudioUnitProperty_SupportedNumChannels = 13,
  kAudioUnitProperty_MaximumFramesPerSlice = 14,
  kAudioUnitProperty_ParameterValueStrings = 16,
  kAudioUnitProperty_AudioChannelLayout = 19,
  kAudioUnitProperty_TailTime = 20,
  kAudioUnitProperty_BypassEffect = 21,
  kAudioUnitProperty_LastRenderError = 22,
  kAudioUnitProperty_SetRenderCallback = 23,
  kAudioUnitProperty_FactoryPresets = 24,
  kAudioUnitProperty_ContextName = 25,
  kAudioUnitProperty_RenderQuality = 26,
  kAudioUnitProperty_HostCallbacks = 27,
  kAudioUnitProperty_InPlaceProcessing = 29,
  kAudioUnitProperty_ElementName = 30,
  kAudioUnitProperty_CocoaUI = 31,
  kAudioUnitProperty_SupportedChannelLayoutTags = 32,
  kAudioUnitProperty_ParameterStringFromValue = 33,
  kAudioUnitProperty_ParameterIDName = 34,
  kAudioUnitProperty_ParameterClumpName = 35,
  kAudioUnitProperty_PresentPreset = 36,
  kAudioUnitProperty_OfflineRender = 37,
  kAudioUnitProperty_ParameterValueFromString = 38,
  kAudioUnitProperty_IconLocation = 39,
  kAudioUnitProperty_PresentationLatency = 40,
  kAudioUnitProperty_DependentParameters = 45,
  kAudioUnitProperty_AUHostIdentifier = 46,
  kAudioUnitProperty_MIDIOutputCallbackInfo = 47,
  kAudioUnitProperty_MIDIOutputCallback = 48,
  kAudioUnitProperty_InputSamplesInOutput = 49,
  kAudioUnitProperty_ClassInfoFromDocument = 50,
  kAudioUnitProperty_ShouldAllocateBuffer = 51,
  kAudioUnitProperty_FrequencyResponse = 52,
  kAudioUnitProperty_ParameterHistoryInfo = 53,
  kAudioUnitProperty_NickName = 54,
  kAudioUnitProperty_RequestViewController = 56,
  kAudioUnitProperty_ParametersForOverview = 57,
  kAudioUnitProperty_SupportsMPE = 58,
  kAudioUnitProperty_RenderContextObserver = 60,
  kAudioUnitProperty_LastRenderSampleTime = 61,
  kAudioUnitProperty_LoadedOutOfProcess = 62
};
/* clang-format on */

/* kAudioUnitProperty_SetRenderCallback: 16 bytes. */
struct AURenderCallbackStruct {
  AURenderCallback inputProc;
  void* inputProcRefCon;
};
typedef struct AURenderCallbackStruct AURenderCallbackStruct;

/* kAudioUnitProperty_MakeConnection: 16 bytes. */
struct AudioUnitConnection {
  AudioUnit sourceAudioUnit;
  UInt32 sourceOutputNumber;
  UInt32 destInputNumber;
};
typedef struct AudioUnitConnection AudioUnitConnection;

/* kAudioUnitProperty_SupportedNumChannels: one entry per configuration; -1
   means any count, and other negative values tie input and output together. */
struct AUChannelInfo {
  SInt16 inChannels;
  SInt16 outChannels;
};
typedef struct AUChannelInfo AUChannelInfo;

/* kAudioUnitProperty_PresentPreset and kAudioUnitProperty_FactoryPresets entries: 16 bytes. */
struct AUPreset {
  SInt32 presetNumber;
  CFStringRef presetName;
};
typedef struct AUPreset AUPreset;

/* kAudioUnitProperty_CocoaUI: the view bundle and its factory class names, 16
   bytes for one class. The URL and the class names are the caller's to release. */
struct AudioUnitCocoaViewInfo {
  CFURLRef mCocoaAUViewBundleLocation;
  CFStringRef mCocoaAUViewClass[1];
};
typedef struct AudioUnitCocoaViewInfo AudioUnitCocoaViewInfo;

/* kAudioUnitProperty_HostCallbacks: 40 bytes. */
typedef OSStatus (*HostCallback_GetBeatAndTempo)(void* inHostUserData, Float64* outCurrentBeat,
                                                 Float64* outCurrentTempo);
typedef OSStatus (*HostCallback_GetMusicalTimeLocation)(void* inHostUserData, UInt32* outDeltaSampleOffsetToNextBeat,
                                                        Float32* outTimeSig_Numerator, UInt32* outTimeSig_Denominator,
                                                        Float64* outCurrentMeasureDownBeat);
typedef OSStatus (*HostCallback_GetTransportState)(void* inHostUserData, Boolean* outIsPlaying,
                                                   Boolean* outTransportStateChanged,
                                                   Float64* outCurrentSampleInTimeLine, Boolean* outIsCycling,
                                                   Float64* outCycleStartBeat, Float64* outCycleEndBeat);
typedef OSStatus (*HostCallback_GetTransportState2)(void* inHostUserData, Boolean* outIsPlaying,
                                                    Boolean* outIsRecording, Boolean* outTransportStateChanged,
                                                    Float64* outCurrentSampleInTimeLine, Boolean* outIsCycling,
                                                    Float64* outCycleStartBeat, Float64* outCycleEndBeat);

struct HostCallbackInfo {
  void* hostUserData;
  HostCallback_GetBeatAndTempo beatAndTempoProc;
  HostCallback_GetMusicalTimeLocation musicalTimeLocationProc;
  HostCallback_GetTransportState transportStateProc;
  HostCallback_GetTransportState2 transportStateProc2;
};
typedef struct HostCallbackInfo HostCallbackInfo;

/* kAudioUnitProperty_RenderQuality values. */
enum {
  kRenderQuality_Max = 127,
  kRenderQuality_High = 96,
  kRenderQuality_Medium = 64,
  kRenderQuality_Low = 32,
  kRenderQuality_Min = 0
};

/* Parameter units. */
typedef CF_ENUM(UInt32, AudioUnitParameterUnit) {
  kAudioUnitParameterUnit_Generic = 0,
  kAudioUnitParameterUnit_Indexed = 1,
  kAudioUnitParameterUnit_Boolean = 2,
  kAudioUnitParameterUnit_Percent = 3,
  kAudioUnitParameterUnit_Seconds = 4,
  kAudioUnitParameterUnit_SampleFrames = 5,
  kAudioUnitParameterUnit_Phase = 6,
  kAudioUnitParameterUnit_Rate = 7,
  kAudioUnitParameterUnit_Hertz = 8,
  kAudioUnitParameterUnit_Cents = 9,
  kAudioUnitParameterUnit_RelativeSemiTones = 10,
  kAudioUnitParameterUnit_MIDINoteNumber = 11,
  kAudioUnitParameterUnit_MIDIController = 12,
  kAudioUnitParameterUnit_Decibels = 13,
  kAudioUnitParameterUnit_LinearGain = 14,
  kAudioUnitParameterUnit_Degrees = 15,
  kAudioUnitParameterUnit_EqualPowerCrossfade = 16,
  kAudioUnitParameterUnit_MixerFaderCurve1 = 17,
  kAudioUnitParameterUnit_Pan = 18,
  kAudioUnitParameterUnit_Meters = 19,
  kAudioUnitParameterUnit_AbsoluteCents = 20,
  kAudioUnitParameterUnit_Octaves = 21,
  kAudioUnitParameterUnit_BPM = 22,
  kAudioUnitParameterUnit_Beats = 23,
  kAudioUnitParameterUnit_Milliseconds = 24,
  kAudioUnitParameterUnit_Ratio = 25,
  kAudioUnitParameterUnit_CustomUnit = 26,
  kAudioUnitParameterUnit_MIDI2Controller = 27
};

/* Parameter flags. */
typedef CF_OPTIONS(UInt32, AudioUnitParameterOptions) {
  kAudioUnitParameterFlag_CFNameRelease = (1UL << 4),
  kAudioUnitParameterFlag_OmitFromPresets = (1UL << 13),
  kAudioUnitParameterFlag_PlotHistory = (1UL << 14),
  kAudioUnitParameterFlag_MeterReadOnly = (1UL << 15),
  kAudioUnitParameterFlag_DisplayMask = (7UL << 16) | (1UL << 22),
  kAudioUnitParameterFlag_DisplaySquareRoot = (1UL << 16),
  kAudioUnitParameterFlag_DisplaySquared = (2UL << 16),
  kAudioUnitParameterFlag_DisplayCubed = (3UL << 16),
  kAudioUnitParameterFlag_DisplayCubeRoot = (4UL << 16),
  kAudioUnitParameterFlag_DisplayExponential = (5UL << 16),
  kAudioUnitParameterFlag_HasClump = (1UL << 20),
  kAudioUnitParameterFlag_ValuesHaveStrings = (1UL << 21),
  kAudioUnitParameterFlag_DisplayLogarithmic = (1UL << 22),
  kAudioUnitParameterFlag_IsHighResolution = (1UL << 23),
  kAudioUnitParameterFlag_NonRealTime = (1UL << 24),
  kAudioUnitParameterFlag_CanRamp = (1UL << 25),
  kAudioUnitParameterFlag_ExpertMode = (1UL << 26),
  kAudioUnitParameterFlag_HasCFNameString = (1UL << 27),
  kAudioUnitParameterFlag_IsGlobalMeta = (1UL << 28),
  kAudioUnitParameterFlag_IsElementMeta = (1UL << 29),
  kAudioUnitParameterFlag_IsReadable = (1UL << 30),
  kAudioUnitParameterFlag_IsWritable = (1UL << 31)
};

/* kAudioUnitProperty_ParameterInfo: 104 bytes. */
struct AudioUnitParameterInfo {
  char name[52];
  CFStringRef unitName;
  UInt32 clumpID;
  CFStringRef cfNameString;
  AudioUnitParameterUnit unit;
  AudioUnitParameterValue minValue;
  AudioUnitParameterValue maxValue;
  AudioUnitParameterValue defaultValue;
  AudioUnitParameterOptions flags;
};
typedef struct AudioUnitParameterInfo AudioUnitParameterInfo;

enum { kAudioUnitClumpID_System = 0 };
enum { kAudioUnitParameterName_Full = -1 };

/* kAudioUnitProperty_ParameterIDName and kAudioUnitProperty_ParameterClumpName: 16 bytes. */
struct AudioUnitParameterNameInfo {
  AudioUnitParameterID inID;
  SInt32 inDesiredLength;
  CFStringRef outName;
};
typedef struct AudioUnitParameterNameInfo AudioUnitParameterNameInfo;
typedef struct AudioUnitParameterNameInfo AudioUnitParameterIDName;

/* kAudioUnitProperty_ParameterHistoryInfo. */
struct AudioUnitParameterHistoryInfo {
  Float32 updatesPerSecond;
  Float32 historyDurationInSeconds;
};
typedef struct AudioUnitParameterHistoryInfo AudioUnitParameterHistoryInfo;

/* kAudioUnitProperty_InputSamplesInOutput. */
struct AUInputSamplesInOutputCallbackStruct {
  AUInputSamplesInOutputCallback inputToOutputCallback;
  void* userData;
};
typedef struct AUInputSamplesInOutputCallbackStruct AUInputSamplesInOutputCallbackStruct;

/* kAudioUnitProperty_DependentParameters. */
struct AUDependentParameter {
  AudioUnitScope mScope;
  AudioUnitParameterID mParameterID;
};
typedef struct AUDependentParameter AUDependentParameter;

/* kAudioUnitProperty_ClassInfo dictionary keys. */
#define kAUPresetVersionKey "version"
#define kAUPresetTypeKey "type"
#define kAUPresetSubtypeKey "subtype"
#define kAUPresetManufacturerKey "manufacturer"
#define kAUPresetDataKey "data"
#define kAUPresetNameKey "name"
#define kAUPresetRenderQualityKey "render-quality"
#define kAUPresetCPULoadKey "cpu-load"
#define kAUPresetElementNameKey "element-name"
#define kAUPresetExternalFileRefs "file-references"
#define kAUPresetVSTDataKey "vstdata"
#define kAUPresetVSTPresetKey "vstpreset"
#define kAUPresetMASDataKey "masdata"
#define kAUPresetPartKey "part"

#ifdef __cplusplus
}
#endif

#endif
