#include "Presets.h"

#include <CoreFoundation/CoreFoundation.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>

#include "Components.h"
#include "FileAccess.h"

namespace host {

namespace {

struct Releaser {
  void operator()(const void* object) const { CFRelease(object); }
};
using Owned = std::unique_ptr<const void, Releaser>;

std::optional<OSType> Code(CFDictionaryRef preset, CFStringRef key) {
  const void* value = CFDictionaryGetValue(preset, key);
  SInt64 number = 0;
  if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID() ||
      !CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number)) {
    return std::nullopt;
  }
  return static_cast<OSType>(number);
}

// The component a preset was saved from, when it says.
std::optional<AudioComponentDescription> PresetOwner(CFDictionaryRef preset) {
  const auto type = Code(preset, CFSTR("type"));
  const auto subtype = Code(preset, CFSTR("subtype"));
  const auto manufacturer = Code(preset, CFSTR("manufacturer"));
  if (!type || !subtype || !manufacturer) {
    return std::nullopt;
  }
  return AudioComponentDescription{*type, *subtype, *manufacturer, 0, 0};
}

bool SameCodes(const AudioComponentDescription& owner, AudioUnit unit) {
  AudioComponentDescription hosted{};
  if (AudioComponentGetDescription(AudioComponentInstanceGetComponent(unit), &hosted) != noErr) {
    return true;  // nothing to compare with: let the unit judge
  }
  return owner.componentType == hosted.componentType && owner.componentSubType == hosted.componentSubType &&
         owner.componentManufacturer == hosted.componentManufacturer;
}

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
  if (CFGetTypeID(classInfo) != CFDictionaryGetTypeID()) {
    *error = "the unit's state is not a dictionary";
    return false;
  }
  // Hosts name a preset after its file, as they list presets by name.
  const Owned named(CFDictionaryCreateMutableCopy(nullptr, 0, static_cast<CFDictionaryRef>(classInfo)));
  const std::string stem = std::filesystem::path(path).stem().string();
  const Owned name(CFStringCreateWithCString(nullptr, stem.c_str(), kCFStringEncodingUTF8));
  CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(named.get())), CFSTR("name"), name.get());
  const Owned data(CFPropertyListCreateData(nullptr, named.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
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
  if (const auto owner = PresetOwner(static_cast<CFDictionaryRef>(classInfo)); owner && !SameCodes(*owner, unit)) {
    AudioComponentDescription hosted{};
    AudioComponentGetDescription(AudioComponentInstanceGetComponent(unit), &hosted);
    *error = path + " is a preset of " + DescriptionText(*owner) + ", not of the unit hosted (" +
             DescriptionText(hosted) + ")";
    return false;
  }
  if (const OSStatus status = AudioUnitSetProperty(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0,
                                                   &classInfo, sizeof classInfo);
      status != noErr) {
    *error = "the unit refused the preset " + path + " (status " + std::to_string(status) + ")";
    return false;
  }
  return true;
}

}  // namespace host
