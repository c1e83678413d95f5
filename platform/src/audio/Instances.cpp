// AudioComponentInstanceNew / Dispose and the handle pool.
#include "audio/Instances.h"

#include <AudioToolbox/AUComponent.h>

#include <CoreServices/CoreServices.h>

#include "audio/Registry.h"

namespace veneer::audio {

InstancePool& InstancePool::Shared() {
  // Never destroyed: instances a host has not disposed stay alive (and
  // reachable) until the process ends, as on the platform.
  static auto* pool = new InstancePool();
  return *pool;
}

ComponentInstanceRecord* InstancePool::Take() {
  const std::lock_guard lock(mutex_);
  if (free_.size() > kQuarantine) {
    auto* record = free_.front();
    free_.pop_front();
    return record;
  }
  all_.push_back(std::make_unique<ComponentInstanceRecord>());
  return all_.back().get();
}

void InstancePool::Give(ComponentInstanceRecord* record) {
  record->component.store(nullptr, std::memory_order_relaxed);
  const std::lock_guard lock(mutex_);
  free_.push_back(record);
}

}  // namespace veneer::audio

using veneer::audio::InstancePool;
using veneer::audio::LiveInterface;
using veneer::audio::Registry;

extern "C" {

OSStatus AudioComponentInstanceNew(AudioComponent inComponent, AudioComponentInstance* outInstance) {
  if (outInstance == nullptr) {
    return kAudio_ParamError;
  }
  *outInstance = nullptr;
  if (!Registry::Shared().Contains(inComponent)) {
    return kAudio_ParamError;
  }
  const AudioComponentFactoryFunction factory = Registry::FactoryOf(inComponent);
  if (factory == nullptr) {
    // The component's bundle has no loadable module or no such factory in it.
    return kAudioComponentErr_InstanceInvalidated;
  }
  AudioComponentPlugInInterface* interface = factory(&inComponent->description);
  if (interface == nullptr || interface->Open == nullptr || interface->Close == nullptr ||
      interface->Lookup == nullptr) {
    // A factory that cannot hand out an interface has run out of room for one.
    return kAudio_MemFullError;
  }
  ComponentInstanceRecord* record = InstancePool::Shared().Take();
  // The handle is live before Open, so that Open may ask for its component.
  record->component.store(inComponent, std::memory_order_relaxed);
  record->render.store(interface->Lookup(kAudioUnitRenderSelect), std::memory_order_relaxed);
  record->interface.store(interface, std::memory_order_release);
  const OSStatus status = interface->Open(interface, record);
  if (status != noErr) {
    // An instance that failed to open was never opened: it is not closed, and
    // its component has released what the open took.
    record->interface.store(nullptr, std::memory_order_release);
    InstancePool::Shared().Give(record);
    return status;
  }
  *outInstance = record;
  return noErr;
}

OSStatus AudioComponentInstanceDispose(AudioComponentInstance inInstance) {
  if (inInstance == nullptr) {
    return badComponentInstance;
  }
  // Exchanged, so that of two racing disposals only one closes the instance.
  AudioComponentPlugInInterface* interface = inInstance->interface.exchange(nullptr, std::memory_order_acq_rel);
  if (interface == nullptr) {
    return badComponentInstance;
  }
  const OSStatus status = interface->Close(interface);
  InstancePool::Shared().Give(inInstance);
  return status;
}

AudioComponent AudioComponentInstanceGetComponent(AudioComponentInstance inInstance) {
  if (LiveInterface(inInstance) == nullptr) {
    return nullptr;
  }
  return inInstance->component.load(std::memory_order_relaxed);
}

Boolean AudioComponentInstanceCanDo(AudioComponentInstance inInstance, SInt16 inSelectorID) {
  AudioComponentPlugInInterface* interface = LiveInterface(inInstance);
  return static_cast<Boolean>(interface != nullptr && interface->Lookup(inSelectorID) != nullptr);
}

}  // extern "C"
