// AUBase: the standard properties the base answers itself, the hand-off of all
// others to the subclass, and the property listeners.
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <optional>
#include <vector>

#include "ausdk/AUBase.h"

namespace ausdk {
namespace {

constexpr UInt32 kListenerRoom = 32;
constexpr UInt32 kMaxChannelsPerFrame = 1024;
constexpr UInt32 kChannelLayoutHeaderSize = offsetof(AudioChannelLayout, mChannelDescriptions);

// Host buffers carry no alignment promise: values go in and out by copy.
// Some values are handles (pointers): the handle is what is copied.
template <typename T>
void Put(void* out, const T& value) {
  std::memcpy(out, &value, sizeof value);  // NOLINT(bugprone-sizeof-expression)
}

template <typename T>
T Take(const void* in) {
  T value{};
  std::memcpy(&value, in, sizeof value);  // NOLINT(bugprone-sizeof-expression)
  return value;
}

// Where the base answers a property; properties without an entry belong to the subclass.
enum class Where {
  kAnyScope,       // the operations behind it check the scope
  kGlobal,         // global scope only
  kInput,          // input scope only
  kInputOrOutput,  // an existing input or output element
  kScope,          // any scope that exists
  kElement,        // an element that exists, in any scope
  kIOElement,      // left to the element operations, which refuse anything but a bus
};

std::optional<Where> BasePropertyWhere(AudioUnitPropertyID id) {
  switch (id) {
    case kAudioUnitProperty_ClassInfo:
    case kAudioUnitProperty_Latency:
    case kAudioUnitProperty_SupportedNumChannels:
    case kAudioUnitProperty_MaximumFramesPerSlice:
    case kAudioUnitProperty_TailTime:
    case kAudioUnitProperty_LastRenderError:
    case kAudioUnitProperty_FactoryPresets:
    case kAudioUnitProperty_ContextName:
    case kAudioUnitProperty_HostCallbacks:
    case kAudioUnitProperty_PresentPreset:
    case kAudioUnitProperty_IconLocation:
    case kAudioUnitProperty_NickName:
    case kAudioUnitProperty_LastRenderSampleTime:
      return Where::kGlobal;
    case kAudioUnitProperty_MakeConnection:
    case kAudioUnitProperty_SetRenderCallback:
      return Where::kInput;
    case kAudioUnitProperty_SampleRate:
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_ElementName:
      return Where::kElement;
    case kAudioUnitProperty_ShouldAllocateBuffer:
      return Where::kInputOrOutput;
    case kAudioUnitProperty_ElementCount:
      return Where::kScope;
    case kAudioUnitProperty_AudioChannelLayout:
    case kAudioUnitProperty_SupportedChannelLayoutTags:
      return Where::kIOElement;
    case kAudioUnitProperty_ParameterList:
    case kAudioUnitProperty_ParameterInfo:
    case kAudioUnitProperty_ParameterValueStrings:
    case kAudioUnitProperty_ParameterClumpName:
    case kAudioUnitProperty_ParameterHistoryInfo:
      return Where::kAnyScope;
    default:
      return std::nullopt;
  }
}

AUScope* FindScope(AUBase& unit, AudioUnitScope scope) {
  return scope < AUBase::kNumScopes ? &unit.GetScope(scope) : unit.GetScopeExtended(scope);
}

OSStatus CheckWhere(AUBase& unit, Where where, AudioUnitScope scope, AudioUnitElement element) {
  switch (where) {
    case Where::kAnyScope:
    case Where::kIOElement:
      return noErr;
    case Where::kGlobal:
      return scope == kAudioUnitScope_Global ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidScope};
    case Where::kInput:
      return scope == kAudioUnitScope_Input ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidScope};
    case Where::kInputOrOutput:
      if (scope != kAudioUnitScope_Input && scope != kAudioUnitScope_Output) {
        return kAudioUnitErr_InvalidScope;
      }
      break;
    case Where::kScope:
    case Where::kElement:
      break;
  }
  AUScope* found = FindScope(unit, scope);
  if (found == nullptr) {
    return kAudioUnitErr_InvalidScope;
  }
  if (where != Where::kScope && found->GetElement(element) == nullptr) {
    return kAudioUnitErr_InvalidElement;
  }
  return noErr;
}

