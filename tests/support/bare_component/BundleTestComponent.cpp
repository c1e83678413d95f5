// A component shipped in a bundle, written only against the platform API as a plug-in author would.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>

#include <new>

namespace {

// Private properties: whether Open found this bundle by identifier, and the subtype the factory was given.
constexpr AudioUnitPropertyID kFoundOwnBundleProperty = 64000;
constexpr AudioUnitPropertyID kSubtypeProperty = 64001;

struct Instance {
  AudioComponentPlugInInterface interface;  // first, so the interface pointer is the instance
  OSType subtype = 0;
  UInt32 foundOwnBundle = 0;
};

OSStatus Open(void* self, AudioComponentInstance /*instance*/) {
  CFStringRef identifier = CFStringCreateWithCString(nullptr, "com.example.bundle-test", kCFStringEncodingUTF8);
  static_cast<Instance*>(self)->foundOwnBundle = CFBundleGetBundleWithIdentifier(identifier) != nullptr ? 1 : 0;
  CFRelease(identifier);
  return noErr;
}

OSStatus Close(void* self) {
  delete static_cast<Instance*>(self);
  return noErr;
}

OSStatus GetProperty(void* self, AudioUnitPropertyID id, AudioUnitScope /*scope*/, AudioUnitElement /*element*/,
                     void* outData, UInt32* ioDataSize) {
  if (outData == nullptr || ioDataSize == nullptr || *ioDataSize < sizeof(UInt32)) {
    return kAudioUnitErr_InvalidParameter;
  }
  const auto* instance = static_cast<Instance*>(self);
  if (id == kFoundOwnBundleProperty) {
    *static_cast<UInt32*>(outData) = instance->foundOwnBundle;
  } else if (id == kSubtypeProperty) {
    *static_cast<UInt32*>(outData) = instance->subtype;
  } else {
    return kAudioUnitErr_InvalidProperty;
  }
  *ioDataSize = sizeof(UInt32);
  return noErr;
}

AudioComponentMethod Lookup(SInt16 selector) {
  if (selector == kAudioUnitGetPropertySelect) {
    return reinterpret_cast<AudioComponentMethod>(&GetProperty);
  }
  return nullptr;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) AudioComponentPlugInInterface* BundleTestFactory(
    const AudioComponentDescription* description) {
  auto* instance = new (std::nothrow) Instance{};
  if (instance == nullptr) {
    return nullptr;
  }
  instance->interface = {&Open, &Close, &Lookup, nullptr};
  instance->subtype = description->componentSubType;
  return &instance->interface;
}
