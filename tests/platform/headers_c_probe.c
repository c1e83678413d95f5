/* Compiled as C: the umbrella headers must be valid C, with the platform's
   layouts, exactly as a C host on the platform would include them. */
#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
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
    default:
      return -1;
  }
}

/* The API is callable from C: a registry walk that finds nothing. */
int VeneerCProbeCountNothing(void) {
  AudioComponentDescription description = {kAudioUnitType_Effect, 0x3F3F3F3F, 0x3F3F3F3F, 0, 0};
  return (int)AudioComponentCount(&description);
}
