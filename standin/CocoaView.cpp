// The stand-ins' own Cocoa view, offered as a product offers its editor: a
// bundle in the Resources folder of the component bundle, and a factory class.
#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <cstring>

#include "standin/Unit.h"

namespace standin {

std::string CocoaViewBundlePath() {
  Dl_info image{};
  if (dladdr(reinterpret_cast<const void*>(&CocoaViewBundlePath), &image) == 0 || image.dli_fname == nullptr) {
    return {};
  }
  // From Contents/MacOS/<module> up to Contents.
  std::string path = image.dli_fname;
  for (int up = 0; up < 2; ++up) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
      return {};
    }
    path.erase(slash);
  }
  return path + "/Resources/StandInCocoaUI.bundle";
}

bool Unit::OffersCocoaView() const {
  switch (faults_.cocoaView.load()) {
    case Faults::CocoaView::kAlways:
      return true;
    case Faults::CocoaView::kNever:
      return false;
    case Faults::CocoaView::kWhenBundled:
      break;
  }
  struct stat status {};
  const std::string path = CocoaViewBundlePath();
  return !path.empty() && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

OSStatus Unit::GetPropertyInfo(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                               UInt32& outDataSize, bool& outWritable) {
  if (id == kAudioUnitProperty_CocoaUI && OffersCocoaView()) {
    outDataSize = sizeof(AudioUnitCocoaViewInfo);
    outWritable = false;
    return noErr;
  }
  return AUBase::GetPropertyInfo(id, scope, element, outDataSize, outWritable);
}

OSStatus Unit::GetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, void* outData) {
  if (id != kAudioUnitProperty_CocoaUI || !OffersCocoaView()) {
    return AUBase::GetProperty(id, scope, element, outData);
  }
  if (outData == nullptr) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  const std::string path = CocoaViewBundlePath();
  CFURLRef location = CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(path.c_str()),
                                                              static_cast<CFIndex>(path.size()), true);
  if (location == nullptr) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  // The caller owns both.
  const AudioUnitCocoaViewInfo info{location,
                                    {CFStringCreateWithCString(nullptr, kCocoaViewClass, kCFStringEncodingUTF8)}};
  std::memcpy(outData, &info, sizeof info);
  return noErr;
}

}  // namespace standin
