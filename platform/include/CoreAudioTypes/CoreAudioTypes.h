/* Core Audio data types: statuses, stream formats, buffers, time stamps and
   channel layouts, with the platform's 64-bit layouts and constant values. */
#ifndef VENEER_PLATFORM_COREAUDIOTYPES_H
#define VENEER_PLATFORM_COREAUDIOTYPES_H

#include <CoreFoundation/CFBase.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* General audio statuses. */
/* clang-format off */
CF_ENUM(OSStatus) {
  kAudio_UnimplementedError = -4,
  kAudio_FileNotFoundError = -43,
  kAudio_FilePermissionError = -54,
  kAudio_TooManyFilesOpenError = -42,
  kAudio_BadFilePathError = 0x21707468, /* '!pth' */
  kAudio_ParamError = -50,
  kAudio_MemFullError = -108
};
/* clang-format on */

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;

/* A stream's format: 40 bytes. */
struct AudioStreamBasicDescription {
  Float64 mSampleRate;
  AudioFormatID mFormatID;
  AudioFormatFlags mFormatFlags;
  UInt32 mBytesPerPacket;
  UInt32 mFramesPerPacket;
  UInt32 mBytesPerFrame;
  UInt32 mChannelsPerFrame;
  UInt32 mBitsPerChannel;
  UInt32 mReserved;
};
typedef struct AudioStreamBasicDescription AudioStreamBasicDescription;

static const Float64 kAudioStreamAnyRate = 0.0;

/* clang-format off */
CF_ENUM(AudioFormatID) {
  kAudioFormatLinearPCM = 0x6C70636D,     /* 'lpcm' */
  kAudioFormatAC3 = 0x61632D33,           /* 'ac-3' */
  kAudioFormatAppleLossless = 0x616C6163, /* 'alac' */
  kAudioFormatMPEG4AAC = 0x61616320,      /* 'aac ' */
  kAudioFormatMIDIStream = 0x6D696469,    /* 'midi' */
  kAudioFormatFLAC = 0x666C6163           /* 'flac' */
};

CF_ENUM(AudioFormatFlags) {
  kAudioFormatFlagIsFloat = (1U << 0),
  kAudioFormatFlagIsBigEndian = (1U << 1),
  kAudioFormatFlagIsSignedInteger = (1U << 2),
  kAudioFormatFlagIsPacked = (1U << 3),
  kAudioFormatFlagIsAlignedHigh = (1U << 4),
  kAudioFormatFlagIsNonInterleaved = (1U << 5),
  kAudioFormatFlagIsNonMixable = (1U << 6),
  kAudioFormatFlagsAreAllClear = 0x80000000U,

  kLinearPCMFormatFlagIsFloat = kAudioFormatFlagIsFloat,
  kLinearPCMFormatFlagIsBigEndian = kAudioFormatFlagIsBigEndian,
  kLinearPCMFormatFlagIsSignedInteger = kAudioFormatFlagIsSignedInteger,
  kLinearPCMFormatFlagIsPacked = kAudioFormatFlagIsPacked,
  kLinearPCMFormatFlagIsAlignedHigh = kAudioFormatFlagIsAlignedHigh,
  kLinearPCMFormatFlagIsNonInterleaved = kAudioFormatFlagIsNonInterleaved,
  kLinearPCMFormatFlagIsNonMixable = kAudioFormatFlagIsNonMixable,
  kLinearPCMFormatFlagsSampleFractionShift = 7,
  kLinearPCMFormatFlagsSampleFractionMask = (0x3FU << kLinearPCMFormatFlagsSampleFractionShift),
  kLinearPCMFormatFlagsAreAllClear = kAudioFormatFlagsAreAllClear
};

/* The flag bits' native-endian combinations: an enum of their own, as on the platform. */
CF_ENUM(AudioFormatFlags) {
  /* Every target of this project is little-endian. */
  kAudioFormatFlagsNativeEndian = 0,
  kAudioFormatFlagsNativeFloatPacked =
      kAudioFormatFlagIsFloat | kAudioFormatFlagsNativeEndian | kAudioFormatFlagIsPacked
};
/* clang-format on */

/* One buffer of audio: 16 bytes. */
struct AudioBuffer {
  UInt32 mNumberChannels;
  UInt32 mDataByteSize;
  void* mData;
};
typedef struct AudioBuffer AudioBuffer;

/* A variable-length list of buffers; mBuffers has mNumberBuffers entries. */
struct AudioBufferList {
  UInt32 mNumberBuffers;
  AudioBuffer mBuffers[1];
};
typedef struct AudioBufferList AudioBufferList;

/* Where one packet of a variable-rate stream lies: 16 bytes. */
struct AudioStreamPacketDescription {
  SInt64 mStartOffset;
  UInt32 mVariableFramesInPacket;
  UInt32 mDataByteSize;
};
typedef struct AudioStreamPacketDescription AudioStreamPacketDescription;

