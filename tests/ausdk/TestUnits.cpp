#include "TestUnits.h"

#include <cstring>
#include <new>

namespace testunits {
namespace {

std::mutex gLiveMutex;
std::map<AudioUnit, ausdk::AUBase*>& Live() {
  static std::map<AudioUnit, ausdk::AUBase*> live;
  return live;
}

}  // namespace

void LiveUnits::Add(AudioUnit handle, ausdk::AUBase* unit) {
  const std::lock_guard lock(gLiveMutex);
  Live().emplace(handle, unit);  // a direct unit opened on a host's handle leaves the host's object found
}

void LiveUnits::Remove(AudioUnit handle, const ausdk::AUBase* unit) {
  const std::lock_guard lock(gLiveMutex);
  if (const auto it = Live().find(handle); it != Live().end() && it->second == unit) {
    Live().erase(it);
  }
}

ausdk::AUBase* LiveUnits::Find(AudioUnit handle) {
  const std::lock_guard lock(gLiveMutex);
  const auto it = Live().find(handle);
  return it == Live().end() ? nullptr : it->second;
}

size_t LiveUnits::Count() {
  const std::lock_guard lock(gLiveMutex);
  return Live().size();
}

Instance::Instance(AudioComponent component) { EXPECT_EQ(AudioComponentInstanceNew(component, &unit_), noErr); }

Instance::~Instance() {
  if (unit_ != nullptr) {
    AudioComponentInstanceDispose(unit_);
  }
}

TestEffect::TestEffect(AudioComponentInstance instance, UInt32 inputs, UInt32 outputs, UInt32 groups)
    : AUBase(instance, inputs, outputs, groups) {
  Globals()->SetParameter(0, 1.0F);
  LiveUnits::Add(instance, this);
}

TestEffect::~TestEffect() { LiveUnits::Remove(GetComponentInstance(), this); }

OSStatus TestEffect::Initialize() {
  ++initializeCalls;
  return initializeStatus;
}

void TestEffect::Cleanup() { ++cleanupCalls; }

OSStatus TestEffect::Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                            UInt32 inNumberFrames) {
  ++renderCalls;
  if (renderStatus != noErr) {
    return renderStatus;
  }
  const OSStatus pulled = PullInput(0, ioActionFlags, inTimeStamp, inNumberFrames);
  if (pulled != noErr) {
    return pulled;
  }
  AudioUnitParameterValue gain = 1.0F;
  Globals()->GetParameter(0, gain);
  ausdk::AUOutputElement* output = Output(0);
  for (UInt32 c = 0; c < output->GetBufferList()->mNumberBuffers; ++c) {
    const float* in = Input(0)->GetChannelData(c);
    float* out = output->GetChannelData(c);
    for (UInt32 i = 0; i < inNumberFrames; ++i) {
      out[i] = in[i] * gain;
    }
  }
  return noErr;
}

OSStatus TestEffect::GetParameterInfo(AudioUnitScope scope, AudioUnitParameterID id, AudioUnitParameterInfo& info) {
  if (scope != kAudioUnitScope_Global || id != 0) {
    return kAudioUnitErr_InvalidParameter;
  }
  std::memset(&info, 0, sizeof info);
  std::strncpy(info.name, "gain", sizeof info.name - 1);
  info.unit = kAudioUnitParameterUnit_LinearGain;
  info.minValue = 0.0F;
  info.maxValue = 4.0F;
  info.defaultValue = 1.0F;
  info.flags = kAudioUnitParameterFlag_IsReadable | kAudioUnitParameterFlag_IsWritable;
  return noErr;
}

OSStatus MultiBusUnit::Render(AudioUnitRenderActionFlags& /*ioActionFlags*/, const AudioTimeStamp& /*inTimeStamp*/,
                              UInt32 inNumberFrames) {
  ++renderCalls;
  // Output bus n carries the value n + 1, so a test can tell the buses apart.
  for (UInt32 bus = 0; bus < 3; ++bus) {
    ausdk::AUOutputElement* output = Output(bus);
    AudioBufferList* list = output->GetBufferList();
    for (UInt32 c = 0; list != nullptr && c < list->mNumberBuffers; ++c) {
      float* out = output->GetChannelData(c);
      for (UInt32 i = 0; out != nullptr && i < inNumberFrames; ++i) {
        out[i] = static_cast<float>(bus + 1);
      }
    }
  }
  return noErr;
}

OSStatus SchedulingUnit::Render(AudioUnitRenderActionFlags& /*ioActionFlags*/, const AudioTimeStamp& /*inTimeStamp*/,
                                UInt32 inNumberFrames) {
  ++renderCalls;
  auto events = ParamEventList();
  return ProcessForScheduledParams(events, inNumberFrames, this);
}

