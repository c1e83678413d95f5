// The base class of an Audio Unit: scopes and elements, parameters, the
// property dispatchers and listeners, render dispatch and saved state.
// Subclasses override the virtual operations; the Do... and Dispatch...
// entry points are what the component's method functions call.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFURL.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ausdk/AUInputElement.h"
#include "ausdk/AUOutputElement.h"
#include "ausdk/AUScopeElement.h"
#include "ausdk/AUThreadSafeList.h"
#include "ausdk/AUUtility.h"
#include "ausdk/ComponentBase.h"

namespace ausdk {

// An optional lock held around the non-real-time selectors; a subclass installs one.
class AUMutex {
 public:
  AUMutex() = default;
  AUMutex(const AUMutex&) = delete;
  AUMutex& operator=(const AUMutex&) = delete;
  virtual ~AUMutex() = default;
  virtual void lock() = 0;
  virtual void unlock() = 0;
};

class AUBase : public ComponentBase {
 public:
  static constexpr UInt32 kDefaultMaxFramesPerSlice = 1156;
  static constexpr UInt32 kNumScopes = 4;
  static constexpr UInt32 kParameterEventRoom = 24;

  using ParameterEventList = std::vector<AudioUnitParameterEvent>;

  // A render notification: procedure and reference constant.
  struct RenderCallback {
    AURenderCallback mRenderNotify = nullptr;
    void* mRenderNotifyRefCon = nullptr;
    bool operator==(const RenderCallback& other) const {
      return mRenderNotify == other.mRenderNotify && mRenderNotifyRefCon == other.mRenderNotifyRefCon;
    }
  };

  AUBase(AudioComponentInstance inInstance, UInt32 numInputElements, UInt32 numOutputElements,
         UInt32 numGroupElements = 0);
  ~AUBase() override;

  AUBase(const AUBase&) = delete;
  AUBase(AUBase&&) = delete;
  AUBase& operator=(const AUBase&) = delete;
  AUBase& operator=(AUBase&&) = delete;

  void PostConstructorInternal() override;
  void PreDestructorInternal() override;

  // ---- virtual operations, in slot order ----
  // Lifecycle and property calls come on whatever thread the host uses, one at
  // a time per instance (see docs/threads.md): they are tagged [any thread].
  virtual void CreateExtendedElements() {}
  // [any thread]
  virtual OSStatus Initialize() { return noErr; }
  // [any thread]
  virtual void Cleanup() {}
  // [any thread]
  virtual OSStatus Reset(AudioUnitScope inScope, AudioUnitElement inElement);