typedef Float32 AudioSampleType;
typedef Float32 AudioUnitSampleType;

/* SMPTE time: 24 bytes. */
typedef CF_ENUM(UInt32, SMPTETimeType) {
  kSMPTETimeType24 = 0,
  kSMPTETimeType25 = 1,
  kSMPTETimeType30Drop = 2,
  kSMPTETimeType30 = 3,
  kSMPTETimeType2997 = 4,
  kSMPTETimeType2997Drop = 5,
  kSMPTETimeType60 = 6,
  kSMPTETimeType5994 = 7,
  kSMPTETimeType60Drop = 8,
  kSMPTETimeType5994Drop = 9,
  kSMPTETimeType50 = 10,
  kSMPTETimeType2398 = 11
};

typedef CF_OPTIONS(UInt32, SMPTETimeFlags) {
  kSMPTETimeUnknown = 0,
  kSMPTETimeValid = (1U << 0),
  kSMPTETimeRunning = (1U << 1)
};

struct SMPTETime {
  SInt16 mSubframes;
  SInt16 mSubframeDivisor;
  UInt32 mCounter;
  SMPTETimeType mType;
  SMPTETimeFlags mFlags;
  SInt16 mHours;
  SInt16 mMinutes;
  SInt16 mSeconds;
  SInt16 mFrames;
};
typedef struct SMPTETime SMPTETime;

typedef CF_OPTIONS(UInt32, AudioTimeStampFlags) {
  kAudioTimeStampNothingValid = 0,
  kAudioTimeStampSampleTimeValid = (1U << 0),
  kAudioTimeStampHostTimeValid = (1U << 1),
  kAudioTimeStampRateScalarValid = (1U << 2),
  kAudioTimeStampWordClockTimeValid = (1U << 3),
  kAudioTimeStampSMPTETimeValid = (1U << 4),
  kAudioTimeStampSampleHostTimeValid = (kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid)
};

/* A moment on several time lines: 64 bytes. */
struct AudioTimeStamp {
  Float64 mSampleTime;
  UInt64 mHostTime;
  Float64 mRateScalar;
  UInt64 mWordClockTime;
  SMPTETime mSMPTETime;
  AudioTimeStampFlags mFlags;
  UInt32 mReserved;
};
typedef struct AudioTimeStamp AudioTimeStamp;

/* Channel layouts. */
typedef UInt32 AudioChannelLabel;
typedef UInt32 AudioChannelLayoutTag;

/* clang-format off */
CF_ENUM(AudioChannelLabel) {
  kAudioChannelLabel_Unknown = 0xFFFFFFFF,
  kAudioChannelLabel_Unused = 0,
  kAudioChannelLabel_UseCoordinates = 100,
  kAudioChannelLabel_Left = 1,
  kAudioChannelLabel_Right = 2,
  kAudioChannelLabel_Center = 3,
  kAudioChannelLabel_LFEScreen = 4,
  kAudioChannelLabel_LeftSurround = 5,
  kAudioChannelLabel_RightSurround = 6,
  kAudioChannelLabel_LeftCenter = 7,
  kAudioChannelLabel_RightCenter = 8,
  kAudioChannelLabel_CenterSurround = 9,
  kAudioChannelLabel_LeftSurroundDirect = 10,
  kAudioChannelLabel_RightSurroundDirect = 11,
  kAudioChannelLabel_TopCenterSurround = 12,
  kAudioChannelLabel_Mono = 42,
  kAudioChannelLabel_Discrete = 400,
  kAudioChannelLabel_Discrete_0 = (1U << 16) | 0,
  kAudioChannelLabel_Discrete_1 = (1U << 16) | 1
};
/* clang-format on */

typedef CF_OPTIONS(UInt32, AudioChannelBitmap) {
  kAudioChannelBit_Left = (1U << 0),
  kAudioChannelBit_Right = (1U << 1),
  kAudioChannelBit_Center = (1U << 2),
  kAudioChannelBit_LFEScreen = (1U << 3),
  kAudioChannelBit_LeftSurround = (1U << 4),
  kAudioChannelBit_RightSurround = (1U << 5),
  kAudioChannelBit_LeftCenter = (1U << 6),
  kAudioChannelBit_RightCenter = (1U << 7),
  kAudioChannelBit_CenterSurround = (1U << 8),
  kAudioChannelBit_LeftSurroundDirect = (1U << 9),
  kAudioChannelBit_RightSurroundDirect = (1U << 10),
  kAudioChannelBit_TopCenterSurround = (1U << 11)
};

typedef CF_OPTIONS(UInt32, AudioChannelFlags) {
  kAudioChannelFlags_AllOff = 0,
  kAudioChannelFlags_RectangularCoordinates = (1U << 0),
  kAudioChannelFlags_SphericalCoordinates = (1U << 1),
  kAudioChannelFlags_Meters = (1U << 2)
};

