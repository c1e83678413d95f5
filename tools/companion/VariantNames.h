// The product variants the plug-in can drive, in the order in which it matches them.
#pragma once

#include <array>
#include <string_view>

namespace companion {

inline constexpr std::array<std::string_view, 5> kVariantNames{
    "Auto-Tune Pro", "AutoTune Advanced", "AutoTune 2026", "Auto-Tune Artist", "Auto-Tune EFX+",
};

}  // namespace companion
