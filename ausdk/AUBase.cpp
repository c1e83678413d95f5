// AUBase: construction, lifecycle, scopes and elements, parameters and formats.
#include "ausdk/AUBase.h"

#include <CoreFoundation/CFString.h>
#include <mach/mach_time.h>

#include <algorithm>
#include <cstdio>

namespace ausdk {

AUBase::AUBase(AudioComponentInstance inInstance, UInt32 numInputElements, UInt32 numOutputElements,
               UInt32 numGroupElements)
    : ComponentBase(inInstance),
      mInitNumInputEls(numInputElements),
      mInitNumOutputEls(numOutputElements),
      mInitNumGroupEls(numGroupElements) {
  ResetRenderTime();
  mScopes[kAudioUnitScope_Global].Initialize(this, kAudioUnitScope_Global, 1);
  mScopes[kAudioUnitScope_Input].Initialize(this, kAudioUnitScope_Input, 0);
  mScopes[kAudioUnitScope_Output].Initialize(this, kAudioUnitScope_Output, 0);
  mScopes[kAudioUnitScope_Group].Initialize(this, kAudioUnitScope_Group, 0);

  mCurrentPreset.presetNumber = -1;
  mCurrentPreset.presetName = static_cast<CFStringRef>(CFRetain(CFSTR("Untitled")));

  mach_timebase_info_data_t timebase{};
  mach_timebase_info(&timebase);
  mHostTimeFrequency = static_cast<double>(timebase.denom) / static_cast<double>(timebase.numer) * 1.0e9;

  CreateLoggingString();
}

AUBase::~AUBase() {
  if (mCurrentPreset.presetName != nullptr) {
    CFRelease(mCurrentPreset.presetName);
  }
}

void AUBase::CreateLoggingString() {
  const AudioComponentDescription description = GetComponentDescription();
  char prefix[64];
  std::snprintf(prefix, sizeof prefix, "AU (%p): ", static_cast<void*>(GetComponentInstance()));
  mLogString = std::string(prefix) + FourCC(description.componentType) + "/" + FourCC(description.componentSubType) +
               "/" + FourCC(description.componentManufacturer);
}

void AUBase::PostConstructorInternal() {
  if (mMaxFramesPerSlice == 0) {
    SetMaxFramesPerSlice(kDefaultMaxFramesPerSlice);
  }
  CreateElements();
}

void AUBase::PreDestructorInternal() {
  if (mAUMutex != nullptr) {
    const std::lock_guard lock(*mAUMutex);
    DoCleanup();
  } else {
    DoCleanup();
  }
}

// ---- lifecycle ----

OSStatus AUBase::DoInitialize() {
  if (IsInitialized()) {
    return noErr;
  }
  const OSStatus result = Initialize();
  if (result != noErr) {
    return result;
  }
  if (CanScheduleParameters()) {
    mParamEventList.reserve(kParameterEventRoom);
  }
  mHasBegunInitializing = true;
  ReallocateBuffers();
  // Sequentially consistent, so a render thread that sees the flag (acquire)
  // also sees the buffers allocated above.
  mInitialized.store(true, std::memory_order_seq_cst);
  return noErr;
}

void AUBase::DoCleanup() {
  if (IsInitialized()) {
    Cleanup();
  }
  DeallocateIOBuffers();
  ResetRenderTime();
  mInitialized.store(false, std::memory_order_release);
  mHasBegunInitializing = false;
}

OSStatus AUBase::DoReset(AudioUnitScope inScope, AudioUnitElement inElement) {
  ResetRenderTime();
  return Reset(inScope, inElement);
}

OSStatus AUBase::Reset(AudioUnitScope /*inScope*/, AudioUnitElement /*inElement*/) { return noErr; }

namespace {

// Outputs first, then inputs; an element missing in the counted range throws.
template <typename Action>
void ForEachIOElement(std::array<AUScope, AUBase::kNumScopes>& scopes, Action&& action) {
  for (const AudioUnitScope scope : {kAudioUnitScope_Output, kAudioUnitScope_Input}) {
    const UInt32 count = scopes[scope].GetNumberOfElements();
    for (UInt32 i = 0; i < count; ++i) {
      action(*scopes[scope].GetIOElement(i));
    }
  }
}

}  // namespace

void AUBase::ReallocateBuffers() {
  CreateElements();
  ForEachIOElement(mScopes, [](AUIOElement& element) { element.AllocateBuffer(); });
  mBuffersAllocated = true;
}

void AUBase::DeallocateIOBuffers() {
  if (!mBuffersAllocated) {
    return;
  }
  ForEachIOElement(mScopes, [](AUIOElement& element) { element.DeallocateBuffer(); });
  mBuffersAllocated = false;
}

void AUBase::SetMaxFramesPerSlice(UInt32 nFrames) {
  if (nFrames == mMaxFramesPerSlice) {
    return;
  }
  mMaxFramesPerSlice = nFrames;
  if (mBuffersAllocated) {
    ReallocateBuffers();
  }
  PropertyChanged(kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0);
}

OSStatus AUBase::CanSetMaxFrames() const {
  return IsInitialized() ? OSStatus{kAudioUnitErr_Initialized} : OSStatus{noErr};
}

// ---- scopes and elements ----

void AUBase::CreateElements() {
  if (mElementsCreated) {
    return;
  }
  mScopes[kAudioUnitScope_Input].SetNumberOfElements(mInitNumInputEls);
  mScopes[kAudioUnitScope_Output].SetNumberOfElements(mInitNumOutputEls);
  mScopes[kAudioUnitScope_Group].SetNumberOfElements(mInitNumGroupEls);
  CreateExtendedElements();
  mElementsCreated = true;
}

void AUBase::SetNumberOfElements(AudioUnitScope inScope, UInt32 numElements) {
  if (inScope == kAudioUnitScope_Global && numElements != 1) {
    Throw(kAudioUnitErr_InvalidScope);
  }
  GetScope(inScope).SetNumberOfElements(numElements);
}

std::unique_ptr<AUElement> AUBase::CreateElement(AudioUnitScope scope, AudioUnitElement /*element*/) {
  switch (scope) {
    case kAudioUnitScope_Input:
      return std::make_unique<AUInputElement>(*this);
    case kAudioUnitScope_Output:
      return std::make_unique<AUOutputElement>(*this);
    case kAudioUnitScope_Global:
    case kAudioUnitScope_Group:
    case kAudioUnitScope_Part:
      return std::make_unique<AUElement>(*this);
    default:
      Throw(kAudioUnitErr_InvalidScope);
  }
}

AUScope& AUBase::GetScope(AudioUnitScope inScope) {
  if (inScope >= kNumScopes) {
    AUScope* scope = GetScopeExtended(inScope);
    if (scope == nullptr) {
      ThrowQuiet(kAudioUnitErr_InvalidScope);
    }
    return *scope;
  }
  return mScopes[inScope];
}

AUElement* AUBase::GetElement(AudioUnitScope inScope, AudioUnitElement inElement) {
  return GetScope(inScope).GetElement(inElement);
}

AUElement* AUBase::SafeGetElement(AudioUnitScope inScope, AudioUnitElement inElement) {
  return GetScope(inScope).SafeGetElement(inElement);
}

AUIOElement* AUBase::IOElement(AudioUnitScope inScope, AudioUnitElement inElement) {
  return GetScope(inScope).GetIOElement(inElement);
}

AUInputElement* AUBase::Input(UInt32 inElement) {
  return static_cast<AUInputElement*>(mScopes[kAudioUnitScope_Input].GetIOElement(inElement));
}

AUOutputElement* AUBase::Output(UInt32 inElement) {
  return static_cast<AUOutputElement*>(mScopes[kAudioUnitScope_Output].GetIOElement(inElement));
}

OSStatus AUBase::SetBusCount(AudioUnitScope inScope, UInt32 inCount) {
  if (IsInitialized()) {
    return kAudioUnitErr_Initialized;
  }
  SetNumberOfElements(inScope, inCount);
  return noErr;
}

// ---- parameters ----

OSStatus AUBase::GetParameter(AudioUnitParameterID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                              AudioUnitParameterValue& outValue) {
  AUScope* scope = inScope < kNumScopes ? &mScopes[inScope] : GetScopeExtended(inScope);
  if (scope == nullptr) {
    return kAudioUnitErr_InvalidScope;
  }
  AUElement* element = scope->GetElement(inElement);
  if (element == nullptr) {
    return kAudioUnitErr_InvalidElement;
  }
  return element->GetParameter(inID, outValue);
}

OSStatus AUBase::SetParameter(AudioUnitParameterID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                              AudioUnitParameterValue inValue, UInt32 /*inBufferOffsetInFrames*/) {
  // Looked up without throwing: scheduled events set parameters on the render thread.
  AUScope* scope = inScope < kNumScopes ? &mScopes[inScope] : GetScopeExtended(inScope);
  if (scope == nullptr) {
    return kAudioUnitErr_InvalidScope;
  }
  AUElement* element = scope->GetElement(inElement);
  if (element == nullptr) {
    return kAudioUnitErr_InvalidElement;
  }
  return element->SetParameter(inID, inValue, false);
}

OSStatus AUBase::GetParameterList(AudioUnitScope inScope, AudioUnitParameterID* outParameterList,
                                  UInt32& outNumParameters) {
  const AUScope& scope = GetScope(inScope);
  AUElement* largest = nullptr;
  UInt32 largestCount = 0;
  for (UInt32 i = 0; i < scope.GetNumberOfElements(); ++i) {
    AUElement* element = scope.GetElement(i);
    if (element == nullptr) {
      continue;
    }
    const UInt32 count = element->GetNumberOfParameters();
    if (count > largestCount) {  // strictly more: on a tie the lower element wins
      largest = element;
      largestCount = count;
    }
  }
  outNumParameters = largestCount;
  if (outParameterList != nullptr && largest != nullptr) {
    largest->GetParameterList(outParameterList);
  }
  return noErr;
}

OSStatus AUBase::GetParameterInfo(AudioUnitScope /*inScope*/, AudioUnitParameterID /*inParameterID*/,
                                  AudioUnitParameterInfo& /*outParameterInfo*/) {
  return kAudioUnitErr_InvalidParameter;
}

OSStatus AUBase::GetParameterHistoryInfo(AudioUnitScope /*inScope*/, AudioUnitParameterID /*inParameterID*/,
                                         Float32& /*outUpdatesPerSecond*/, Float32& /*outHistoryDurationInSeconds*/) {
  return kAudioUnitErr_InvalidProperty;
}

OSStatus AUBase::GetParameterValueStrings(AudioUnitScope /*inScope*/, AudioUnitParameterID /*inParameterID*/,
                                          CFArrayRef* /*outStrings*/) {
  return kAudioUnitErr_InvalidProperty;
}

OSStatus AUBase::CopyClumpName(AudioUnitScope /*inScope*/, UInt32 /*inClumpID*/, UInt32 /*inDesiredNameLength*/,
                               CFStringRef* /*outClumpName*/) {
  return kAudioUnitErr_InvalidProperty;
}

OSStatus AUBase::GetPresets(CFArrayRef* /*outData*/) const { return kAudioUnitErr_InvalidProperty; }

OSStatus AUBase::NewFactoryPresetSet(const AUPreset& /*inNewFactoryPreset*/) { return kAudioUnitErr_InvalidProperty; }

// ---- formats and channels ----

UInt32 AUBase::SupportedNumChannels(const AUChannelInfo** outInfo) {
  if (outInfo != nullptr) {
    *outInfo = nullptr;
  }
  return 0;
}

bool AUBase::IsValidFormat(const AudioStreamBasicDescription& format) {
  const bool nonInterleaved = (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0;
  return format.mFormatID == kAudioFormatLinearPCM && format.mFramesPerPacket == 1 &&
         format.mBytesPerPacket == format.mBytesPerFrame && (format.mFormatFlags & kAudioFormatFlagIsFloat) != 0 &&
         (format.mFormatFlags & kAudioFormatFlagIsBigEndian) == 0 && format.mBitsPerChannel == 32 &&
         (nonInterleaved || format.mChannelsPerFrame == 1) &&
         format.mBytesPerFrame == (nonInterleaved ? 4U : 4U * format.mChannelsPerFrame);
}

bool AUBase::ValidFormat(AudioUnitScope /*inScope*/, AudioUnitElement /*inElement*/,
                         const AudioStreamBasicDescription& inNewFormat) {
  return IsValidFormat(inNewFormat);
}

bool AUBase::IsStreamFormatWritable(AudioUnitScope scope, AudioUnitElement element) {
  switch (scope) {
    case kAudioUnitScope_Global:
      return StreamFormatWritable(kAudioUnitScope_Output, 0);
    case kAudioUnitScope_Input: {
      if (Input(element)->HasConnection()) {
        return false;
      }
      return StreamFormatWritable(scope, element);
    }
    case kAudioUnitScope_Output:
      return StreamFormatWritable(scope, element);
    default:
      return false;
  }
}

AudioStreamBasicDescription AUBase::GetStreamFormat(AudioUnitScope inScope, AudioUnitElement inElement) {
  if (inScope == kAudioUnitScope_Global) {
    return Output(0)->GetStreamFormat();
  }
  return IOElement(inScope, inElement)->GetStreamFormat();
}

namespace {

bool SameFormat(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b) {
  return a.mSampleRate == b.mSampleRate && a.mFormatID == b.mFormatID && a.mFormatFlags == b.mFormatFlags &&
         a.mBytesPerPacket == b.mBytesPerPacket && a.mFramesPerPacket == b.mFramesPerPacket &&
         a.mBytesPerFrame == b.mBytesPerFrame && a.mChannelsPerFrame == b.mChannelsPerFrame &&
         a.mBitsPerChannel == b.mBitsPerChannel;
}

}  // namespace

OSStatus AUBase::ChangeStreamFormat(AudioUnitScope inScope, AudioUnitElement inElement,
                                    const AudioStreamBasicDescription& inPrevFormat,
                                    const AudioStreamBasicDescription& inNewFormat) {
  if (SameFormat(inPrevFormat, inNewFormat)) {
    return noErr;
  }
  AUIOElement* element = inScope == kAudioUnitScope_Global ? Output(0) : IOElement(inScope, inElement);
  const OSStatus result = element->SetStreamFormat(inNewFormat);
  if (result == noErr) {
    PropertyChanged(kAudioUnitProperty_StreamFormat, inScope, inElement);
  }
  return result;
}

UInt32 AUBase::GetAudioChannelLayout(AudioUnitScope scope, AudioUnitElement element, AudioChannelLayout* outLayoutPtr,
                                     bool& outWritable) {
  return IOElement(scope, element)->GetAudioChannelLayout(outLayoutPtr, outWritable);
}

OSStatus AUBase::SetAudioChannelLayout(AudioUnitScope scope, AudioUnitElement element,
                                       const AudioChannelLayout* inLayout) {
  if (inLayout == nullptr) {
    return kAudio_ParamError;
  }
  return IOElement(scope, element)->SetAudioChannelLayout(*inLayout);
}

OSStatus AUBase::RemoveAudioChannelLayout(AudioUnitScope scope, AudioUnitElement element) {
  return IOElement(scope, element)->RemoveAudioChannelLayout();
}

std::vector<AudioChannelLayoutTag> AUBase::GetChannelLayoutTags(AudioUnitScope scope, AudioUnitElement element) {
  return IOElement(scope, element)->GetChannelLayoutTags();
}

}  // namespace ausdk