  // [any thread]
  virtual OSStatus GetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                   UInt32& outDataSize, bool& outWritable);
  // [any thread]
  virtual OSStatus GetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                               void* outData);
  // [any thread]
  virtual OSStatus SetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                               const void* inData, UInt32 inDataSize);
  // [any thread]
  virtual OSStatus RemovePropertyValue(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement);
  // [any thread]
  virtual OSStatus AddPropertyListener(AudioUnitPropertyID inID, AudioUnitPropertyListenerProc inProc,
                                       void* inProcRefCon);
  // [any thread]
  virtual OSStatus RemovePropertyListener(AudioUnitPropertyID inID, AudioUnitPropertyListenerProc inProc,
                                          void* inProcRefCon, bool refConSpecified);
  // [any thread]
  virtual OSStatus SetRenderNotification(AURenderCallback inProc, void* inRefCon);
  // [any thread]
  virtual OSStatus RemoveRenderNotification(AURenderCallback inProc, void* inRefCon);

  // [any thread] (render thread included)
  virtual OSStatus GetParameter(AudioUnitParameterID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                AudioUnitParameterValue& outValue);
  // [any thread] (render thread included)
  virtual OSStatus SetParameter(AudioUnitParameterID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                AudioUnitParameterValue inValue, UInt32 inBufferOffsetInFrames);
  [[nodiscard]] virtual bool CanScheduleParameters() const = 0;
  // [any thread] (render thread included)
  virtual OSStatus ScheduleParameter(const AudioUnitParameterEvent* inParameterEvent, UInt32 inNumEvents);

  // [render thread]
  virtual OSStatus ProcessBufferLists(AudioUnitRenderActionFlags& ioActionFlags, const AudioBufferList& inBuffer,
                                      AudioBufferList& outBuffer, UInt32 inFramesToProcess);
  // [render thread]
  virtual OSStatus ProcessMultipleBufferLists(AudioUnitRenderActionFlags& ioActionFlags, UInt32 inFramesToProcess,
                                              UInt32 inNumberInputBufferLists,
                                              const AudioBufferList** inInputBufferLists,
                                              UInt32 inNumberOutputBufferLists, AudioBufferList** ioOutputBufferLists);
  // [render thread]
  virtual OSStatus ComplexRender(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                                 UInt32 inOutputBusNumber, UInt32 inNumberOfPackets, UInt32* outNumberOfPackets,
                                 AudioStreamPacketDescription* outPacketDescriptions, AudioBufferList& ioData,
                                 void* outMetadata, UInt32* outMetadataByteSize);
  // [render thread] Renders a bus unless this sample time was rendered already.
  virtual OSStatus RenderBus(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                             UInt32 inBusNumber, UInt32 inNumberFrames);
  // [render thread] The subclass's audio work, into the output elements' buffers.
  virtual OSStatus Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                          UInt32 inNumberFrames);

  [[nodiscard]] virtual bool BusCountWritable(AudioUnitScope /*inScope*/) { return false; }
  virtual OSStatus SetBusCount(AudioUnitScope inScope, UInt32 inCount);
  virtual OSStatus SetConnection(const AudioUnitConnection& inConnection);
  virtual OSStatus SetInputCallback(UInt32 inPropertyID, AudioUnitElement inElement, AURenderCallback inProc,
                                    void* inRefCon);

  virtual OSStatus GetParameterList(AudioUnitScope inScope, AudioUnitParameterID* outParameterList,
                                    UInt32& outNumParameters);
  virtual OSStatus GetParameterInfo(AudioUnitScope inScope, AudioUnitParameterID inParameterID,
                                    AudioUnitParameterInfo& outParameterInfo);
  virtual OSStatus GetParameterHistoryInfo(AudioUnitScope inScope, AudioUnitParameterID inParameterID,
                                           Float32& outUpdatesPerSecond, Float32& outHistoryDurationInSeconds);

  // [any thread]
  virtual OSStatus SaveState(CFPropertyListRef* outData);
  virtual void SaveExtendedScopes(CFMutableDataRef /*outData*/) {}
  // [any thread]
  virtual OSStatus RestoreState(CFPropertyListRef plist);

  virtual OSStatus GetParameterValueStrings(AudioUnitScope inScope, AudioUnitParameterID inParameterID,
                                            CFArrayRef* outStrings);
  virtual OSStatus CopyClumpName(AudioUnitScope inScope, UInt32 inClumpID, UInt32 inDesiredNameLength,
                                 CFStringRef* outClumpName);
  virtual OSStatus GetPresets(CFArrayRef* outData) const;
  virtual OSStatus NewFactoryPresetSet(const AUPreset& inNewFactoryPreset);
  virtual OSStatus NewCustomPresetSet(const AUPreset& inNewCustomPreset);
  virtual CFURLRef CopyIconLocation() { return nullptr; }

  // [any thread]
  virtual Float64 GetLatency() { return 0.0; }
  // [any thread]
  virtual Float64 GetTailTime() { return 0.0; }
  virtual bool SupportsTail() { return false; }
  virtual bool StreamFormatWritable(AudioUnitScope scope, AudioUnitElement element) = 0;
  // Stores the channel table's address in *outInfo when given; returns its entries.
  virtual UInt32 SupportedNumChannels(const AUChannelInfo** outInfo);
  virtual bool ValidFormat(AudioUnitScope inScope, AudioUnitElement inElement,
                           const AudioStreamBasicDescription& inNewFormat);
  // [any thread]
  virtual AudioStreamBasicDescription GetStreamFormat(AudioUnitScope inScope, AudioUnitElement inElement);
  // [any thread] Never while rendering: hosts change formats only when the unit is not running.
  virtual OSStatus ChangeStreamFormat(AudioUnitScope inScope, AudioUnitElement inElement,
                                      const AudioStreamBasicDescription& inPrevFormat,
                                      const AudioStreamBasicDescription& inNewFormat);
  virtual AUScope* GetScopeExtended(AudioUnitScope /*inScope*/) { return nullptr; }
  virtual std::unique_ptr<AUElement> CreateElement(AudioUnitScope scope, AudioUnitElement element);
  // [any thread]
  [[nodiscard]] virtual bool InRenderThread() const;
  // [any thread] Calls every listener of `inID`, in the order they were added, on this thread.
  virtual void PropertyChanged(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement);

  virtual OSStatus Start() { return kAudio_UnimplementedError; }
  virtual OSStatus Stop() { return kAudio_UnimplementedError; }
  // [render thread] or host thread
  virtual OSStatus MIDIEvent(UInt32 /*inStatus*/, UInt32 /*inData1*/, UInt32 /*inData2*/,
                             UInt32 /*inOffsetSampleFrame*/) {
    return kAudio_UnimplementedError;
  }
  virtual OSStatus SysEx(const UInt8* /*inData*/, UInt32 /*inLength*/) { return kAudio_UnimplementedError; }
  virtual OSStatus MIDIEventList(UInt32 /*inOffsetSampleFrame*/, const struct MIDIEventList* /*eventList*/) {
    return kAudio_UnimplementedError;
  }
  virtual OSStatus StartNote(MusicDeviceInstrumentID /*inInstrument*/, MusicDeviceGroupID /*inGroupID*/,
                             NoteInstanceID* /*outNoteInstanceID*/, UInt32 /*inOffsetSampleFrame*/,
                             const MusicDeviceNoteParams& /*inParams*/) {
    return kAudio_UnimplementedError;
  }
  virtual OSStatus StopNote(MusicDeviceGroupID /*inGroupID*/, NoteInstanceID /*inNoteInstanceID*/,
                            UInt32 /*inOffsetSampleFrame*/) {
    return kAudio_UnimplementedError;
  }

  // [any thread] These change buffers, so never while rendering.
  virtual void ReallocateBuffers();
  virtual void DeallocateIOBuffers();
  virtual void SetMaxFramesPerSlice(UInt32 nFrames);
  [[nodiscard]] virtual OSStatus CanSetMaxFrames() const;

  virtual UInt32 GetAudioChannelLayout(AudioUnitScope scope, AudioUnitElement element, AudioChannelLayout* outLayoutPtr,
                                       bool& outWritable);
  virtual OSStatus SetAudioChannelLayout(AudioUnitScope scope, AudioUnitElement element,
                                         const AudioChannelLayout* inLayout);
  virtual OSStatus RemoveAudioChannelLayout(AudioUnitScope scope, AudioUnitElement element);
  virtual std::vector<AudioChannelLayoutTag> GetChannelLayoutTags(AudioUnitScope scope, AudioUnitElement element);

  // [render thread] Splits one render at the scheduled events' offsets.
  virtual OSStatus ProcessForScheduledParams(ParameterEventList& inParamList, UInt32 inFramesToProcess,
                                             void* inUserData);
  // [render thread]
  virtual OSStatus ProcessScheduledSlice(void* /*inUserData*/, UInt32 /*inStartFrameInBuffer*/,
                                         UInt32 /*inSliceFramesToProcess*/, UInt32 /*inTotalBufferFrames*/) {
    return noErr;
  }

  // ---- entry points of the method functions ----
  // [any thread] The host's lifecycle calls, one at a time per instance.
  OSStatus DoInitialize();
  void DoCleanup();
  OSStatus DoReset(AudioUnitScope inScope, AudioUnitElement inElement);

  // [any thread] The property dispatchers: host threads, under the instance lock when one is installed.
  OSStatus DispatchGetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                   UInt32& outDataSize, bool& outWritable);
  OSStatus DispatchGetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                               void* outData);
  OSStatus DispatchSetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                               const void* inData, UInt32 inDataSize);
  OSStatus DispatchRemovePropertyValue(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement);

  // [render thread]
  OSStatus DoRender(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp, UInt32 inBusNumber,
                    UInt32 inFramesToProcess, AudioBufferList& ioData);
  // [render thread]
  OSStatus DoProcess(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                     UInt32 inFramesToProcess, AudioBufferList& ioData);
  // [render thread]
  OSStatus DoProcessMultiple(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                             UInt32 inFramesToProcess, UInt32 inNumberInputBufferLists,
                             const AudioBufferList** inInputBufferLists, UInt32 inNumberOutputBufferLists,
                             AudioBufferList** ioOutputBufferLists);

  // ---- scopes and elements ----
  void CreateElements();
  void SetNumberOfElements(AudioUnitScope inScope, UInt32 numElements);
  // Throws kAudioUnitErr_InvalidScope for a scope that does not exist.
  [[nodiscard]] AUScope& GetScope(AudioUnitScope inScope);
  // Null when the element (or an extended scope) does not exist; throws for an invalid basic scope.
  [[nodiscard]] AUElement* GetElement(AudioUnitScope inScope, AudioUnitElement inElement);
  // Throws kAudioUnitErr_InvalidElement when the element does not exist or is no bus.
  [[nodiscard]] AUIOElement* IOElement(AudioUnitScope inScope, AudioUnitElement inElement);
  [[nodiscard]] AUElement* SafeGetElement(AudioUnitScope inScope, AudioUnitElement inElement);
  [[nodiscard]] AUInputElement* Input(UInt32 inElement);
  [[nodiscard]] AUOutputElement* Output(UInt32 inElement);
  [[nodiscard]] AUElement* Globals() { return mScopes[kAudioUnitScope_Global].GetElement(0); }
  [[nodiscard]] bool IsStreamFormatWritable(AudioUnitScope scope, AudioUnitElement element);

  // ---- state ----
  // [any thread]
  [[nodiscard]] bool IsInitialized() const noexcept { return mInitialized.load(std::memory_order_acquire); }
  [[nodiscard]] bool HasBegunInitializing() const noexcept { return mHasBegunInitializing; }
  [[nodiscard]] UInt32 GetMaxFramesPerSlice() const noexcept { return mMaxFramesPerSlice; }
  [[nodiscard]] bool UsesFixedBlockSize() const noexcept { return mUsesFixedBlockSize; }
  void SetUsesFixedBlockSize(bool fixed) { mUsesFixedBlockSize = fixed; }
  [[nodiscard]] const AudioTimeStamp& CurrentRenderTime() const noexcept { return mCurrentRenderTime; }
  void ResetRenderTime();
  [[nodiscard]] OSStatus LastRenderError() const noexcept { return mLastRenderError; }
  // [any thread] The last render error, reset to 0 as it is read.
  OSStatus TakeLastRenderError() noexcept { return mLastRenderError.exchange(noErr); }
  void SetWantsRenderThreadID(bool wantsID);
  [[nodiscard]] const ParameterEventList& ParamEventList() const noexcept { return mParamEventList; }
  [[nodiscard]] const AUPreset& CurrentPreset() const noexcept { return mCurrentPreset; }
  // Makes `preset` current when its number is 0 or more and it has a name.
  bool SetAFactoryPresetAsCurrent(const AUPreset& preset);
  [[nodiscard]] const std::string& GetLoggingString() const noexcept { return mLogString; }

  void SetInstanceLock(AUMutex* mutex) { mAUMutex = mutex; }
  [[nodiscard]] AUMutex* GetMutex() const noexcept { return mAUMutex; }

  // [render thread] Pulls input bus `inBusNumber` into its element's buffer.
  OSStatus PullInput(UInt32 inBusNumber, AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                     UInt32 inNumberFrames);

  static bool IsValidFormat(const AudioStreamBasicDescription& format);

 protected:
  // [render thread] The render path's buffer hand-over around RenderBus. Inline,
  // and defined beside DoRender, its caller: built into it, as a block's fixed cost.
  inline OSStatus DoRenderBus(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                              UInt32 inBusNumber, AUOutputElement& theOutput, UInt32 inNumberFrames,
                              AudioBufferList& ioData);

 private:
  // [render thread] Render-path helpers: the error exit and the notifications.
  OSStatus RenderErrorExit(OSStatus err, AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                           UInt32 inBusNumber, UInt32 inFramesToProcess, AudioBufferList& ioData);
  void CallRenderNotifications(AudioUnitRenderActionFlags flags, const AudioTimeStamp& inTimeStamp, UInt32 inBusNumber,
                               UInt32 inFramesToProcess, AudioBufferList& ioData);
  void NoteRenderError(OSStatus err);
  // [render thread] The render call's checks in their order; `outOutput` is the
  // output element once it was found. Inline beside DoRender, as DoRenderBus.
  inline OSStatus CheckRenderCall(UInt32 inBusNumber, UInt32 inFramesToProcess, AudioBufferList& ioData,
                                  AUOutputElement*& outOutput);
  // [render thread] DoRender's steps from the hand-over on, for a unit with render notifications.
  OSStatus RenderNotifying(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                           UInt32 inBusNumber, AUOutputElement& output, UInt32 inFramesToProcess,
                           AudioBufferList& ioData);
  // [render thread] The sizes of a caller's list checked, then longer ones cut
  // down. Inline beside DoRender, which checks a list every block.
  static inline OSStatus CheckRenderBuffers(const AudioStreamBasicDescription& format, UInt32 inFramesToProcess,
                                            AudioBufferList& ioData, const char* listName);
  void CreateLoggingString();

  struct PropertyListener {
    AudioUnitPropertyID propertyID;
    AudioUnitPropertyListenerProc listenerProc;
    void* listenerRefCon;
  };

  std::array<AUScope, kNumScopes> mScopes;
  UInt32 mInitNumInputEls;
  UInt32 mInitNumOutputEls;
  UInt32 mInitNumGroupEls;
  bool mElementsCreated = false;
  std::atomic<bool> mInitialized{false};
  bool mHasBegunInitializing = false;
  bool mBuffersAllocated = false;
  UInt32 mMaxFramesPerSlice = 0;
  bool mUsesFixedBlockSize = false;

  AudioTimeStamp mCurrentRenderTime{};
  std::atomic<OSStatus> mLastRenderError{noErr};  // read and reset by hosts on other threads
  std::atomic<bool> mRenderCallbacksTouched{false};
  AUThreadSafeList<RenderCallback> mRenderCallbacks;
  bool mWantsRenderThreadID = false;
  std::atomic<std::thread::id> mRenderThreadID{};
  ParameterEventList mParamEventList;
  double mHostTimeFrequency = 0.0;
  UInt64 mLastTimeMessagePrinted = 0;

  std::vector<PropertyListener> mPropertyListeners;
  Owned<CFStringRef> mContextName;
  Owned<CFStringRef> mNickName;
  HostCallbackInfo mHostCallbackInfo{};
  AUPreset mCurrentPreset{-1, nullptr};
  AUMutex* mAUMutex = nullptr;
  std::string mLogString;
};

}  // namespace ausdk
