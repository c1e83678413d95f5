#include "Presets.h"

#include <CoreFoundation/CoreFoundation.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>

#include "FileAccess.h"

namespace host {

namespace {

struct Releaser {
  void operator()(const void* object) const { CFRelease(object); }
};
using Owned = std::unique_ptr<const void, Releaser>;

}  // namespace

bool SavePreset(AudioUnit unit, const std::string& path, std::string* error) {
  CFPropertyListRef classInfo = nullptr;
  UInt32 size = sizeof classInfo;
  if (const OSStatus status =
          AudioUnitGetProperty(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &classInfo, &size);
      status != noErr || classInfo == nullptr) {
    *error = "the unit gave no state to save (status " + std::to_string(status) + ")";
    return false;
  }
  const Owned owned(classInfo);
  const Owned data(CFPropertyListCreateData(nullptr, classInfo, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (data == nullptr) {
    *error = "the unit's state cannot be written as a property list";
    return false;
  }
  const auto bytes = static_cast<CFDataRef>(data.get());
  return companion::ReplaceFileAtomically(path,
                                          std::string_view(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                                                           static_cast<std::size_t>(CFDataGetLength(bytes))),
                                          error);
}

bool LoadPreset(AudioUnit unit, const std::string& path, std::string* error) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    *error = "cannot read " + path;
    return false;
  }
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const Owned data(
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  const Owned plist(CFPropertyListCreateWithData(nullptr, static_cast<CFDataRef>(data.get()), kCFPropertyListImmutable,
                                                 nullptr, nullptr));
  if (plist == nullptr || CFGetTypeID(plist.get()) != CFDictionaryGetTypeID()) {
    *error = path + " is not a preset: a property list holding a dictionary was expected";
    return false;
  }
  const CFPropertyListRef classInfo = plist.get();
  if (const OSStatus status = AudioUnitSetProperty(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0,
                                                   &classInfo, sizeof classInfo);
      status != noErr) {
    *error = "the unit refused the preset " + path + " (status " + std::to_string(status) + ")";
    return false;
  }
  return true;
}

}  // namespace host
