// The module's one entry point: the factory the host finds through the bundle.
#include "ausdk/AUPlugInDispatch.h"
#include "shell/Veneer.h"

extern "C" AudioComponentPlugInInterface* VeneerFactory(const AudioComponentDescription* inDesc) {
  return ausdk::APFactory<ausdk::AUMIDILookup, veneer::Veneer>::Factory(inDesc);
}