bool SameFormat(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b) {
  return a.mSampleRate == b.mSampleRate && a.mFormatID == b.mFormatID && a.mFormatFlags == b.mFormatFlags &&
         a.mBytesPerPacket == b.mBytesPerPacket && a.mFramesPerPacket == b.mFramesPerPacket &&
         a.mBytesPerFrame == b.mBytesPerFrame && a.mChannelsPerFrame == b.mChannelsPerFrame &&
         a.mBitsPerChannel == b.mBitsPerChannel;
}

// What any format must be before the unit is asked about it: nothing that
// would divide by zero or size a buffer from nonsense.
bool PlausibleFormat(const AudioStreamBasicDescription& format) {
  return std::isfinite(format.mSampleRate) && format.mSampleRate > 0.0 && format.mFormatID != 0 &&
         format.mChannelsPerFrame > 0 && format.mChannelsPerFrame <= kMaxChannelsPerFrame &&
         format.mBytesPerFrame > 0 && format.mBytesPerPacket > 0 && format.mFramesPerPacket > 0 &&
         format.mBitsPerChannel > 0;
}

// The stream-format rules shared by the sample-rate and stream-format properties.
OSStatus ApplyStreamFormat(AUBase& unit, AudioUnitScope scope, AudioUnitElement element,
                           const AudioStreamBasicDescription& newFormat) {
  if (!PlausibleFormat(newFormat) || !unit.ValidFormat(scope, element, newFormat)) {
    return kAudioUnitErr_FormatNotSupported;
  }
  const AudioStreamBasicDescription current = unit.GetStreamFormat(scope, element);
  if (SameFormat(current, newFormat)) {
    return noErr;
  }
  if (!unit.IsStreamFormatWritable(scope, element)) {
    return kAudioUnitErr_PropertyNotWritable;
  }
  return unit.ChangeStreamFormat(scope, element, current, newFormat);
}

// The size of the value of a property that lives on an element.
UInt32 ElementValueSize(AudioUnitPropertyID id) {
  switch (id) {
    case kAudioUnitProperty_SampleRate:
      return sizeof(Float64);
    case kAudioUnitProperty_StreamFormat:
      return sizeof(AudioStreamBasicDescription);
    default:  // kAudioUnitProperty_ElementName
      return sizeof(CFStringRef);
  }
}

// A string property's new value: null clears it, anything else must be a string.
std::optional<CFStringRef> TakeString(const void* inData, UInt32 inDataSize) {
  if (inDataSize != sizeof(CFStringRef)) {
    return std::nullopt;
  }
  const auto* const string = Take<CFStringRef>(inData);
  if (string != nullptr && CFGetTypeID(string) != CFStringGetTypeID()) {
    return std::nullopt;
  }
  return string;
}

// A retained string for a caller who must release it; -10850 when none is set.
OSStatus GiveString(CFStringRef string, void* outData) {
  if (string == nullptr) {
    return kAudioUnitErr_PropertyNotInUse;
  }
  CFRetain(string);
  Put(outData, string);
  return noErr;
}

bool IsZero(const HostCallbackInfo& info) {
  static constexpr HostCallbackInfo kNone{};
  return std::memcmp(&info, &kNone, sizeof info) == 0;
}

}  // namespace

// ---- the subclass's defaults ----

OSStatus AUBase::GetPropertyInfo(AudioUnitPropertyID /*inID*/, AudioUnitScope /*inScope*/,
                                 AudioUnitElement /*inElement*/, UInt32& /*outDataSize*/, bool& /*outWritable*/) {
  return kAudioUnitErr_InvalidProperty;
}

OSStatus AUBase::GetProperty(AudioUnitPropertyID /*inID*/, AudioUnitScope /*inScope*/, AudioUnitElement /*inElement*/,
                             void* /*outData*/) {
  return kAudioUnitErr_InvalidProperty;
}

