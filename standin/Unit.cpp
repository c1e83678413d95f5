#include "standin/Unit.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "standin/LiveUnits.h"
#include "standin/StandIn.h"

namespace standin {

Unit::Unit(AudioComponentInstance instance, Variant variant)
    : AUBase(instance, 1, 1), variant_(variant), faults_(FaultsOf(AudioComponentInstanceGetComponent(instance))) {
  // Thrown before the unit is known as live; the open then fails with this status.
  if (const OSStatus status = faults_.instanceNew.load(); status != noErr) {
    ausdk::ThrowQuiet(status);
  }
  for (const ParameterModel& parameter : ParametersOf(variant)) {
    Globals()->SetParameter(parameter.id, parameter.defaultValue);
  }
  live::Add(instance, this);
}

Unit::~Unit() { live::Remove(GetComponentInstance()); }

std::vector<ParameterWrite> Unit::Writes() const {
  const std::lock_guard lock(recordMutex_);
  return writes_;
}

void Unit::ClearWrites() {
  const std::lock_guard lock(recordMutex_);
  writes_.clear();
}

OSStatus Unit::SetParameterAsUser(AudioUnitParameterID id, AudioUnitParameterValue value) {
  if (FindParameter(variant_, id) == nullptr) {
    return kAudioUnitErr_InvalidParameter;
  }
  return Globals()->SetParameter(id, value);
}

AudioStreamBasicDescription Unit::StreamFormatOf(AudioUnitScope scope) {
  AudioStreamBasicDescription format{};
  ausdk::CatchExceptions([&] {
    format = GetStreamFormat(scope, 0);
    return OSStatus{noErr};
  });
  return format;
}

AURenderCallbackStruct Unit::InputCallback() const {
  const std::lock_guard lock(recordMutex_);
  return inputCallback_;
}

OSStatus Unit::Initialize() {
  initializeCount_.fetch_add(1, std::memory_order_relaxed);
  return noErr;
}

UInt32 Unit::SupportedNumChannels(const AUChannelInfo** outInfo) {
  static constexpr AUChannelInfo kChannels[] = {{1, 1}, {2, 2}};
  if (outInfo != nullptr) {
    *outInfo = kChannels;
  }
  return 2;
}

bool Unit::ValidFormat(AudioUnitScope scope, AudioUnitElement element, const AudioStreamBasicDescription& format) {
  return AUBase::ValidFormat(scope, element, format) && format.mChannelsPerFrame >= 1 && format.mChannelsPerFrame <= 2;
}

OSStatus Unit::SetParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                            AudioUnitParameterValue value, UInt32 bufferOffsetInFrames) {
  {
    const std::lock_guard lock(recordMutex_);
    writes_.push_back({id, scope, element, value});
  }
  // The products refuse ids they do not publish instead of growing new ones.
  if (scope == kAudioUnitScope_Global && FindParameter(variant_, id) == nullptr) {
    return kAudioUnitErr_InvalidParameter;
  }
  return AUBase::SetParameter(id, scope, element, value, bufferOffsetInFrames);
}

OSStatus Unit::GetParameterInfo(AudioUnitScope scope, AudioUnitParameterID id, AudioUnitParameterInfo& info) {
  const ParameterModel* parameter = scope == kAudioUnitScope_Global ? FindParameter(variant_, id) : nullptr;
  if (parameter == nullptr) {
    return kAudioUnitErr_InvalidParameter;
  }
  std::string name = parameter->name;
  if (id == ScaleParameterOf(variant_)) {
    if (const OSStatus status = faults_.scaleInfo.load(); status != noErr) {
      return status;
    }
    if (std::string other = faults_.ScaleName(); !other.empty()) {
      name = std::move(other);
    }
  }
  info = AudioUnitParameterInfo{};
  std::strncpy(info.name, name.c_str(), sizeof info.name - 1);
  info.unit = parameter->unit;
  info.minValue = parameter->minValue;
  info.maxValue = parameter->maxValue;
  info.defaultValue = parameter->defaultValue;
  info.flags = kAudioUnitParameterFlag_IsReadable | kAudioUnitParameterFlag_IsWritable;
  if (faults_.namesAsStringObjects.load()) {
    info.cfNameString = CFStringCreateWithCString(nullptr, name.c_str(), kCFStringEncodingUTF8);
    if (info.cfNameString != nullptr) {
      info.flags |= kAudioUnitParameterFlag_HasCFNameString | kAudioUnitParameterFlag_CFNameRelease;
    }
  }
  return noErr;
}

OSStatus Unit::SetInputCallback(UInt32 propertyID, AudioUnitElement element, AURenderCallback proc, void* refCon) {
  const OSStatus status = AUBase::SetInputCallback(propertyID, element, proc, refCon);
  if (status == noErr && element == 0) {
    const std::lock_guard lock(recordMutex_);
    inputCallback_ = {proc, refCon};
  }
  return status;
}

OSStatus Unit::Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                      UInt32 inNumberFrames) {
  renderCount_.fetch_add(1, std::memory_order_relaxed);
  if (const UInt32 delay = faults_.renderDelayMs.load(); delay > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(delay));
  }
  if (const OSStatus status = faults_.render.load(); status != noErr) {
    return status;
  }
  if (const OSStatus pulled = PullInput(0, ioActionFlags, inTimeStamp, inNumberFrames); pulled != noErr) {
    return pulled;
  }
  const AudioBufferList* input = Input(0)->GetBufferList();
  AudioBufferList* output = Output(0)->GetBufferList();
  if (input == nullptr || output == nullptr) {
    return kAudio_ParamError;
  }
  const UInt32 channels = std::min(input->mNumberBuffers, output->mNumberBuffers);
  for (UInt32 c = 0; c < channels; ++c) {
    const auto* in = static_cast<const float*>(input->mBuffers[c].mData);
    auto* out = static_cast<float*>(output->mBuffers[c].mData);
    if (in == nullptr || out == nullptr) {
      continue;
    }
    const UInt32 frames = std::min({inNumberFrames, input->mBuffers[c].mDataByteSize / UInt32{sizeof(float)},
                                    output->mBuffers[c].mDataByteSize / UInt32{sizeof(float)}});
    for (UInt32 i = 0; i < frames; ++i) {
      out[i] = in[i] * kGain;
    }
  }
  return noErr;
}

}  // namespace standin
