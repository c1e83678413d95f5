// Stream formats that the tests use: what hosts hand Audio Units.
#pragma once

#include <CoreAudioTypes/CoreAudioTypes.h>

namespace testsupport {

// 32-bit float, non-interleaved, `channels` channels.
inline AudioStreamBasicDescription FloatFormat(Float64 sampleRate, UInt32 channels) {
  AudioStreamBasicDescription format{};
  format.mSampleRate = sampleRate;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags =
      static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked) | kAudioFormatFlagIsNonInterleaved;
  format.mBytesPerPacket = 4;
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = 4;
  format.mChannelsPerFrame = channels;
  format.mBitsPerChannel = 32;
  return format;
}

}  // namespace testsupport
