// Scopes and their elements: parameter storage for every element, and the
// stream format, channel layout and buffers of input and output elements.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>

#include <memory>
#include <utility>
#include <vector>

#include "ausdk/AUBuffer.h"
#include "ausdk/AUUtility.h"

namespace ausdk {

class AUBase;
class AUIOElement;

class AUElement {
 public:
  explicit AUElement(AUBase& audioUnit) : mAudioUnit(audioUnit) {}
  AUElement(const AUElement&) = delete;
  AUElement(AUElement&&) = delete;
  AUElement& operator=(const AUElement&) = delete;
  AUElement& operator=(AUElement&&) = delete;
  virtual ~AUElement() = default;

  virtual UInt32 GetNumberOfParameters();
  // Ids in storage order: ascending for the map form, 0 upward for the indexed form.
  virtual void GetParameterList(AudioUnitParameterID* outList);
  [[nodiscard]] bool HasParameterID(AudioUnitParameterID paramID) const;

  // [any thread] -10878 for an id the element does not hold.
  OSStatus GetParameter(AudioUnitParameterID paramID, AudioUnitParameterValue& outValue) const;
  // [any thread] for a held id. An unknown id is added before initialization
  // and refused (with a warning) after it unless `okWhenInitialized`.
  OSStatus SetParameter(AudioUnitParameterID paramID, AudioUnitParameterValue value, bool okWhenInitialized = false);

  // [render thread] Applies one scheduled event to this render slice; an id the
  // element does not hold is refused, never added.
  virtual void SetScheduledEvent(AudioUnitParameterID paramID, const AudioUnitParameterEvent& inEvent,
                                 UInt32 inSliceOffsetInBuffer, UInt32 inSliceDurationFrames);

  // Switches to the indexed form with `count` parameters, ids 0 to count-1.
  virtual void UseIndexedParameters(UInt32 count);
  [[nodiscard]] bool UsesIndexedParameters() const { return mUseIndexedParameters; }

  virtual AUIOElement* AsIOElement() { return nullptr; }

  // Appends this element's section of the saved-state blob.
  virtual void SaveState(AudioUnitScope scope, CFMutableDataRef data);
  // Reads this element's entries from `state` (never past `end`); returns where they end.
  virtual const UInt8* RestoreState(const UInt8* state, const UInt8* end);

  [[nodiscard]] CFStringRef GetName() const { return mElementName.get(); }
  void SetName(CFStringRef name) { mElementName = Owned<CFStringRef>::FromGet(name); }
  [[nodiscard]] bool HasName() const { return static_cast<bool>(mElementName); }

  [[nodiscard]] AUBase& GetAudioUnit() const { return mAudioUnit; }

 private:
  using ParameterMap = std::vector<std::pair<AudioUnitParameterID, AtomicValue<float>>>;

  AUBase& mAudioUnit;
  ParameterMap mParameters;
  std::vector<AtomicValue<float>> mIndexedParameters;
  bool mUseIndexedParameters = false;
  Owned<CFStringRef> mElementName;
};

// An input or output bus.
class AUIOElement : public AUElement {
 public:
  explicit AUIOElement(AUBase& audioUnit);
  AUIOElement(AUBase& audioUnit, const AudioStreamBasicDescription& format);

  [[nodiscard]] const AudioStreamBasicDescription& GetStreamFormat() const noexcept { return mStreamFormat; }
  // Stores the format and drops a channel layout whose channel count no longer fits.
  virtual OSStatus SetStreamFormat(const AudioStreamBasicDescription& format);

  // Memory for `frames` (0: the unit's maximum) in the current format, if this
  // element allocates and needs it; only once the unit has begun initializing.
  virtual void AllocateBuffer(UInt32 frames = 0);
  void DeallocateBuffer() { mIOBuffer.Deallocate(); }
  [[nodiscard]] virtual bool NeedsBufferSpace() const = 0;

  void SetWillAllocateBuffer(bool willAllocate) { mWillAllocate = willAllocate; }
  [[nodiscard]] bool WillAllocateBuffer() const { return mWillAllocate; }

