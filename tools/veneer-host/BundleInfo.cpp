#include "BundleInfo.h"

#include <CoreFoundation/CoreFoundation.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "Components.h"

namespace host {

namespace {

struct Releaser {
  void operator()(const void* object) const { CFRelease(object); }
};
using Owned = std::unique_ptr<const void, Releaser>;

const void* Value(CFDictionaryRef dictionary, const char* key) {
  const Owned name(CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8));
  return CFDictionaryGetValue(dictionary, static_cast<CFStringRef>(name.get()));
}

std::optional<std::string> Text(CFDictionaryRef dictionary, const char* key) {
  const void* value = Value(dictionary, key);
  char buffer[512] = {};
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID() ||
      !CFStringGetCString(static_cast<CFStringRef>(value), buffer, sizeof buffer, kCFStringEncodingUTF8)) {
    return std::nullopt;
  }
  return std::string(buffer);
}

std::optional<BundleComponent> ReadEntry(const void* entry) {
  if (entry == nullptr || CFGetTypeID(entry) != CFDictionaryGetTypeID()) {
    return std::nullopt;
  }
  const auto dictionary = static_cast<CFDictionaryRef>(entry);
  const auto type = Text(dictionary, "type");
  const auto subtype = Text(dictionary, "subtype");
  const auto manufacturer = Text(dictionary, "manufacturer");
  const auto factory = Text(dictionary, "factoryFunction");
  if (!type || !subtype || !manufacturer || !factory) {
    return std::nullopt;
  }
  const auto description = ParseDescription(*type + ":" + *subtype + ":" + *manufacturer);
  if (!description) {
    return std::nullopt;
  }
  BundleComponent component{*description, Text(dictionary, "name").value_or(""), 0, *factory};
  if (const void* version = Value(dictionary, "version");
      version != nullptr && CFGetTypeID(version) == CFNumberGetTypeID()) {
    SInt64 number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(version), kCFNumberSInt64Type, &number);
    component.version = static_cast<UInt32>(number);
  }
  return component;
}

}  // namespace

std::optional<BundleInfo> ReadBundleInfo(const std::string& bundlePath, std::string* error) {
  namespace fs = std::filesystem;
  const fs::path contents = fs::path(bundlePath) / "Contents";
  std::ifstream file(contents / "Info.plist", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const Owned data(
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  const Owned plist(bytes.empty() ? nullptr
                                  : CFPropertyListCreateWithData(nullptr, static_cast<CFDataRef>(data.get()),
                                                                 kCFPropertyListImmutable, nullptr, nullptr));
  if (plist == nullptr || CFGetTypeID(plist.get()) != CFDictionaryGetTypeID()) {
    *error = bundlePath + " is not a component bundle: no readable Contents/Info.plist";
    return std::nullopt;
  }
  const auto info = static_cast<CFDictionaryRef>(plist.get());
  const auto executable = Text(info, "CFBundleExecutable");
  if (!executable) {
    *error = (contents / "Info.plist").string() + " names no CFBundleExecutable";
    return std::nullopt;
  }
#if defined(__APPLE__)
  const char* folder = "MacOS";
#else
  const char* folder = "Linux";
#endif
  BundleInfo bundle{(contents / folder / *executable).string(), {}};
  const void* entries = Value(info, "AudioComponents");
  if (entries != nullptr && CFGetTypeID(entries) == CFArrayGetTypeID()) {
    const auto list = static_cast<CFArrayRef>(entries);
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
      if (auto component = ReadEntry(CFArrayGetValueAtIndex(list, i))) {
        bundle.components.push_back(std::move(*component));
      }
    }
  }
  if (bundle.components.empty()) {
    *error = (contents / "Info.plist").string() + " lists no AudioComponents entry";
    return std::nullopt;
  }
  return bundle;
}

}  // namespace host
