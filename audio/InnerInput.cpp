// The inner unit's input: it pulls from the buffers the shell filled this cycle.
#include <algorithm>
#include <cstring>

#include "shell/Veneer.h"

namespace veneer {

OSStatus Veneer::InnerInputProc(void* inRefCon, AudioUnitRenderActionFlags* /*ioActionFlags*/,
                                const AudioTimeStamp* /*inTimeStamp*/, UInt32 /*inBusNumber*/, UInt32 inNumberFrames,
                                AudioBufferList* ioData) {
  auto* self = static_cast<Veneer*>(inRefCon);
  const AudioBufferList* source = self->inputBuffers_;
  if (ioData == nullptr || source == nullptr) {
    return noErr;
  }
  const UInt32 bytes = inNumberFrames * sizeof(float);
  const UInt32 buffers = std::min(ioData->mNumberBuffers, source->mNumberBuffers);
  for (UInt32 i = 0; i < buffers; ++i) {
    AudioBuffer& destination = ioData->mBuffers[i];
    // A destination without memory is skipped, never pointed at the shell's blocks.
    if (destination.mData == nullptr || source->mBuffers[i].mData == nullptr) {
      continue;
    }
    std::memcpy(destination.mData, source->mBuffers[i].mData, std::min(bytes, destination.mDataByteSize));
    destination.mDataByteSize = bytes;
  }
  return noErr;
}

}  // namespace veneer
