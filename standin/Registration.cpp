// Registration of the stand-in components, their faults, and the method
// functions that put the property-level faults in front of the framework's.
#include <CoreFoundation/CFString.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ausdk/AUPlugInDispatch.h"
#include "ausdk/ComponentBase.h"
#include "standin/StandIn.h"

namespace standin {
namespace {

std::mutex gFaultsMutex;

std::map<AudioComponent, std::unique_ptr<Faults>>& FaultsMap() {
  static std::map<AudioComponent, std::unique_ptr<Faults>> faults;
  return faults;
}

Unit* UnitOf(void* self) {
  auto* record = static_cast<ausdk::AudioComponentPlugInInstance*>(self);
  return static_cast<Unit*>(reinterpret_cast<ausdk::ComponentBase*>(&record->mInstanceStorage));
}

// [any thread]
OSStatus InitializeMethod(void* self) {
  const OSStatus fault = UnitOf(self)->GetFaults().initialize.load();
  if (fault != noErr && fault != kAudioUnitErr_Initialized) {
    return fault;
  }
  // "Already initialised" comes from a unit that is in fact ready to render.
  const OSStatus status = ausdk::AUMethodInitialize(self);
  return status != noErr ? status : fault;
}

// [any thread]
OSStatus GetPropertyMethod(void* self, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                           void* outData, UInt32* ioDataSize) {
  if (id == kAudioUnitProperty_Latency) {
    if (const OSStatus fault = UnitOf(self)->GetFaults().latencyGet.load(); fault != noErr) {
      return fault;
    }
  }
  return ausdk::AUMethodGetProperty(self, id, scope, element, outData, ioDataSize);
}

// [any thread]
OSStatus SetPropertyMethod(void* self, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                           const void* inData, UInt32 inDataSize) {
  if (const OSStatus fault = UnitOf(self)->GetFaults().SetPropertyFailure(id, scope); fault != noErr) {
    return fault;
  }
  return ausdk::AUMethodSetProperty(self, id, scope, element, inData, inDataSize);
}

template <typename Function>
AudioComponentMethod AsMethod(Function* function) {
  return reinterpret_cast<AudioComponentMethod>(function);  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
}

// The music-effect selectors, with the faulting methods in front.
struct FaultingLookup {
  static AudioComponentMethod Lookup(SInt16 selector) {
    switch (selector) {
      case kAudioUnitInitializeSelect:
        return AsMethod(InitializeMethod);
      case kAudioUnitGetPropertySelect:
        return AsMethod(GetPropertyMethod);
      case kAudioUnitSetPropertySelect:
        return AsMethod(SetPropertyMethod);
      default:
        return ausdk::AUMIDILookup::Lookup(selector);
    }
  }
};

template <Variant V>
AudioComponentFactoryFunction Factory() {
  return ausdk::APFactory<FaultingLookup, VariantUnit<V>>::Factory;
}

}  // namespace

AudioComponentFactoryFunction FactoryOf(Variant variant) {
  switch (variant) {
    case Variant::kPro:
      return Factory<Variant::kPro>();
    case Variant::kAdvanced:
      return Factory<Variant::kAdvanced>();
    case Variant::k2026:
      return Factory<Variant::k2026>();
    case Variant::kArtist:
      return Factory<Variant::kArtist>();
    case Variant::kEfx:
      return Factory<Variant::kEfx>();
  }
  return nullptr;
}

AudioComponent Register(Variant variant, UInt32 version, const char* name) {
  const AudioComponentFactoryFunction factory = FactoryOf(variant);
  if (factory == nullptr) {
    return nullptr;
  }
  const std::string fullName = name != nullptr ? std::string(name) : std::string("Stand-in: ") + NameOf(variant);
  const ausdk::Owned<CFStringRef> cfName = ausdk::Owned<CFStringRef>::FromCreate(
      CFStringCreateWithCString(nullptr, fullName.c_str(), kCFStringEncodingUTF8));
  const AudioComponentDescription description = DescriptionOf(variant);
  AudioComponent component = AudioComponentRegister(&description, cfName.get(), version, factory);
  if (component != nullptr) {
    FaultsOf(component);  // so that the faults exist before the first instance
  }
  return component;
}

Faults& FaultsOf(AudioComponent component) {
  const std::lock_guard lock(gFaultsMutex);
  std::unique_ptr<Faults>& faults = FaultsMap()[component];
  if (faults == nullptr) {
    faults = std::make_unique<Faults>();
  }
  return *faults;
}

}  // namespace standin