/* One channel of a layout: 20 bytes. */
struct AudioChannelDescription {
  AudioChannelLabel mChannelLabel;
  AudioChannelFlags mChannelFlags;
  Float32 mCoordinates[3];
};
typedef struct AudioChannelDescription AudioChannelDescription;

/* A layout: a 12-byte header followed by mNumberChannelDescriptions descriptions. */
struct AudioChannelLayout {
  AudioChannelLayoutTag mChannelLayoutTag;
  AudioChannelBitmap mChannelBitmap;
  UInt32 mNumberChannelDescriptions;
  AudioChannelDescription mChannelDescriptions[1];
};
typedef struct AudioChannelLayout AudioChannelLayout;

/* A tag's low 16 bits are its channel count. */
CF_INLINE UInt32 AudioChannelLayoutTag_GetNumberOfChannels(AudioChannelLayoutTag inLayoutTag) {
  return (UInt32)(inLayoutTag & 0x0000FFFF);
}

/* clang-format off */
CF_ENUM(AudioChannelLayoutTag) {
  kAudioChannelLayoutTag_UseChannelDescriptions = (0U << 16) | 0,
  kAudioChannelLayoutTag_UseChannelBitmap = (1U << 16) | 0,
  kAudioChannelLayoutTag_Mono = (100U << 16) | 1,
  kAudioChannelLayoutTag_Stereo = (101U << 16) | 2,
  kAudioChannelLayoutTag_StereoHeadphones = (102U << 16) | 2,
  kAudioChannelLayoutTag_MatrixStereo = (103U << 16) | 2,
  kAudioChannelLayoutTag_MidSide = (104U << 16) | 2,
  kAudioChannelLayoutTag_XY = (105U << 16) | 2,
  kAudioChannelLayoutTag_Binaural = (106U << 16) | 2,
  kAudioChannelLayoutTag_Ambisonic_B_Format = (107U << 16) | 4,
  kAudioChannelLayoutTag_Quadraphonic = (108U << 16) | 4,
  kAudioChannelLayoutTag_Pentagonal = (109U << 16) | 5,
  kAudioChannelLayoutTag_Hexagonal = (110U << 16) | 6,
  kAudioChannelLayoutTag_Octagonal = (111U << 16) | 8,
  kAudioChannelLayoutTag_Cube = (112U << 16) | 8,
  kAudioChannelLayoutTag_MPEG_1_0 = kAudioChannelLayoutTag_Mono,
  kAudioChannelLayoutTag_MPEG_2_0 = kAudioChannelLayoutTag_Stereo,
  kAudioChannelLayoutTag_MPEG_3_0_A = (113U << 16) | 3,
  kAudioChannelLayoutTag_MPEG_3_0_B = (114U << 16) | 3,
  kAudioChannelLayoutTag_MPEG_4_0_A = (115U << 16) | 4,
  kAudioChannelLayoutTag_MPEG_4_0_B = (116U << 16) | 4,
  kAudioChannelLayoutTag_MPEG_5_0_A = (117U << 16) | 5,
  kAudioChannelLayoutTag_MPEG_5_0_B = (118U << 16) | 5,
  kAudioChannelLayoutTag_MPEG_5_0_C = (119U << 16) | 5,
  kAudioChannelLayoutTag_MPEG_5_0_D = (120U << 16) | 5,
  kAudioChannelLayoutTag_MPEG_5_1_A = (121U << 16) | 6,
  kAudioChannelLayoutTag_MPEG_5_1_B = (122U << 16) | 6,
  kAudioChannelLayoutTag_MPEG_5_1_C = (123U << 16) | 6,
  kAudioChannelLayoutTag_MPEG_5_1_D = (124U << 16) | 6,
  kAudioChannelLayoutTag_MPEG_6_1_A = (125U << 16) | 7,
  kAudioChannelLayoutTag_MPEG_7_1_A = (126U << 16) | 8,
  kAudioChannelLayoutTag_MPEG_7_1_B = (127U << 16) | 8,
  kAudioChannelLayoutTag_MPEG_7_1_C = (128U << 16) | 8,
  kAudioChannelLayoutTag_Emagic_Default_7_1 = (129U << 16) | 8,
  kAudioChannelLayoutTag_SMPTE_DTV = (130U << 16) | 8,
  kAudioChannelLayoutTag_ITU_1_0 = kAudioChannelLayoutTag_Mono,
  kAudioChannelLayoutTag_ITU_2_0 = kAudioChannelLayoutTag_Stereo,
  kAudioChannelLayoutTag_ITU_2_1 = (131U << 16) | 3,
  kAudioChannelLayoutTag_ITU_2_2 = (132U << 16) | 4,
  kAudioChannelLayoutTag_DiscreteInOrder = (147U << 16) | 0,
  kAudioChannelLayoutTag_Unknown = 0xFFFF0000U
};
/* clang-format on */

#ifdef __cplusplus
}
#endif

#endif
