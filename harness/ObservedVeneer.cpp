#include "harness/ObservedVeneer.h"

#include "ausdk/AUPlugInDispatch.h"
#include "standin/LiveRegistry.h"

namespace harness {
namespace {

standin::LiveRegistry<ObservedVeneer>& Live() {
  static standin::LiveRegistry<ObservedVeneer> live;
  return live;
}

}  // namespace

ObservedVeneer::ObservedVeneer(AudioComponentInstance instance) : Veneer(instance) { Live().Add(instance, this); }

ObservedVeneer::~ObservedVeneer() { Live().Remove(GetComponentInstance()); }

ObservedVeneer* ObservedVeneer::Find(AudioUnit handle) { return Live().Find(handle); }

AudioComponent RegisterObservedVeneer(OSType subtype, CFStringRef name) {
  return ausdk::APFactory<ausdk::AUMIDILookup, ObservedVeneer>::Register({kAudioUnitType_Effect, subtype, 'Tnvl', 0, 0},
                                                                         name, 0x00010000);
}

}  // namespace harness
