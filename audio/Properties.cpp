// The properties the shell answers itself (host bypass, the custom view and the
// private property that hands the view the inner unit), its channel layouts and
// its MIDI entry points. Everything else is the base framework's.
#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>

#include <cstring>
#include <iterator>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr AUChannelInfo kChannelLayouts[] = {{1, 1}, {2, 2}};

// [any thread] Where the view bundle lies: in the Resources folder of the
// bundle this code was loaded from. Create rule; null when it cannot be found.
CFURLRef CocoaUIBundleURL() {
  if (CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("com.tonvale.veneer")); bundle != nullptr) {
    if (CFURLRef resources = CFBundleCopyResourcesDirectoryURL(bundle); resources != nullptr) {
      CFURLRef view = CFURLCreateCopyAppendingPathComponent(nullptr, resources, CFSTR("VeneerCocoaUI.bundle"), true);
      CFRelease(resources);
      return view;
    }
  }

  // Loaded from somewhere no bundle lookup sees: walk up from the executable
  // in Contents/MacOS to Contents.
  Dl_info image{};
  if (dladdr(reinterpret_cast<const void*>(&CocoaUIBundleURL), &image) == 0 || image.dli_fname == nullptr) {
    return nullptr;
  }
  CFURLRef executable =
      CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(image.dli_fname),
                                              static_cast<CFIndex>(std::strlen(image.dli_fname)), false);
  if (executable == nullptr) {
    return nullptr;
  }
  CFURLRef macOS = CFURLCreateCopyDeletingLastPathComponent(nullptr, executable);
  CFRelease(executable);
  if (macOS == nullptr) {
    return nullptr;
  }
  CFURLRef contents = CFURLCreateCopyDeletingLastPathComponent(nullptr, macOS);
  CFRelease(macOS);
  if (contents == nullptr) {
    return nullptr;
  }
  CFURLRef resources = CFURLCreateCopyAppendingPathComponent(nullptr, contents, CFSTR("Resources"), true);
  CFRelease(contents);
  if (resources == nullptr) {
    return nullptr;
  }
  CFURLRef view = CFURLCreateCopyAppendingPathComponent(nullptr, resources, CFSTR("VeneerCocoaUI.bundle"), true);
  CFRelease(resources);
  return view;
}

}  // namespace

OSStatus Veneer::GetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                                 UInt32& outDataSize, bool& outWritable) {
  switch (inID) {
    case kInnerUnitProperty:
      outDataSize = sizeof(AudioUnit);
      outWritable = false;
      return noErr;
    case kAudioUnitProperty_CocoaUI:
      outDataSize = sizeof(AudioUnitCocoaViewInfo);
      outWritable = false;
      return noErr;
    case kAudioUnitProperty_BypassEffect:
      outDataSize = sizeof(UInt32);
      outWritable = true;
      return noErr;
    default:
      return AUBase::GetPropertyInfo(inID, inScope, inElement, outDataSize, outWritable);
  }
}

OSStatus Veneer::GetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                             void* outData) {
  switch (inID) {
    case kInnerUnitProperty: {
      if (outData == nullptr) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      const AudioUnit inner = innerUnit_.load();
      std::memcpy(outData, &inner, sizeof inner);  // NOLINT(bugprone-sizeof-expression): the handle itself
      return noErr;
    }
    case kAudioUnitProperty_CocoaUI: {
      if (outData == nullptr) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      CFURLRef location = CocoaUIBundleURL();
      if (location == nullptr) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      // The host takes over the URL and the class name.
      const AudioUnitCocoaViewInfo info{location, {CFSTR("VeneerCocoaUIViewFactory")}};
      std::memcpy(outData, &info, sizeof info);
      return noErr;
    }
    case kAudioUnitProperty_BypassEffect: {
      if (outData == nullptr) {
        return kAudioUnitErr_InvalidPropertyValue;
      }
      const UInt32 bypassed = bypass_.load() ? 1 : 0;
      std::memcpy(outData, &bypassed, sizeof bypassed);
      return noErr;
    }
    default:
      return AUBase::GetProperty(inID, inScope, inElement, outData);
  }
}

OSStatus Veneer::SetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                             const void* inData, UInt32 inDataSize) {
  if (inID != kAudioUnitProperty_BypassEffect) {
    return AUBase::SetProperty(inID, inScope, inElement, inData, inDataSize);
  }
  if (inData == nullptr || inDataSize != sizeof(UInt32)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  UInt32 value = 0;
  std::memcpy(&value, inData, sizeof value);
  bypass_.store(value != 0);
  // Listeners are not told: the host that set it already knows.
  DebugLog(std::string(logtext::kHostBypassSet) + (value != 0 ? "on" : "off"));
  return noErr;
}

UInt32 Veneer::SupportedNumChannels(const AUChannelInfo** outInfo) {
  if (outInfo != nullptr) {
    *outInfo = kChannelLayouts;
  }
  return static_cast<UInt32>(std::size(kChannelLayouts));
}

OSStatus Veneer::MIDIEvent(UInt32 /*inStatus*/, UInt32 /*inData1*/, UInt32 /*inData2*/,
                           UInt32 /*inOffsetSampleFrame*/) {
  return noErr;
}

OSStatus Veneer::SysEx(const UInt8* /*inData*/, UInt32 /*inLength*/) { return noErr; }

OSStatus Veneer::MIDIEventList(UInt32 /*inOffsetSampleFrame*/, const struct MIDIEventList* /*eventList*/) {
  return noErr;
}

}  // namespace veneer
