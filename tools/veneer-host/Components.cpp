#include "Components.h"

#include "BundleInfo.h"

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#if !defined(__APPLE__)
#include "standin/StandIn.h"
#endif

namespace host {

namespace {

std::string Lowercase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower;
}

std::optional<OSType> FourCharCode(std::string_view text) {
  if (text.size() != 4) {
    return std::nullopt;
  }
  OSType code = 0;
  for (const char c : text) {
    code = (code << 8) | static_cast<unsigned char>(c);
  }
  return code;
}

std::string CodeText(OSType code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const auto c = static_cast<char>((code >> shift) & 0xFF);
    text += std::isprint(static_cast<unsigned char>(c)) != 0 ? c : '?';
  }
  return text;
}

}  // namespace

std::optional<AudioComponentDescription> ParseDescription(std::string_view text) {
  if (text.size() != 14 || text[4] != ':' || text[9] != ':') {
    return std::nullopt;
  }
  const auto type = FourCharCode(text.substr(0, 4));
  const auto subtype = FourCharCode(text.substr(5, 4));
  const auto manufacturer = FourCharCode(text.substr(10, 4));
  if (!type || !subtype || !manufacturer) {
    return std::nullopt;
  }
  return AudioComponentDescription{*type, *subtype, *manufacturer, 0, 0};
}

std::string DescriptionText(const AudioComponentDescription& description) {
  return CodeText(description.componentType) + ":" + CodeText(description.componentSubType) + ":" +
         CodeText(description.componentManufacturer);
}

AudioComponent FindComponent(const AudioComponentDescription& description, std::string* error) {
  AudioComponent component = AudioComponentFindNext(nullptr, &description);
  if (component == nullptr) {
    *error = "no component " + DescriptionText(description) +
             " is installed (install Veneer with `cmake --install build/default`, or pass --module PATH)";
  }
  return component;
}

namespace {

bool SameCodes(const AudioComponentDescription& a, const AudioComponentDescription& b) {
  return a.componentType == b.componentType && a.componentSubType == b.componentSubType &&
         a.componentManufacturer == b.componentManufacturer;
}

// What to register from a module path: the bundle's own word, or the user's for a bare file.
std::optional<BundleComponent> ChooseModuleComponent(const ComponentChoice& choice, std::string* modulePath,
                                                     std::string* error, bool* badArguments) {
  namespace fs = std::filesystem;
  std::error_code failure;
  if (!fs::is_directory(*choice.module, failure)) {
    if (!choice.descriptionGiven && choice.factory != ComponentChoice{}.factory) {
      *error = "a module file does not say which component it holds: give --component TYPE:SUBTYPE:MANUFACTURER";
      *badArguments = true;
      return std::nullopt;
    }
    *modulePath = *choice.module;
    return BundleComponent{choice.description, fs::path(*choice.module).filename().string(), 0, choice.factory};
  }
  const std::optional<BundleInfo> bundle = ReadBundleInfo(*choice.module, error);
  if (!bundle) {
    *badArguments = true;
    return std::nullopt;
  }
  *modulePath = bundle->modulePath;
  for (BundleComponent component : bundle->components) {
    if (!choice.descriptionGiven || SameCodes(component.description, choice.description)) {
      component.factory = choice.factoryGiven ? choice.factory : component.factory;
      return component;
    }
  }
  *error = *choice.module + " holds no component " + DescriptionText(choice.description);
  *badArguments = true;
  return std::nullopt;
}

// Loads the module, finds the factory and registers it, for running a build that is not installed.
AudioComponent LoadModuleComponent(const std::string& module, const BundleComponent& wanted, std::string* error) {
  // The module stays loaded for the life of the process, as installed ones do.
  void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    *error = "cannot load " + module + ": " + dlerror();
    return nullptr;
  }
  auto* function = reinterpret_cast<AudioComponentFactoryFunction>(dlsym(handle, wanted.factory.c_str()));
  if (function == nullptr) {
    *error = module + " has no factory function " + wanted.factory;
    return nullptr;
  }
  const CFStringRef name = CFStringCreateWithCString(nullptr, wanted.name.c_str(), kCFStringEncodingUTF8);
  AudioComponent component = AudioComponentRegister(&wanted.description, name, wanted.version, function);
  CFRelease(name);
  if (component == nullptr) {
    *error = "cannot register " + module;
  }
  return component;
}

}  // namespace

