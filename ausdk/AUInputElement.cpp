#include "ausdk/AUInputElement.h"

#include "ausdk/AUBase.h"

namespace ausdk {

void AUInputElement::SetConnection(const AudioUnitConnection& connection) {
  if (connection.sourceAudioUnit == nullptr) {
    mInputType = EInputType::NoInput;
    mConnection = {};
    return;
  }
  mInputType = EInputType::FromConnection;
  mConnection = connection;
  AllocateBuffer();
}

void AUInputElement::SetInputCallback(AURenderCallback proc, void* refCon) {
  if (proc == nullptr) {
    mInputType = EInputType::NoInput;
    mInputProc = nullptr;
    mInputProcRefCon = nullptr;
    DeallocateBuffer();
    return;
  }
  mInputType = EInputType::FromCallback;
  mInputProc = proc;
  mInputProcRefCon = refCon;
  AllocateBuffer();
}

OSStatus AUInputElement::SetStreamFormat(const AudioStreamBasicDescription& format) {
  const OSStatus result = AUIOElement::SetStreamFormat(format);
  if (result == noErr) {
    AllocateBuffer();
  }
  return result;
}

OSStatus AUInputElement::PullInput(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                                   AudioUnitElement inElement, UInt32 inNumberFrames) {
  if (!IsActive()) {
    return kAudioUnitErr_NoConnection;
  }
  AudioBufferList* list = nullptr;
  // A callback input whose element owns memory renders into it; otherwise the
  // source fills in pointers to its own buffers.
  const OSStatus prepared = (IsCallback() && WillAllocateBuffer())
                                ? IOBuffer().PrepareBufferOrError(GetStreamFormat(), inNumberFrames, list)
                                : IOBuffer().PrepareNullBufferOrError(GetStreamFormat(), inNumberFrames, list);
  if (prepared != noErr) {
    return prepared;
  }
  return PullInputInto(ioActionFlags, inTimeStamp, inElement, inNumberFrames, *list);
}

}  // namespace ausdk
