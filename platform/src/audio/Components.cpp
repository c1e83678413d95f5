// The component half of the API: registering, finding and describing components.
#include "audio/Registry.h"

using veneer::audio::Registry;

extern "C" {

AudioComponent AudioComponentRegister(const AudioComponentDescription* inDesc, CFStringRef inName, UInt32 inVersion,
                                      AudioComponentFactoryFunction inFactory) {
  if (inDesc == nullptr || inFactory == nullptr) {
    return nullptr;
  }
  return Registry::Shared().Add(*inDesc, inName, inVersion, inFactory);
}

AudioComponent AudioComponentFindNext(AudioComponent inComponent, const AudioComponentDescription* inDesc) {
  if (inDesc == nullptr) {
    return nullptr;
  }
  return Registry::Shared().FindNext(inComponent, *inDesc);
}

UInt32 AudioComponentCount(const AudioComponentDescription* inDesc) {
  if (inDesc == nullptr) {
    return 0;
  }
  return Registry::Shared().Count(*inDesc);
}

OSStatus AudioComponentCopyName(AudioComponent inComponent, CFStringRef* outName) {
  if (outName == nullptr || !Registry::Shared().Contains(inComponent)) {
    return kAudio_ParamError;
  }
  *outName = static_cast<CFStringRef>(CFRetain(inComponent->name));
  return noErr;
}

OSStatus AudioComponentGetDescription(AudioComponent inComponent, AudioComponentDescription* outDesc) {
  if (outDesc == nullptr || !Registry::Shared().Contains(inComponent)) {
    return kAudio_ParamError;
  }
  *outDesc = inComponent->description;
  return noErr;
}

OSStatus AudioComponentGetVersion(AudioComponent inComponent, UInt32* outVersion) {
  if (outVersion == nullptr || !Registry::Shared().Contains(inComponent)) {
    return kAudio_ParamError;
  }
  *outVersion = inComponent->version;
  return noErr;
}

}  // extern "C"
