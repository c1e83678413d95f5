// The module's one entry point, kept referenced so the linker pulls the
// plug-in out of its static library.
#include "shell/Veneer.h"

namespace {
[[maybe_unused]] auto* const kEntry = &VeneerFactory;
}  // namespace