OSStatus AUBase::SetProperty(AudioUnitPropertyID /*inID*/, AudioUnitScope /*inScope*/, AudioUnitElement /*inElement*/,
                             const void* /*inData*/, UInt32 /*inDataSize*/) {
  return kAudioUnitErr_InvalidProperty;
}

OSStatus AUBase::RemovePropertyValue(AudioUnitPropertyID /*inID*/, AudioUnitScope /*inScope*/,
                                     AudioUnitElement /*inElement*/) {
  return kAudioUnitErr_InvalidPropertyValue;
}

// ---- listeners ----

OSStatus AUBase::AddPropertyListener(AudioUnitPropertyID inID, AudioUnitPropertyListenerProc inProc,
                                     void* inProcRefCon) {
  if (inProc == nullptr) {
    return kAudio_ParamError;
  }
  if (mPropertyListeners.empty()) {
    // Up to this many listeners never move the array under an announcing thread.
    mPropertyListeners.reserve(kListenerRoom);
  }
  mPropertyListeners.push_back({inID, inProc, inProcRefCon});
  return noErr;
}

OSStatus AUBase::RemovePropertyListener(AudioUnitPropertyID inID, AudioUnitPropertyListenerProc inProc,
                                        void* inProcRefCon, bool refConSpecified) {
  std::erase_if(mPropertyListeners, [&](const PropertyListener& listener) {
    return listener.propertyID == inID && listener.listenerProc == inProc &&
           (!refConSpecified || listener.listenerRefCon == inProcRefCon);
  });
  return noErr;
}

void AUBase::PropertyChanged(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement) {
  // By index and by copy: a listener may add or remove listeners while it is called.
  for (size_t i = 0; i < mPropertyListeners.size(); ++i) {  // NOLINT(modernize-loop-convert)
    const PropertyListener listener = mPropertyListeners[i];
    if (listener.propertyID == inID) {
      listener.listenerProc(listener.listenerRefCon, GetComponentInstance(), inID, inScope, inElement);
    }
  }
}

// ---- dispatch ----