std::string ComponentTitle(AudioComponent component) {
  std::string title = "(unknown component)";
  CFStringRef name = nullptr;
  if (AudioComponentCopyName(component, &name) == noErr && name != nullptr) {
    char buffer[256] = {};
    if (CFStringGetCString(name, buffer, sizeof buffer, kCFStringEncodingUTF8)) {
      title = buffer;
    }
    CFRelease(name);
  }
  // A bare module file says no version: none is shown rather than 0.0.0.
  UInt32 version = 0;
  if (AudioComponentGetVersion(component, &version) == noErr && version != 0) {
    title += " " + std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 0xFF) + "." +
             std::to_string(version & 0xFF);
  }
  AudioComponentDescription description{};
  if (AudioComponentGetDescription(component, &description) == noErr) {
    title += " (" + DescriptionText(description) + ")";
  }
  return title;
}

bool RegisterStandIn(std::string_view name, bool offersCocoaView, std::string* error) {
#if defined(__APPLE__)
  static_cast<void>(name);
  static_cast<void>(offersCocoaView);
  *error = "stand-ins exist only on Linux; use --standin none";
  return false;
#else
  const std::string wanted = Lowercase(name);
  constexpr const char* kShortNames[] = {"pro", "advanced", "2026", "artist", "efx"};
  std::string known;
  for (std::size_t i = 0; i < std::size(standin::kAllVariants); ++i) {
    const standin::Variant variant = standin::kAllVariants[i];
    if (wanted == Lowercase(standin::NameOf(variant)) || wanted == kShortNames[i]) {
      const AudioComponent component = standin::Register(variant, standin::kBundleVersion);
      if (component == nullptr) {
        *error = "cannot register the stand-in " + std::string(standin::NameOf(variant));
        return false;
      }
      if (offersCocoaView) {
        standin::FaultsOf(component).cocoaView.store(standin::Faults::CocoaView::kAlways);
      }
      return true;
    }
    known += std::string(known.empty() ? "" : ", ") + "\"" + standin::NameOf(variant) + "\"";
  }
  *error = "unknown stand-in '" + std::string(name) + "' (known: " + known + ", or none)";
  return false;
#endif
}

bool ParseComponentOption(const std::string& option, const std::string& value, ComponentChoice& choice,
                          std::string* error) {
  if (option == "--component") {
    const auto description = ParseDescription(value);
    if (!description) {
      *error = "needs TYPE:SUBTYPE:MANUFACTURER, three four-character codes, not '" + value + "'";
    } else {
      choice.description = *description;
      choice.descriptionGiven = true;
    }
  } else if (option == "--module") {
    choice.module = value;
  } else if (option == "--factory") {
    choice.factory = value;
    choice.factoryGiven = true;
  } else if (option == "--standin") {
    choice.standIn = value;
  } else {
    return false;
  }
  return true;
}

AudioComponent ResolveComponent(const ComponentChoice& choice, std::string* error, bool* badArguments) {
  *badArguments = false;
  if (choice.standIn != "none" && !RegisterStandIn(choice.standIn, choice.standInView, error)) {
    *badArguments = true;
    return nullptr;
  }
  if (!choice.module) {
    return FindComponent(choice.description, error);
  }
  std::string module;
  const std::optional<BundleComponent> wanted = ChooseModuleComponent(choice, &module, error, badArguments);
  return wanted ? LoadModuleComponent(module, *wanted, error) : nullptr;
}

}  // namespace host
