// Stand-ins for the outside pitch-correction products, for tests and demos on
// a system where the products are not installed. Each variant registers as a
// component under the product's own description and behaves like a small,
// predictable effect whose failures a test can switch on.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include "standin/Faults.h"
#include "standin/Unit.h"
#include "standin/Variants.h"

namespace standin {

// The version a copy registered in the process takes unless told otherwise:
// newer than any installed copy of the product (a real one, or the stand-ins'
// own bundles, 1.0.0), so that the plug-in, which takes the newest, finds the
// copy a test registered even on a machine where the product is installed.
inline constexpr UInt32 kRegisteredVersion = 0x7FFF0000;  // 32767.0.0
// The version of the stand-ins' installable bundles, and the one veneer-host registers.
inline constexpr UInt32 kBundleVersion = 0x00010000;  // 1.0.0

// [any thread] Registers a copy of the product in this process. May be called
// again with other versions: the copies stand side by side, as installed ones
// do. `name` defaults to "Stand-in: " + NameOf(variant). Null on failure.
AudioComponent Register(Variant variant, UInt32 version = kRegisteredVersion, const char* name = nullptr);

// [any thread] The factory of the product's component class, as an installed
// bundle's module hands it out; null for a variant out of range.
AudioComponentFactoryFunction FactoryOf(Variant variant);

// [any thread] The faults of a registered component, for its future and live
// instances. The reference stays valid for the life of the process.
Faults& FaultsOf(AudioComponent component);

// [any thread] The stand-in object behind a live instance handle, or null. The
// pointer is valid until the instance is disposed.
Unit* Find(AudioUnit handle);
// [any thread] How many stand-in instances are open in this process.
size_t LiveCount();

}  // namespace standin
