#include "UnitFacts.h"

#include <CoreFoundation/CoreFoundation.h>

#include <climits>
#include <cstring>
#include <vector>

namespace veneerview {
namespace {

// A unit, a URL and a string are all handed over as one pointer each.
constexpr UInt32 kHandleBytes = sizeof(void*);

std::string Utf8(CFStringRef text) {
  if (text == nullptr) {
    return {};
  }
  const CFIndex length = CFStringGetLength(text);
  std::vector<char> buffer(static_cast<size_t>(CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8)) + 1);
  if (!CFStringGetCString(text, buffer.data(), static_cast<CFIndex>(buffer.size()), kCFStringEncodingUTF8)) {
    return {};
  }
  return buffer.data();
}

}  // namespace

AudioUnit InnerUnitOf(AudioUnit veneer) {
  AudioUnit inner = nullptr;
  UInt32 size = kHandleBytes;
  if (AudioUnitGetProperty(veneer, kInnerUnitProperty, kAudioUnitScope_Global, 0, &inner, &size) != noErr ||
      size != kHandleBytes) {
    return nullptr;
  }
  return inner;
}

ProductFacts ProductFactsOf(AudioUnit veneer, AudioUnit inner) {
  ProductFacts facts;
  AudioUnitParameterValue row = -1;
  if (AudioUnitGetParameter(veneer, kProductReadBack, kAudioUnitScope_Global, 0, &row) == noErr) {
    facts.variantIndex = static_cast<int>(row);
  }
  if (AudioComponent component = AudioComponentInstanceGetComponent(inner); component != nullptr) {
    CFStringRef name = nullptr;
    if (AudioComponentCopyName(component, &name) == noErr && name != nullptr) {
      facts.componentName = Utf8(name);
      CFRelease(name);
    }
    UInt32 version = 0;
    if (AudioComponentGetVersion(component, &version) == noErr) {
      facts.componentVersion = version;
    }
  }
  facts.cocoaView = CocoaViewOf(inner);
  return facts;
}

bool HostBypassOf(AudioUnit unit) {
  UInt32 bypassed = 0;
  UInt32 size = sizeof bypassed;
  return AudioUnitGetProperty(unit, kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &bypassed, &size) ==
             noErr &&
         bypassed != 0;
}

std::optional<CocoaViewOffer> CocoaViewOf(AudioUnit unit) {
  UInt32 size = 0;
  Boolean writable = false;
  if (AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, &size, &writable) !=
          noErr ||
      size < sizeof(AudioUnitCocoaViewInfo)) {
    return std::nullopt;
  }
  std::vector<unsigned char> storage(size);
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, storage.data(), &size) !=
          noErr ||
      size < sizeof(AudioUnitCocoaViewInfo)) {
    return std::nullopt;
  }
  // A URL, then one class name per pointer's worth of the rest; the caller owns them all.
  const size_t classes = (size - kHandleBytes) / kHandleBytes;
  CFURLRef location = nullptr;
  std::memcpy(&location, storage.data(), kHandleBytes);
  CocoaViewOffer offer;
  if (location != nullptr) {
    UInt8 path[PATH_MAX] = {};
    if (CFURLGetFileSystemRepresentation(location, true, path, sizeof path)) {
      offer.bundlePath = reinterpret_cast<const char*>(path);
    }
    CFRelease(location);
  }
  for (size_t i = 0; i < classes; ++i) {
    CFStringRef name = nullptr;
    std::memcpy(&name, storage.data() + kHandleBytes + i * kHandleBytes, kHandleBytes);
    if (name != nullptr) {
      if (i == 0) {
        offer.factoryClass = Utf8(name);
      }
      CFRelease(name);
    }
  }
  if (offer.bundlePath.empty() || offer.factoryClass.empty()) {
    return std::nullopt;
  }
  return offer;
}

}  // namespace veneerview
