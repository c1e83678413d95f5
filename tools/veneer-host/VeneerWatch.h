// What the host can learn of Veneer around a render: whether the companion's files would
// make it bypass, whether it holds an inner unit, its link's first pass, and a variant it
// was told to use but could not find.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <filesystem>
#include <optional>

#include "PluginLog.h"
#include "RenderSession.h"
#include "Summary.h"
#include "SupportFolder.h"

namespace host {

// [main thread] The bypass the companion's files would cause now (none without a folder).
BypassCause CompanionCause(const std::optional<companion::SupportFolder>& folder);

// [main thread] Notes in `facts` the forced or preferred variant Veneer logged as missing.
void NoteMissingVariant(const companion::SupportFolder& folder, const PluginLog& log, RunFacts& facts);

// [main thread] Veneer's link makes its first pass (heartbeat verdict, then the alive file) as it is
// initialised. Waiting for it before the first block makes that block take the same path as the
// blocks after it, so the summary can tell which path each took. Nothing for other units.
void AwaitFirstLinkPass(AudioUnit unit, const companion::SupportFolder& folder,
                        std::filesystem::file_time_type initialized);

// The most frames Veneer asks of its product in one render (its inner unit's maximum frames per slice).
inline constexpr UInt32 kVeneerProductFrames = 4096;

// [main thread] Whether the unit is Veneer (it answers the inner-unit property), with or without a product.
bool HandsOutInnerUnit(AudioUnit unit);

// [main thread] Whether the unit is Veneer holding an inner unit: only then are settings applied.
bool HasInnerUnit(AudioUnit unit);

}  // namespace host
