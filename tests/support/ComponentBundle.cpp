#include "ComponentBundle.h"

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>

#include <fstream>
#include <iterator>

namespace testsupport {

namespace {

std::string StringOf(CFDictionaryRef dictionary, CFStringRef key) {
  const auto value = static_cast<CFStringRef>(CFDictionaryGetValue(dictionary, key));
  char text[256] = {};
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID() ||
      !CFStringGetCString(value, text, sizeof text, kCFStringEncodingUTF8)) {
    return "";
  }
  return text;
}

OSType CodeOf(CFDictionaryRef entry, CFStringRef key) {
  const std::string text = StringOf(entry, key);
  OSType code = 0;
  for (const char c : text) {
    code = (code << 8) | static_cast<unsigned char>(c);
  }
  return text.size() == 4 ? code : 0;
}

// The Info.plist as a dictionary (create rule), or null.
CFDictionaryRef ReadInfo(const std::string& bundlePath) {
  std::ifstream file(bundlePath + "/Contents/Info.plist", std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
  CFRelease(data);
  if (plist != nullptr && CFGetTypeID(plist) != CFDictionaryGetTypeID()) {
    CFRelease(plist);
    plist = nullptr;
  }
  return static_cast<CFDictionaryRef>(plist);
}

}  // namespace

std::vector<BundledComponent> RegisterBundle(const std::string& bundlePath, std::string* error) {
  std::vector<BundledComponent> registered;
  CFDictionaryRef info = ReadInfo(bundlePath);
  if (info == nullptr) {
    *error = "no readable Info.plist in " + bundlePath;
    return registered;
  }
  const std::string module =
      bundlePath + "/Contents/" VENEER_BUNDLE_MODULE_FOLDER "/" + StringOf(info, CFSTR("CFBundleExecutable"));
  void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
  const auto entries = static_cast<CFArrayRef>(CFDictionaryGetValue(info, CFSTR("AudioComponents")));
  if (handle == nullptr) {
    *error = "cannot load " + module + ": " + dlerror();
  } else if (entries == nullptr || CFGetTypeID(entries) != CFArrayGetTypeID()) {
    *error = bundlePath + " has no AudioComponents array";
  } else {
    for (CFIndex i = 0; i < CFArrayGetCount(entries); ++i) {
      const auto entry = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(entries, i));
      BundledComponent bundled;
      bundled.description = {CodeOf(entry, CFSTR("type")), CodeOf(entry, CFSTR("subtype")),
                             CodeOf(entry, CFSTR("manufacturer")), 0, 0};
      bundled.name = StringOf(entry, CFSTR("name"));
      bundled.factory = StringOf(entry, CFSTR("factoryFunction"));
      SInt64 version = 0;
      if (const auto number = static_cast<CFNumberRef>(CFDictionaryGetValue(entry, CFSTR("version")))) {
        CFNumberGetValue(number, kCFNumberSInt64Type, &version);
      }
      bundled.version = static_cast<UInt32>(version);
      auto* factory = reinterpret_cast<AudioComponentFactoryFunction>(dlsym(handle, bundled.factory.c_str()));
      if (factory == nullptr) {
        *error = module + " has no factory " + bundled.factory;
        break;
      }
      CFStringRef name = CFStringCreateWithCString(nullptr, bundled.name.c_str(), kCFStringEncodingUTF8);
      bundled.component = AudioComponentRegister(&bundled.description, name, bundled.version, factory);
      CFRelease(name);
      registered.push_back(bundled);
    }
  }
  CFRelease(info);
  return registered;
}

}  // namespace testsupport
