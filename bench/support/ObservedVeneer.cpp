#include "support/ObservedVeneer.h"

#include <CoreFoundation/CoreFoundation.h>

#include <map>
#include <mutex>

#include "ausdk/AUPlugInDispatch.h"

namespace bench {
namespace {

std::mutex gLiveMutex;

std::map<AudioUnit, ObservedVeneer*>& Live() {
  static std::map<AudioUnit, ObservedVeneer*> live;
  return live;
}

}  // namespace

ObservedVeneer::ObservedVeneer(AudioComponentInstance instance) : Veneer(instance) {
  const std::lock_guard lock(gLiveMutex);
  Live()[instance] = this;
}

ObservedVeneer::~ObservedVeneer() {
  const std::lock_guard lock(gLiveMutex);
  Live().erase(GetComponentInstance());
}

ObservedVeneer* ObservedVeneer::Find(AudioUnit handle) {
  const std::lock_guard lock(gLiveMutex);
  const auto it = Live().find(handle);
  return it == Live().end() ? nullptr : it->second;
}

AudioComponent ObservedVeneerComponent() {
  static const AudioComponent component = ausdk::APFactory<ausdk::AUMIDILookup, ObservedVeneer>::Register(
      {kAudioUnitType_Effect, 'VnrB', 'Tnvl', 0, 0}, CFSTR("Tonvale: Veneer (observed)"), 0x00010000);
  return component;
}

}  // namespace bench