OSStatus AUBase::DispatchGetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                         UInt32& outDataSize, bool& outWritable) {
  const std::optional<Where> where = BasePropertyWhere(inID);
  if (!where) {
    return GetPropertyInfo(inID, inScope, inElement, outDataSize, outWritable);
  }
  if (const OSStatus checked = CheckWhere(*this, *where, inScope, inElement); checked != noErr) {
    return checked;
  }
  outWritable = false;
  switch (inID) {
    case kAudioUnitProperty_ClassInfo:
      outDataSize = sizeof(CFPropertyListRef);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_MakeConnection:
      outDataSize = sizeof(AudioUnitConnection);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_SetRenderCallback:
      outDataSize = sizeof(AURenderCallbackStruct);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_SampleRate:
      outDataSize = sizeof(Float64);
      outWritable = IsStreamFormatWritable(inScope, inElement);
      return noErr;
    case kAudioUnitProperty_StreamFormat:
      outDataSize = sizeof(AudioStreamBasicDescription);
      outWritable = IsStreamFormatWritable(inScope, inElement);
      return noErr;
    case kAudioUnitProperty_ParameterList: {
      UInt32 count = 0;
      const OSStatus result = GetParameterList(inScope, nullptr, count);
      outDataSize = count * sizeof(AudioUnitParameterID);
      return result;
    }
    case kAudioUnitProperty_ParameterInfo:
      outDataSize = sizeof(AudioUnitParameterInfo);
      return noErr;
    case kAudioUnitProperty_ElementCount:
      outDataSize = sizeof(UInt32);
      outWritable = BusCountWritable(inScope);
      return noErr;
    case kAudioUnitProperty_Latency:
    case kAudioUnitProperty_LastRenderSampleTime:
      outDataSize = sizeof(Float64);
      return noErr;
    case kAudioUnitProperty_SupportedNumChannels: {
      const UInt32 count = SupportedNumChannels(nullptr);
      if (count == 0) {
        return kAudioUnitErr_InvalidProperty;
      }
      outDataSize = count * sizeof(AUChannelInfo);
      return noErr;
    }
    case kAudioUnitProperty_MaximumFramesPerSlice:
      outDataSize = sizeof(UInt32);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_ParameterValueStrings:
      outDataSize = sizeof(CFArrayRef);
      return noErr;
    case kAudioUnitProperty_AudioChannelLayout: {
      outDataSize = GetAudioChannelLayout(inScope, inElement, nullptr, outWritable);
      if (outDataSize == 0) {
        return GetChannelLayoutTags(inScope, inElement).empty() ? kAudioUnitErr_InvalidProperty
                                                                : kAudioUnitErr_InvalidPropertyValue;
      }
      return noErr;
    }
    case kAudioUnitProperty_TailTime:
      if (!SupportsTail()) {
        return kAudioUnitErr_InvalidProperty;
      }
      outDataSize = sizeof(Float64);
      return noErr;
    case kAudioUnitProperty_LastRenderError:
      outDataSize = sizeof(OSStatus);
      return noErr;
    case kAudioUnitProperty_FactoryPresets:
      outDataSize = sizeof(CFArrayRef);
      return noErr;
    case kAudioUnitProperty_ContextName:
    case kAudioUnitProperty_NickName:
    case kAudioUnitProperty_ElementName:
      outDataSize = sizeof(CFStringRef);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_HostCallbacks:
      outDataSize = sizeof(HostCallbackInfo);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_SupportedChannelLayoutTags: {
      const std::vector<AudioChannelLayoutTag> tags = GetChannelLayoutTags(inScope, inElement);
      if (tags.empty()) {
        return kAudioUnitErr_InvalidProperty;
      }
      outDataSize = static_cast<UInt32>(tags.size() * sizeof(AudioChannelLayoutTag));
      return noErr;
    }
    case kAudioUnitProperty_ParameterClumpName:
      outDataSize = sizeof(AudioUnitParameterNameInfo);
      return noErr;
    case kAudioUnitProperty_PresentPreset:
      outDataSize = sizeof(AUPreset);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_IconLocation: {
      const auto icon = Owned<CFURLRef>::FromCreate(CopyIconLocation());
      if (!icon) {
        return kAudioUnitErr_InvalidProperty;
      }
      outDataSize = sizeof(CFURLRef);
      return noErr;
    }
    case kAudioUnitProperty_ShouldAllocateBuffer:
      outDataSize = sizeof(UInt32);
      outWritable = true;
      return noErr;
    case kAudioUnitProperty_ParameterHistoryInfo:
      outDataSize = sizeof(AudioUnitParameterHistoryInfo);
      return noErr;
    default:
      return GetPropertyInfo(inID, inScope, inElement, outDataSize, outWritable);
  }
}