  [[nodiscard]] AUBufferList& IOBuffer() { return mIOBuffer; }
  // [render thread]
  OSStatus PrepareBufferOrError(UInt32 frames, AudioBufferList*& outList) {
    return mIOBuffer.PrepareBufferOrError(mStreamFormat, frames, outList);
  }
  AudioBufferList& PrepareBuffer(UInt32 frames) {
    return mWillAllocate ? mIOBuffer.PrepareBuffer(mStreamFormat, frames)
                         : mIOBuffer.PrepareNullBuffer(mStreamFormat, frames);
  }
  [[nodiscard]] AudioBufferList* GetBufferList() const { return mIOBuffer.GetBufferList(); }
  // Sample pointer of one channel stream of the prepared list; null when out of range.
  [[nodiscard]] float* GetChannelData(UInt32 stream) const;

  virtual std::vector<AudioChannelLayoutTag> GetChannelLayoutTags() { return {}; }
  // Size in bytes of the stored layout (0 when none); copies it when `outLayout` is given.
  virtual UInt32 GetAudioChannelLayout(AudioChannelLayout* outLayout, bool& outWritable);
  virtual OSStatus SetAudioChannelLayout(const AudioChannelLayout& layout);
  virtual OSStatus RemoveAudioChannelLayout();
  // Channels a layout describes; 0 means no layout.
  static UInt32 ChannelLayoutChannelCount(const AudioChannelLayout& layout);
  static UInt32 ChannelLayoutSize(const AudioChannelLayout& layout);

  AUIOElement* AsIOElement() override { return this; }

 private:
  AudioStreamBasicDescription mStreamFormat{};
  bool mWillAllocate = true;
  AUBufferList mIOBuffer;
  std::vector<std::byte> mChannelLayout;  // empty when no layout is set
};

// Answers element questions for a scope in place of its own array.
class AUScopeDelegate {
 public:
  AUScopeDelegate() = default;
  AUScopeDelegate(const AUScopeDelegate&) = delete;
  AUScopeDelegate& operator=(const AUScopeDelegate&) = delete;
  virtual ~AUScopeDelegate() = default;

  virtual void SetNumberOfElements(UInt32 numElements) = 0;
  virtual UInt32 GetNumberOfElements() = 0;
  virtual AUElement* GetElement(UInt32 elementIndex) = 0;
};

class AUScope {
 public:
  AUScope() = default;
  AUScope(const AUScope&) = delete;
  AUScope& operator=(const AUScope&) = delete;
  ~AUScope() = default;

  void Initialize(AUBase* creator, AudioUnitScope scope, UInt32 numElements);

  [[nodiscard]] AudioUnitScope GetScope() const noexcept { return mScope; }
  // Inline, as GetElement: the render path asks on every block.
  [[nodiscard]] UInt32 GetNumberOfElements() const {
    return mDelegate != nullptr ? mDelegate->GetNumberOfElements() : static_cast<UInt32>(mElements.size());
  }
  // Shrinking drops elements from the end; growing asks the unit to create each new one.
  void SetNumberOfElements(UInt32 numElements);

  // Null when the element does not exist.
  [[nodiscard]] AUElement* GetElement(UInt32 elementIndex) const {
    if (mDelegate != nullptr) {
      return mDelegate->GetElement(elementIndex);
    }
    return elementIndex < mElements.size() ? mElements[elementIndex].get() : nullptr;
  }
  // Throws kAudioUnitErr_InvalidElement when it does not exist.
  [[nodiscard]] AUElement* SafeGetElement(UInt32 elementIndex) const;
  // Throws kAudioUnitErr_InvalidElement when it does not exist or is no bus.
  [[nodiscard]] AUIOElement* GetIOElement(UInt32 elementIndex) const;

  [[nodiscard]] bool HasElementWithName() const;
  // Adds "<element>": name for every named element.
  void AddElementNamesToDict(CFMutableDictionaryRef nameDict) const;
  // Sets the names found in `nameDict`; returns the elements whose name was set.
  std::vector<AudioUnitElement> RestoreElementNames(CFDictionaryRef nameDict) const;

  void SaveState(CFMutableDataRef data) const;

  void SetDelegate(AUScopeDelegate* delegate) { mDelegate = delegate; }

 private:
  AUBase* mCreator = nullptr;
  AudioUnitScope mScope = 0;
  std::vector<std::unique_ptr<AUElement>> mElements;
  AUScopeDelegate* mDelegate = nullptr;
};

}  // namespace ausdk
