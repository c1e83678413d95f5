// The format the host gives units on both sides: 32-bit float, one buffer per channel.
#pragma once

#include <AudioToolbox/AudioUnit.h>

namespace host {

inline AudioStreamBasicDescription FloatFormat(double sampleRate, UInt32 channels) {
  AudioStreamBasicDescription format{};
  format.mSampleRate = sampleRate;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags =
      static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked) | kAudioFormatFlagIsNonInterleaved;
  format.mBytesPerPacket = sizeof(float);
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = sizeof(float);
  format.mChannelsPerFrame = channels;
  format.mBitsPerChannel = 32;
  return format;
}

}  // namespace host
