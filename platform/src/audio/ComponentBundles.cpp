#include "audio/ComponentBundles.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>

#include "audio/BundleFactory.h"
#include "audio/Registry.h"
#include "cf/String.h"

namespace veneer::audio {

namespace {

namespace fs = std::filesystem;

// Where a bundle keeps its module on this system; the platform's own is Contents/MacOS.
constexpr const char* kModuleFolder = "Contents/Linux";

struct Releaser {
  void operator()(const void* ref) const { CFRelease(ref); }
};
using Owned = std::unique_ptr<const void, Releaser>;

Owned ReadPlist(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return nullptr;
  }
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const Owned data(
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  return Owned(CFPropertyListCreateWithData(nullptr, static_cast<CFDataRef>(data.get()), kCFPropertyListImmutable,
                                            nullptr, nullptr));
}

const void* Value(const void* dictionary, const char* key) {
  if (dictionary == nullptr || CFGetTypeID(dictionary) != CFDictionaryGetTypeID()) {
    return nullptr;
  }
  const Owned cfKey(cf::CreateString(key));
  return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), cfKey.get());
}

std::optional<std::string> Text(const void* dictionary, const char* key) {
  const __CFString* string = cf::AsString(Value(dictionary, key));
  if (string == nullptr) {
    return std::nullopt;
  }
  return string->utf8;
}

std::optional<OSType> FourCharCode(const void* dictionary, const char* key) {
  const std::optional<std::string> text = Text(dictionary, key);
  if (!text || text->size() != 4) {
    return std::nullopt;
  }
  OSType code = 0;
  for (const char c : *text) {
    code = (code << 8) | static_cast<UInt8>(c);
  }
  return code;
}

UInt32 Version(const void* dictionary) {
  const void* number = Value(dictionary, "version");
  SInt64 version = 0;
  if (number == nullptr || CFGetTypeID(number) != CFNumberGetTypeID() ||
      !CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &version)) {
    return 0;
  }
  return static_cast<UInt32>(version);
}

void RegisterBundle(Registry& registry, const fs::path& bundle) {
  const Owned info = ReadPlist(bundle / "Contents" / "Info.plist");
  const void* components = Value(info.get(), "AudioComponents");
  if (components == nullptr || CFGetTypeID(components) != CFArrayGetTypeID()) {
    return;  // not a component bundle we can read
  }
  auto module = std::make_shared<BundleModule>();
  module->bundlePath = bundle.string();
  module->identifier = Text(info.get(), "CFBundleIdentifier").value_or("");
  // A bundle without an executable still lists its components; they fail to instantiate.
  module->executablePath = (bundle / kModuleFolder / Text(info.get(), "CFBundleExecutable").value_or("")).string();

  auto array = static_cast<CFArrayRef>(components);
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    const void* entry = CFArrayGetValueAtIndex(array, i);
    const std::optional<OSType> type = FourCharCode(entry, "type");
    const std::optional<OSType> subtype = FourCharCode(entry, "subtype");
    const std::optional<OSType> manufacturer = FourCharCode(entry, "manufacturer");
    const std::optional<std::string> symbol = Text(entry, "factoryFunction");
    if (!type || !subtype || !manufacturer || !symbol) {
      continue;  // cannot be described or created
    }
    const AudioComponentDescription description{*type, *subtype, *manufacturer, 0, 0};
    const Owned name(cf::CreateString(Text(entry, "name").value_or("")));
    registry.AddFromBundle(description, static_cast<CFStringRef>(name.get()), Version(entry),
                           std::make_shared<BundleFactory>(module, *symbol));
  }
}

}  // namespace

std::vector<std::string> ComponentSearchFolders() {
  std::vector<std::string> folders;
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
    folders.push_back(std::string(home) + "/Library/Audio/Plug-Ins/Components");
  }
  if (const char* path = std::getenv("VENEER_COMPONENT_PATH"); path != nullptr) {
    std::string list(path);
    size_t start = 0;
    while (start <= list.size()) {
      const size_t end = std::min(list.find(':', start), list.size());
      if (end > start) {
        folders.push_back(list.substr(start, end - start));
      }
      start = end + 1;
    }
  }
  return folders;
}

void RegisterComponentBundles(Registry& registry, const std::vector<std::string>& folders) {
  for (const std::string& folder : folders) {
    std::error_code error;
    std::vector<fs::path> bundles;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
      if (it->path().extension() == ".component" && it->is_directory(error)) {
        bundles.push_back(it->path());
      }
    }
    std::sort(bundles.begin(), bundles.end());
    for (const fs::path& bundle : bundles) {
      RegisterBundle(registry, bundle);
    }
  }
}

}  // namespace veneer::audio
