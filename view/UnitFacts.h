// What a view can read of Veneer and its inner unit through the component API.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <optional>

#include "WindowPlan.h"

namespace veneerview {

// Veneer's private property: the inner unit it renders through.
inline constexpr AudioUnitPropertyID kInnerUnitProperty = 0x766E6975;  // 'vniu'
// Veneer's read-back of the product's row (0 "Auto-Tune Pro" ... 4 "Auto-Tune EFX+"; -1 none).
inline constexpr AudioUnitParameterID kProductReadBack = 214;

// [any thread] Veneer's inner unit; null when it has none (or is not Veneer).
AudioUnit InnerUnitOf(AudioUnit veneer);
// [main thread] The product behind `inner`: Veneer's read-back, the component's
// name and version, and the unit's own Cocoa view.
ProductFacts ProductFactsOf(AudioUnit veneer, AudioUnit inner);
// [any thread] The host's bypass switch on `unit`.
bool HostBypassOf(AudioUnit unit);
// [main thread] The Cocoa view `unit` offers (its first class), none when it offers none.
std::optional<CocoaViewOffer> CocoaViewOf(AudioUnit unit);

}  // namespace veneerview
