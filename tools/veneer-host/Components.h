// Finding the unit to host: among the installed and registered components, or
// in a module file given by path; and, on Linux, the stand-in products.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <optional>
#include <string>
#include <string_view>

namespace host {

// Veneer's own description.
inline constexpr AudioComponentDescription kVeneerDescription{kAudioUnitType_Effect, 0x566E7231 /* 'Vnr1' */,
                                                              0x546E766C /* 'Tnvl' */, 0, 0};

// "aufx:Vnr1:Tnvl": three four-character codes.
std::optional<AudioComponentDescription> ParseDescription(std::string_view text);
// The other way round.
std::string DescriptionText(const AudioComponentDescription& description);

// [main thread] The first component matching `description`; null (and `error`) when none.
AudioComponent FindComponent(const AudioComponentDescription& description, std::string* error);

// [any thread] "name version" of a component, e.g. "Tonvale: Veneer 0.1.0", and its codes.
std::string ComponentTitle(AudioComponent component);

// [main thread] Registers the stand-in of the product called `name` (its full name,
// case-insensitive, or pro, advanced, 2026, artist, efx), offering a Cocoa view of its
// own when asked. False (and `error`) for an unknown name or where the platform has no
// stand-ins.
bool RegisterStandIn(std::string_view name, bool offersCocoaView, std::string* error);

// What the user chose to host: a description and where to find it, and the
// stand-in product to register first.
struct ComponentChoice {
  AudioComponentDescription description = kVeneerDescription;
  std::optional<std::string> module;
  std::string factory = "VeneerFactory";
  bool descriptionGiven = false;  // --component
  bool factoryGiven = false;      // --factory
  // "none": only what is installed. Stand-ins exist on Linux only.
#if defined(__APPLE__)
  std::string standIn = "none";
#else
  std::string standIn = "Auto-Tune Pro";
#endif
  bool standInView = false;  // the stand-in offers a Cocoa view of its own
};

// Takes `option` and its `value` when they are one of --component, --module, --factory,
// --standin. Returns false when the option is not one of them; fills `error` when its
// value is bad.
bool ParseComponentOption(const std::string& option, const std::string& value, ComponentChoice& choice,
                          std::string* error);

// [main thread] Registers the chosen stand-in, then finds or loads the component. A bundle
// given by --module is read as the registry reads it (module, description, name, version,
// factory from its Info.plist; --component picks one of its components, --factory overrides);
// a bare module file needs --component unless it is Veneer's. Null (and `error`) on failure;
// `badArguments` says whether the user's words were at fault.
AudioComponent ResolveComponent(const ComponentChoice& choice, std::string* error, bool* badArguments);

}  // namespace host