OSStatus SchedulingUnit::ProcessScheduledSlice(void* /*inUserData*/, UInt32 inStartFrameInBuffer,
                                               UInt32 inSliceFramesToProcess, UInt32 inTotalBufferFrames) {
  AudioUnitParameterValue gain = 0;
  Globals()->GetParameter(0, gain);
  slices.push_back({inStartFrameInBuffer, inSliceFramesToProcess, inTotalBufferFrames, gain});
  return sliceStatus;
}

std::atomic<ThrowingUnit::What> ThrowingUnit::throwInConstructor{ThrowingUnit::What::Nothing};

void ThrowingUnit::ThrowWhat(What what) {
  switch (what) {
    case What::Nothing:
      return;
    case What::AUException:
      ausdk::ThrowQuiet(kAudioUnitErr_FailedInitialization);
    case What::BadAlloc:
      throw std::bad_alloc();
    case What::OSStatusValue:
      throw OSStatus{-12345};
    case What::SystemError:
      throw std::system_error(std::error_code(77, std::generic_category()));
    case What::Other:
      throw std::runtime_error("something else");
  }
}

ThrowingUnit::ThrowingUnit(AudioComponentInstance instance) : TestEffect(instance) {
  ThrowWhat(throwInConstructor.load());
}

OSStatus ThrowingUnit::Initialize() {
  ThrowWhat(throwInInitialize);
  return TestEffect::Initialize();
}

OSStatus ThrowingUnit::GetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                       UInt32& outDataSize, bool& outWritable) {
  if (inID == kThrowingProperty) {
    outDataSize = 4;
    outWritable = false;
    return noErr;
  }
  return TestEffect::GetPropertyInfo(inID, inScope, inElement, outDataSize, outWritable);
}

OSStatus ThrowingUnit::GetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                   void* outData) {
  if (inID == kThrowingProperty) {
    ThrowWhat(throwInProperty);
    *static_cast<UInt32*>(outData) = 42;
    return noErr;
  }
  return TestEffect::GetProperty(inID, inScope, inElement, outData);
}

OSStatus ThrowingUnit::Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                              UInt32 inNumberFrames) {
  ThrowWhat(throwInRender);
  return TestEffect::Render(ioActionFlags, inTimeStamp, inNumberFrames);
}

BufferList::BufferList(UInt32 channels, UInt32 frames, bool withData)
    : storage_(offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * (channels > 0 ? channels : 1)),
      data_(channels, std::vector<float>(frames, 0.0F)) {
  AudioBufferList* list = get();
  list->mNumberBuffers = channels;
  for (UInt32 c = 0; c < channels; ++c) {
    list->mBuffers[c].mNumberChannels = 1;
    list->mBuffers[c].mDataByteSize = frames * sizeof(float);
    list->mBuffers[c].mData = withData ? data_[c].data() : nullptr;
  }
}

OSStatus FillInput(void* inRefCon, AudioUnitRenderActionFlags* /*ioActionFlags*/, const AudioTimeStamp* /*inTimeStamp*/,
                   UInt32 /*inBusNumber*/, UInt32 inNumberFrames, AudioBufferList* ioData) {
  const float value = *static_cast<const float*>(inRefCon);
  for (UInt32 c = 0; c < ioData->mNumberBuffers; ++c) {
    auto* samples = static_cast<float*>(ioData->mBuffers[c].mData);
    for (UInt32 i = 0; i < inNumberFrames; ++i) {
      samples[i] = value;
    }
  }
  return noErr;
}

AudioTimeStamp SampleTime(Float64 sampleTime) {
  AudioTimeStamp timeStamp{};
  timeStamp.mSampleTime = sampleTime;
  timeStamp.mFlags = kAudioTimeStampSampleTimeValid;
  return timeStamp;
}

void FeedInput(AudioUnit unit, float* value) {
  const AURenderCallbackStruct callback{FillInput, value};
  EXPECT_EQ(Set(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, callback), noErr);
}

OSStatus RenderAt(AudioUnit unit, Float64 sampleTime, UInt32 frames, AudioBufferList* data, UInt32 bus) {
  AudioUnitRenderActionFlags flags = 0;
  const AudioTimeStamp time = SampleTime(sampleTime);
  return AudioUnitRender(unit, &flags, &time, bus, frames, data);
}

float Param(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element) {
  AudioUnitParameterValue value = -999.0F;
  EXPECT_EQ(AudioUnitGetParameter(unit, id, scope, element, &value), noErr) << "parameter " << id;
  return value;
}

}  // namespace testunits