OSStatus AUBase::DispatchGetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                     void* outData) {
  const std::optional<Where> where = BasePropertyWhere(inID);
  if (!where) {
    return GetProperty(inID, inScope, inElement, outData);
  }
  if (const OSStatus checked = CheckWhere(*this, *where, inScope, inElement); checked != noErr) {
    return checked;
  }
  switch (inID) {
    case kAudioUnitProperty_ClassInfo:
      return SaveState(static_cast<CFPropertyListRef*>(outData));
    case kAudioUnitProperty_MakeConnection:
    case kAudioUnitProperty_SetRenderCallback:
      return kAudioUnitErr_InvalidProperty;  // write-only
    case kAudioUnitProperty_SampleRate:
      Put(outData, GetStreamFormat(inScope, inElement).mSampleRate);
      return noErr;
    case kAudioUnitProperty_StreamFormat:
      Put(outData, GetStreamFormat(inScope, inElement));
      return noErr;
    case kAudioUnitProperty_ParameterList: {
      UInt32 count = 0;
      return GetParameterList(inScope, static_cast<AudioUnitParameterID*>(outData), count);
    }
    case kAudioUnitProperty_ParameterInfo: {
      AudioUnitParameterInfo info{};
      const OSStatus result = GetParameterInfo(inScope, inElement, info);
      if (result == noErr) {
        Put(outData, info);
      }
      return result;
    }
    case kAudioUnitProperty_ParameterHistoryInfo: {
      AudioUnitParameterHistoryInfo info{};
      const OSStatus result =
          GetParameterHistoryInfo(inScope, inElement, info.updatesPerSecond, info.historyDurationInSeconds);
      if (result == noErr) {
        Put(outData, info);
      }
      return result;
    }
    case kAudioUnitProperty_ElementCount:
      Put(outData, GetScope(inScope).GetNumberOfElements());
      return noErr;
    case kAudioUnitProperty_Latency:
      Put(outData, GetLatency());
      return noErr;
    case kAudioUnitProperty_SupportedNumChannels: {
      const AUChannelInfo* channels = nullptr;
      const UInt32 count = SupportedNumChannels(&channels);
      if (count == 0 || channels == nullptr) {
        return kAudioUnitErr_InvalidProperty;
      }
      std::memcpy(outData, channels, count * sizeof(AUChannelInfo));
      return noErr;
    }
    case kAudioUnitProperty_MaximumFramesPerSlice:
      Put(outData, mMaxFramesPerSlice);
      return noErr;
    case kAudioUnitProperty_ParameterValueStrings: {
      CFArrayRef strings = nullptr;
      const OSStatus result = GetParameterValueStrings(inScope, inElement, &strings);
      if (result == noErr) {
        Put(outData, strings);
      }
      return result;
    }
    case kAudioUnitProperty_AudioChannelLayout: {
      bool writable = false;
      const UInt32 size = GetAudioChannelLayout(inScope, inElement, nullptr, writable);
      if (size == 0) {
        return GetChannelLayoutTags(inScope, inElement).empty() ? kAudioUnitErr_InvalidProperty
                                                                : kAudioUnitErr_InvalidPropertyValue;
      }
      GetAudioChannelLayout(inScope, inElement, static_cast<AudioChannelLayout*>(outData), writable);
      return noErr;
    }
    case kAudioUnitProperty_TailTime:
      if (!SupportsTail()) {
        return kAudioUnitErr_InvalidProperty;
      }
      Put(outData, GetTailTime());
      return noErr;
    case kAudioUnitProperty_LastRenderError:
      // Reading it clears it, so that the next failing render is reported again.
      Put(outData, TakeLastRenderError());
      return noErr;
    case kAudioUnitProperty_FactoryPresets: {
      CFArrayRef presets = nullptr;
      const OSStatus result = GetPresets(&presets);
      if (result == noErr) {
        Put(outData, presets);
      }
      return result;
    }
    case kAudioUnitProperty_ContextName:
      return GiveString(mContextName.get(), outData);
    case kAudioUnitProperty_NickName:
      return GiveString(mNickName.get(), outData);
    case kAudioUnitProperty_HostCallbacks:
      Put(outData, mHostCallbackInfo);
      return noErr;
    case kAudioUnitProperty_ElementName:
      return GiveString(GetElement(inScope, inElement)->GetName(), outData);
    case kAudioUnitProperty_SupportedChannelLayoutTags: {
      const std::vector<AudioChannelLayoutTag> tags = GetChannelLayoutTags(inScope, inElement);
      if (tags.empty()) {
        return kAudioUnitErr_InvalidProperty;
      }
      std::memcpy(outData, tags.data(), tags.size() * sizeof(AudioChannelLayoutTag));
      return noErr;
    }
    case kAudioUnitProperty_ParameterClumpName: {
      auto nameInfo = Take<AudioUnitParameterNameInfo>(outData);
      const OSStatus result =
          CopyClumpName(inScope, nameInfo.inID, static_cast<UInt32>(nameInfo.inDesiredLength), &nameInfo.outName);
      if (result == kAudioUnitErr_InvalidProperty) {
        return GetProperty(inID, inScope, inElement, outData);
      }
      if (result == noErr) {
        Put(outData, nameInfo);
      }
      return result;
    }
    case kAudioUnitProperty_PresentPreset: {
      AUPreset preset = mCurrentPreset;
      if (preset.presetName != nullptr) {
        CFRetain(preset.presetName);
      }
      Put(outData, preset);
      return noErr;
    }
    case kAudioUnitProperty_IconLocation: {
      CFURLRef icon = CopyIconLocation();
      if (icon == nullptr) {
        return kAudioUnitErr_InvalidProperty;
      }
      Put(outData, icon);
      return noErr;
    }
    case kAudioUnitProperty_ShouldAllocateBuffer:
      Put(outData, static_cast<UInt32>(IOElement(inScope, inElement)->WillAllocateBuffer() ? 1 : 0));
      return noErr;
    case kAudioUnitProperty_LastRenderSampleTime:
      Put(outData, mCurrentRenderTime.mSampleTime);
      return noErr;
    default:
      return GetProperty(inID, inScope, inElement, outData);
  }
}

