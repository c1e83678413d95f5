/* Compiled as C: the umbrella headers must be valid C, with the platform's
   layouts, exactly as a C host on the platform would include them. */
#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreMIDI/CoreMIDI.h>
#include <dispatch/dispatch.h>
#include <mach/mach_time.h>
#include <os/log.h>
#include <stddef.h>

_Static_assert(sizeof(AudioStreamBasicDescription) == 40, "ASBD");
_Static_assert(sizeof(AudioBuffer) == 16, "AudioBuffer");
_Static_assert(offsetof(AudioBufferList, mBuffers) == 8, "AudioBufferList");
_Static_assert(sizeof(SMPTETime) == 24, "SMPTETime");
_Static_assert(sizeof(AudioTimeStamp) == 64, "AudioTimeStamp");
_Static_assert(offsetof(AudioTimeStamp, mSMPTETime) == 32, "AudioTimeStamp.mSMPTETime");
_Static_assert(sizeof(AudioChannelDescription) == 20, "AudioChannelDescription");
_Static_assert(offsetof(AudioChannelLayout, mChannelDescriptions) == 12, "AudioChannelLayout");
_Static_assert(sizeof(AudioComponentDescription) == 20, "AudioComponentDescription");
_Static_assert(sizeof(AudioComponentPlugInInterface) == 32, "AudioComponentPlugInInterface");
_Static_assert(sizeof(AudioUnitParameterInfo) == 104, "AudioUnitParameterInfo");
_Static_assert(offsetof(AudioUnitParameterInfo, unitName) == 56, "AudioUnitParameterInfo.unitName");
_Static_assert(offsetof(AudioUnitParameterInfo, cfNameString) == 72, "AudioUnitParameterInfo.cfNameString");
_Static_assert(offsetof(AudioUnitParameterInfo, flags) == 96, "AudioUnitParameterInfo.flags");
_Static_assert(sizeof(AudioUnitParameterEvent) == 32, "AudioUnitParameterEvent");
_Static_assert(sizeof(AURenderCallbackStruct) == 16, "AURenderCallbackStruct");
_Static_assert(sizeof(AudioUnitConnection) == 16, "AudioUnitConnection");
_Static_assert(sizeof(AUChannelInfo) == 4, "AUChannelInfo");
_Static_assert(sizeof(AudioUnitCocoaViewInfo) == 16, "AudioUnitCocoaViewInfo");
_Static_assert(sizeof(AUPreset) == 16, "AUPreset");
_Static_assert(sizeof(HostCallbackInfo) == 40, "HostCallbackInfo");
_Static_assert(sizeof(AudioUnitProperty) == 24, "AudioUnitProperty");
_Static_assert(sizeof(AudioUnitParameterNameInfo) == 16, "AudioUnitParameterNameInfo");
_Static_assert(sizeof(MIDIEventPacket) == 268, "MIDIEventPacket");
_Static_assert(offsetof(MIDIEventList, packet) == 8, "MIDIEventList");

/* In C the enumerations are their integer types and every queue kind is
   dispatch_queue_t, as on the platform; the 64-bit types are long long. */
#define VENEER_IS(expr, type) _Generic((expr), type : 1, default : 0)
_Static_assert(VENEER_IS((CFNumberType)0, CFIndex), "CFNumberType");
_Static_assert(VENEER_IS((AudioUnitParameterUnit)0, UInt32), "AudioUnitParameterUnit");
_Static_assert(VENEER_IS((MIDIProtocolID)0, SInt32), "MIDIProtocolID");
_Static_assert(VENEER_IS((os_log_type_t)0, uint8_t), "os_log_type_t");
_Static_assert(VENEER_IS((dispatch_queue_main_t)0, dispatch_queue_t), "dispatch_queue_main_t");
_Static_assert(VENEER_IS((SInt64)0, long long), "SInt64");
_Static_assert(VENEER_IS((UInt64)0, unsigned long long), "UInt64");
_Static_assert(VENEER_IS((dispatch_time_t)0, unsigned long long), "dispatch_time_t");
_Static_assert(VENEER_IS(mach_absolute_time(), unsigned long long), "mach_absolute_time");

/* Constants as a C translation unit sees them, for the C++ side to compare. */
long VeneerCProbeConstants(int which) {
  switch (which) {
    case 0:
      return kAudioUnitErr_InvalidParameterValue;
    case 1:
      return kAudioUnitProperty_LastRenderSampleTime;
    case 2:
      return kMusicDeviceMIDIEventListSelect;
    case 3:
      return (long)kAudioUnitType_Effect;
    case 4:
      return (long)kAudioChannelLayoutTag_Stereo;
    case 5:
      return (long)kAudioFormatFlagsNativeFloatPacked;
    case 6:
      return (long)AudioChannelLayoutTag_GetNumberOfChannels(kAudioChannelLayoutTag_MPEG_5_1_A);

    default:
      return -1;
  }
}

/* The API is callable from C: a registry walk that finds nothing. */
int VeneerCProbeCountNothing(void) {
  AudioComponentDescription description = {kAudioUnitType_Effect, 0x3F3F3F3F, 0x3F3F3F3F, 0, 0};
  return (int)AudioComponentCount(&description);
}
