#include "ausdk/AUScopeElement.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "ausdk/AUBase.h"

namespace ausdk {

// ---- AUElement: parameter storage ----

UInt32 AUElement::GetNumberOfParameters() {
  return static_cast<UInt32>(mUseIndexedParameters ? mIndexedParameters.size() : mParameters.size());
}

void AUElement::GetParameterList(AudioUnitParameterID* outList) {
  if (mUseIndexedParameters) {
    for (UInt32 i = 0; i < mIndexedParameters.size(); ++i) {
      outList[i] = i;
    }
  } else {
    for (const auto& [id, value] : mParameters) {
      *outList++ = id;
    }
  }
}

bool AUElement::HasParameterID(AudioUnitParameterID paramID) const {
  AudioUnitParameterValue value = 0;
  return GetParameter(paramID, value) == noErr;
}

OSStatus AUElement::GetParameter(AudioUnitParameterID paramID, AudioUnitParameterValue& outValue) const {
  if (mUseIndexedParameters) {
    if (paramID >= mIndexedParameters.size()) {
      return kAudioUnitErr_InvalidParameter;
    }
    outValue = mIndexedParameters[paramID].load();
    return noErr;
  }
  const auto it = std::lower_bound(mParameters.begin(), mParameters.end(), paramID,
                                   [](const auto& entry, AudioUnitParameterID id) { return entry.first < id; });
  if (it == mParameters.end() || it->first != paramID) {
    return kAudioUnitErr_InvalidParameter;
  }
  outValue = it->second.load();
  return noErr;
}

OSStatus AUElement::SetParameter(AudioUnitParameterID paramID, AudioUnitParameterValue value, bool okWhenInitialized) {
  if (mUseIndexedParameters) {
    if (paramID >= mIndexedParameters.size()) {
      return kAudioUnitErr_InvalidParameter;
    }
    mIndexedParameters[paramID].store(value);
    return noErr;
  }
  const auto it = std::lower_bound(mParameters.begin(), mParameters.end(), paramID,
                                   [](const auto& entry, AudioUnitParameterID id) { return entry.first < id; });
  if (it != mParameters.end() && it->first == paramID) {
    it->second.store(value);
    return noErr;
  }
  // Inserting moves the array under the render thread's feet, so it is done
  // only before initialization.
  if (mAudioUnit.IsInitialized() && !okWhenInitialized) {
    LogError("Warning: %s SetParameter for undefined param ID %u while initialized. Ignoring.",
             mAudioUnit.GetLoggingString().c_str(), static_cast<unsigned>(paramID));
    return kAudioUnitErr_InvalidParameter;
  }
  mParameters.insert(it, {paramID, AtomicValue<float>(value)});
  return noErr;
}

void AUElement::SetScheduledEvent(AudioUnitParameterID paramID, const AudioUnitParameterEvent& inEvent,
                                  UInt32 /*inSliceOffsetInBuffer*/, UInt32 /*inSliceDurationFrames*/) {
  if (inEvent.eventType == kParameterEvent_Immediate) {
    // Never adds: this runs on the render thread of an initialized unit.
    SetParameter(paramID, inEvent.eventValues.immediate.value);
  } else {
    LogError("Warning: %s was passed a ramped parameter event but does not implement them. Ignoring.",
             mAudioUnit.GetLoggingString().c_str());
  }
}

void AUElement::UseIndexedParameters(UInt32 count) {
  mIndexedParameters.resize(count);
  mUseIndexedParameters = true;
}

// ---- AUIOElement ----

namespace {

AudioStreamBasicDescription DefaultStreamFormat() {
  AudioStreamBasicDescription format{};
  format.mSampleRate = 44100.0;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags =
      static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked) | kAudioFormatFlagIsNonInterleaved;  // 41
  format.mBytesPerPacket = 4;
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = 4;
  format.mChannelsPerFrame = 2;
  format.mBitsPerChannel = 32;
  return format;
}

}  // namespace

AUIOElement::AUIOElement(AUBase& audioUnit) : AUElement(audioUnit), mStreamFormat(DefaultStreamFormat()) {}

AUIOElement::AUIOElement(AUBase& audioUnit, const AudioStreamBasicDescription& format)
    : AUElement(audioUnit), mStreamFormat(format) {}

