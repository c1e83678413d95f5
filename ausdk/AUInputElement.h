// An input bus: fed by a render callback or by a connection to another unit.
#pragma once

#include "ausdk/AUScopeElement.h"

namespace ausdk {

class AUInputElement : public AUIOElement {
 public:
  enum class EInputType : uint8_t { NoInput = 0, FromConnection = 1, FromCallback = 2 };

  using AUIOElement::AUIOElement;

  // A null source disconnects.
  void SetConnection(const AudioUnitConnection& connection);
  // A null procedure disconnects and frees the buffer.
  void SetInputCallback(AURenderCallback proc, void* refCon);

  [[nodiscard]] EInputType InputType() const { return mInputType; }
  [[nodiscard]] bool IsActive() const { return mInputType != EInputType::NoInput; }
  [[nodiscard]] bool IsCallback() const { return mInputType == EInputType::FromCallback; }
  [[nodiscard]] bool HasConnection() const { return mInputType == EInputType::FromConnection; }
  [[nodiscard]] const AudioUnitConnection& GetConnection() const { return mConnection; }

  // [render thread] Fills this element's buffer list from its source.
  OSStatus PullInput(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                     AudioUnitElement inElement, UInt32 inNumberFrames);
  // [render thread] Has the source fill `list`, memory of the caller's, without
  // the element's own buffer: the source may also point the list at memory of
  // its own. Inline: a pull a block.
  OSStatus PullInputInto(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                         AudioUnitElement inElement, UInt32 inNumberFrames, AudioBufferList& list) {
    if (IsCallback()) {
      return mInputProc(mInputProcRefCon, &ioActionFlags, &inTimeStamp, inElement, inNumberFrames, &list);
    }
    if (HasConnection()) {
      return AudioUnitRender(mConnection.sourceAudioUnit, &ioActionFlags, &inTimeStamp, mConnection.sourceOutputNumber,
                             inNumberFrames, &list);
    }
    return kAudioUnitErr_NoConnection;
  }

  OSStatus SetStreamFormat(const AudioStreamBasicDescription& format) override;
  [[nodiscard]] bool NeedsBufferSpace() const override { return IsCallback(); }

 private:
  EInputType mInputType = EInputType::NoInput;
  AudioUnitConnection mConnection{};
  AURenderCallback mInputProc = nullptr;
  void* mInputProcRefCon = nullptr;
};

}  // namespace ausdk
