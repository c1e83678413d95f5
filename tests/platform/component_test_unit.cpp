#include "component_test_unit.h"

#include <CoreFoundation/CFString.h>

#include <map>
#include <mutex>

namespace test_unit {
namespace {

std::atomic<int> gLive{0};
std::mutex gOpenMutex;
std::map<AudioUnit, Instance*> gOpen;  // handle -> instance, while open

Instance* Self(void* self) { return static_cast<Instance*>(self); }

void Record(void* self, const char* name, std::vector<uint64_t> args = {}) {
  Self(self)->calls.push_back({name, std::move(args)});
}

OSStatus Open(void* self, AudioComponentInstance handle) {
  auto* instance = Self(self);
  instance->handle = handle;
  instance->componentSeenInOpen = AudioComponentInstanceGetComponent(handle);
  const OSStatus status = NextBehaviour().openStatus;
  if (status != noErr) {
    delete instance;  // a failed open releases what it took; there is no Close
    return status;
  }
  ++gLive;
  const std::lock_guard lock(gOpenMutex);
  gOpen[handle] = instance;
  return noErr;
}

OSStatus Close(void* self) {
  --gLive;
  {
    const std::lock_guard lock(gOpenMutex);
    gOpen.erase(Self(self)->handle);
  }
  delete Self(self);
  return NextBehaviour().closeStatus;
}

OSStatus Initialize(void* self) {
  Record(self, "Initialize");
  return noErr;
}

OSStatus GetPropertyInfo(void* self, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                         UInt32* outSize, Boolean* outWritable) {
  Record(self, "GetPropertyInfo", {id, scope, element});
  if (outSize != nullptr) {
    *outSize = 4;
  }
  if (outWritable != nullptr) {
    *outWritable = 1;
  }
  return noErr;
}

OSStatus GetParameter(void* self, AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                      AudioUnitParameterValue* outValue) {
  Record(self, "GetParameter", {id, scope, element});
  if (outValue == nullptr) {
    return kAudio_ParamError;
  }
  *outValue = 0.25F * static_cast<float>(id);
  return noErr;
}

OSStatus SetParameter(void* self, AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                      AudioUnitParameterValue value, UInt32 offset) {
  Record(self, "SetParameter", {id, scope, element, static_cast<uint64_t>(value * 1000.0F), offset});
  return noErr;
}

OSStatus Render(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp, UInt32 bus,
                UInt32 frames, AudioBufferList* data) {
  Record(self, "Render", {bus, frames, static_cast<uint64_t>(timeStamp->mSampleTime)});
  *flags |= kAudioUnitRenderAction_OutputIsSilence;
  for (UInt32 b = 0; b < data->mNumberBuffers; ++b) {
    auto* samples = static_cast<float*>(data->mBuffers[b].mData);
    for (UInt32 i = 0; i < frames; ++i) {
      samples[i] = static_cast<float>(b + 1);
    }
  }
  return noErr;
}

OSStatus MIDIEvent(void* self, UInt32 status, UInt32 data1, UInt32 data2, UInt32 offset) {
  Record(self, "MIDIEvent", {status, data1, data2, offset});
  return noErr;
}

// Serves a few selectors only, so the others show what an unserved selector answers.
AudioComponentMethod Lookup(SInt16 selector) {
  switch (selector) {
    case kAudioUnitInitializeSelect:
      return reinterpret_cast<AudioComponentMethod>(Initialize);
    case kAudioUnitGetPropertyInfoSelect:
      return reinterpret_cast<AudioComponentMethod>(GetPropertyInfo);
    case kAudioUnitGetParameterSelect:
      return reinterpret_cast<AudioComponentMethod>(GetParameter);
    case kAudioUnitSetParameterSelect:
      return reinterpret_cast<AudioComponentMethod>(SetParameter);
    case kAudioUnitRenderSelect:
      return reinterpret_cast<AudioComponentMethod>(Render);
    case kMusicDeviceMIDIEventSelect:
      return reinterpret_cast<AudioComponentMethod>(MIDIEvent);
    default:
      return nullptr;
  }
}

// The same selectors but render, as a unit that cannot render would answer.
AudioComponentMethod LookupWithoutRender(SInt16 selector) {
  return selector == kAudioUnitRenderSelect ? nullptr : Lookup(selector);
}

}  // namespace

Behaviour& NextBehaviour() {
  static Behaviour behaviour;
  return behaviour;
}

int LiveInstances() { return gLive.load(); }

const std::vector<Call>& CallsOf(AudioUnit unit) {
  static const std::vector<Call> kNone;
  const std::lock_guard lock(gOpenMutex);
  const auto it = gOpen.find(unit);
  return it == gOpen.end() ? kNone : it->second->calls;
}

AudioComponentPlugInInterface* Factory(const AudioComponentDescription* /*description*/) {
  if (NextBehaviour().factoryReturnsNull) {
    return nullptr;
  }
  auto* instance = new Instance{};
  instance->interface = {Open, Close, NextBehaviour().servesRender ? Lookup : LookupWithoutRender, nullptr};
  return &instance->interface;
}

AudioComponent Register(const AudioComponentDescription& description, const char* name, UInt32 version) {
  CFStringRef cfName = CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8);
  AudioComponent component = AudioComponentRegister(&description, cfName, version, Factory);
  CFRelease(cfName);
  return component;
}

}  // namespace test_unit