OSStatus AUIOElement::SetStreamFormat(const AudioStreamBasicDescription& format) {
  mStreamFormat = format;
  if (!mChannelLayout.empty()) {
    const auto* layout = reinterpret_cast<const AudioChannelLayout*>(mChannelLayout.data());
    if (ChannelLayoutChannelCount(*layout) != format.mChannelsPerFrame) {
      RemoveAudioChannelLayout();
    }
  }
  return noErr;
}

void AUIOElement::AllocateBuffer(UInt32 frames) {
  if (!GetAudioUnit().HasBegunInitializing()) {
    return;
  }
  const UInt32 framesToAllocate = frames > 0 ? frames : GetAudioUnit().GetMaxFramesPerSlice();
  const bool withData = mWillAllocate && NeedsBufferSpace();
  mIOBuffer.Allocate(mStreamFormat, framesToAllocate, withData);
}

float* AUIOElement::GetChannelData(UInt32 stream) const {
  const AudioBufferList* list = mIOBuffer.GetBufferList();
  if (list == nullptr || stream >= list->mNumberBuffers) {
    return nullptr;
  }
  return static_cast<float*>(list->mBuffers[stream].mData);
}

UInt32 AUIOElement::ChannelLayoutChannelCount(const AudioChannelLayout& layout) {
  if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelBitmap) {
    return static_cast<UInt32>(std::popcount(layout.mChannelBitmap));
  }
  if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions) {
    return layout.mNumberChannelDescriptions;
  }
  return AudioChannelLayoutTag_GetNumberOfChannels(layout.mChannelLayoutTag);
}

UInt32 AUIOElement::ChannelLayoutSize(const AudioChannelLayout& layout) {
  return static_cast<UInt32>(offsetof(AudioChannelLayout, mChannelDescriptions) +
                             layout.mNumberChannelDescriptions * sizeof(AudioChannelDescription));
}

UInt32 AUIOElement::GetAudioChannelLayout(AudioChannelLayout* outLayout, bool& outWritable) {
  outWritable = true;
  if (!mChannelLayout.empty() && outLayout != nullptr) {
    std::memcpy(outLayout, mChannelLayout.data(), mChannelLayout.size());
  }
  return static_cast<UInt32>(mChannelLayout.size());
}

OSStatus AUIOElement::SetAudioChannelLayout(const AudioChannelLayout& layout) {
  if (ChannelLayoutChannelCount(layout) != mStreamFormat.mChannelsPerFrame) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  const UInt32 size = ChannelLayoutSize(layout);
  const auto* bytes = reinterpret_cast<const std::byte*>(&layout);
  mChannelLayout.assign(bytes, bytes + size);
  return noErr;
}

OSStatus AUIOElement::RemoveAudioChannelLayout() {
  mChannelLayout.clear();
  return noErr;
}

// ---- AUScope ----

void AUScope::Initialize(AUBase* creator, AudioUnitScope scope, UInt32 numElements) {
  mCreator = creator;
  mScope = scope;
  if (mDelegate != nullptr) {
    mDelegate->SetNumberOfElements(numElements);
  } else {
    SetNumberOfElements(numElements);
  }
}

void AUScope::SetNumberOfElements(UInt32 numElements) {
  if (mDelegate != nullptr) {
    mDelegate->SetNumberOfElements(numElements);
    return;
  }
  if (numElements < mElements.size()) {
    mElements.resize(numElements);
    return;
  }
  mElements.reserve(numElements);
  for (auto i = static_cast<UInt32>(mElements.size()); i < numElements; ++i) {
    mElements.push_back(mCreator->CreateElement(mScope, i));
  }
}

AUElement* AUScope::SafeGetElement(UInt32 elementIndex) const {
  AUElement* element = GetElement(elementIndex);
  ThrowIf(element == nullptr, kAudioUnitErr_InvalidElement);
  return element;
}

AUIOElement* AUScope::GetIOElement(UInt32 elementIndex) const {
  AUElement* element = GetElement(elementIndex);
  AUIOElement* ioElement = element != nullptr ? element->AsIOElement() : nullptr;
  ThrowIf(ioElement == nullptr, kAudioUnitErr_InvalidElement);
  return ioElement;
}

bool AUScope::HasElementWithName() const {
  for (UInt32 i = 0; i < GetNumberOfElements(); ++i) {
    const AUElement* element = GetElement(i);
    if (element != nullptr && element->HasName()) {
      return true;
    }
  }
  return false;
}

}  // namespace ausdk