OSStatus AUBase::DispatchSetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                     const void* inData, UInt32 inDataSize) {
  const std::optional<Where> where = BasePropertyWhere(inID);
  if (!where) {
    return SetProperty(inID, inScope, inElement, inData, inDataSize);
  }
  switch (inID) {
    case kAudioUnitProperty_ClassInfo:
    case kAudioUnitProperty_MakeConnection:
    case kAudioUnitProperty_SetRenderCallback:
    case kAudioUnitProperty_SampleRate:
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_ElementCount:
    case kAudioUnitProperty_MaximumFramesPerSlice:
    case kAudioUnitProperty_AudioChannelLayout:
    case kAudioUnitProperty_ContextName:
    case kAudioUnitProperty_HostCallbacks:
    case kAudioUnitProperty_ElementName:
    case kAudioUnitProperty_PresentPreset:
    case kAudioUnitProperty_ShouldAllocateBuffer:
    case kAudioUnitProperty_NickName:
      break;
    default:  // read-only for the base; the subclass may take it
      return SetProperty(inID, inScope, inElement, inData, inDataSize);
  }
  // An element property's value is measured before its element is looked for
  // (the buffer flag, whose element is checked first, is not one of them).
  if (*where == Where::kElement && inDataSize != ElementValueSize(inID)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  if (const OSStatus checked = CheckWhere(*this, *where, inScope, inElement); checked != noErr) {
    return checked;
  }
  switch (inID) {
    case kAudioUnitProperty_ClassInfo:
      if (inDataSize != sizeof(CFPropertyListRef)) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      return RestoreState(Take<CFPropertyListRef>(inData));
    case kAudioUnitProperty_MakeConnection:
      if (inDataSize < sizeof(AudioUnitConnection)) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      return SetConnection(Take<AudioUnitConnection>(inData));
    case kAudioUnitProperty_SetRenderCallback: {
      if (inDataSize < sizeof(AURenderCallbackStruct)) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      const auto callback = Take<AURenderCallbackStruct>(inData);
      return SetInputCallback(kAudioUnitProperty_SetRenderCallback, inElement, callback.inputProc,
                              callback.inputProcRefCon);
    }
    case kAudioUnitProperty_SampleRate: {
      AudioStreamBasicDescription format = GetStreamFormat(inScope, inElement);
      format.mSampleRate = Take<Float64>(inData);
      return ApplyStreamFormat(*this, inScope, inElement, format);
    }
    case kAudioUnitProperty_StreamFormat:
      return ApplyStreamFormat(*this, inScope, inElement, Take<AudioStreamBasicDescription>(inData));
    case kAudioUnitProperty_ElementCount: {
      if (inDataSize != sizeof(UInt32)) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      if (!BusCountWritable(inScope)) {
        return kAudioUnitErr_PropertyNotWritable;
      }
      const OSStatus result = SetBusCount(inScope, Take<UInt32>(inData));
      if (result == noErr) {
        PropertyChanged(inID, inScope, inElement);
      }
      return result;
    }
    case kAudioUnitProperty_MaximumFramesPerSlice: {
      if (inDataSize != sizeof(UInt32)) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      if (const OSStatus result = CanSetMaxFrames(); result != noErr) {
        return result;
      }
      SetMaxFramesPerSlice(Take<UInt32>(inData));
      return noErr;
    }
    case kAudioUnitProperty_AudioChannelLayout: {
      if (inDataSize < kChannelLayoutHeaderSize) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      const auto descriptions = Take<UInt32>(static_cast<const std::byte*>(inData) +
                                             offsetof(AudioChannelLayout, mNumberChannelDescriptions));
      const UInt64 needed = kChannelLayoutHeaderSize + UInt64{descriptions} * sizeof(AudioChannelDescription);
      if (inDataSize < needed) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      // An aligned copy of exactly the layout, whatever the host's buffer.
      std::vector<AudioChannelLayout> aligned((needed + sizeof(AudioChannelLayout) - 1) / sizeof(AudioChannelLayout));
      std::memcpy(aligned.data(), inData, needed);
      const OSStatus result = SetAudioChannelLayout(inScope, inElement, aligned.data());
      if (result == noErr) {
        PropertyChanged(inID, inScope, inElement);
      }
      return result;
    }
    case kAudioUnitProperty_ContextName:
    case kAudioUnitProperty_NickName: {
      const std::optional<CFStringRef> name = TakeString(inData, inDataSize);
      if (!name) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      (inID == kAudioUnitProperty_ContextName ? mContextName : mNickName) = Owned<CFStringRef>::FromGet(*name);
      return noErr;
    }
    case kAudioUnitProperty_HostCallbacks: {
      // Hosts built against older headers pass a shorter record: the rest stays zero.
      HostCallbackInfo info{};
      std::memcpy(&info, inData, std::min<UInt32>(inDataSize, sizeof info));
      mHostCallbackInfo = info;
      PropertyChanged(inID, inScope, inElement);
      return noErr;
    }
    case kAudioUnitProperty_ElementName: {
      const std::optional<CFStringRef> name = TakeString(inData, inDataSize);
      if (!name) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      GetElement(inScope, inElement)->SetName(*name);
      PropertyChanged(inID, inScope, inElement);
      return noErr;
    }
    case kAudioUnitProperty_PresentPreset: {
      if (inDataSize != sizeof(AUPreset)) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      const auto preset = Take<AUPreset>(inData);
      if (preset.presetName != nullptr && CFGetTypeID(preset.presetName) != CFStringGetTypeID()) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      OSStatus result = noErr;
      if (preset.presetNumber < 0) {
        // A user preset is known only by its name.
        if (preset.presetName == nullptr) {
          return kAudioUnitErr_InvalidPropertyValue;
        }
        result = NewCustomPresetSet(preset);
      } else {
        result = NewFactoryPresetSet(preset);
      }
      if (result == noErr) {
        PropertyChanged(inID, inScope, inElement);
      }
      return result;
    }
    case kAudioUnitProperty_ShouldAllocateBuffer:
      if (inDataSize != sizeof(UInt32)) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      if (IsInitialized()) {
        return kAudioUnitErr_Initialized;
      }
      IOElement(inScope, inElement)->SetWillAllocateBuffer(Take<UInt32>(inData) != 0);
      return noErr;
    default:
      return SetProperty(inID, inScope, inElement, inData, inDataSize);
  }
}

OSStatus AUBase::DispatchRemovePropertyValue(AudioUnitPropertyID inID, AudioUnitScope inScope,
                                             AudioUnitElement inElement) {
  switch (inID) {
    case kAudioUnitProperty_AudioChannelLayout: {
      const OSStatus result = RemoveAudioChannelLayout(inScope, inElement);
      if (result == noErr) {
        PropertyChanged(inID, inScope, inElement);
      }
      return result;
    }
    case kAudioUnitProperty_ContextName:
    case kAudioUnitProperty_NickName:
      if (inScope != kAudioUnitScope_Global) {
        return kAudioUnitErr_InvalidScope;
      }
      (inID == kAudioUnitProperty_ContextName ? mContextName : mNickName) = Owned<CFStringRef>();
      return noErr;
    case kAudioUnitProperty_HostCallbacks:
      if (inScope != kAudioUnitScope_Global) {
        return kAudioUnitErr_InvalidScope;
      }
      if (!IsZero(mHostCallbackInfo)) {
        mHostCallbackInfo = HostCallbackInfo{};
        PropertyChanged(inID, inScope, inElement);
      }
      return noErr;
    default:
      return RemovePropertyValue(inID, inScope, inElement);
  }
}

}  // namespace ausdk
