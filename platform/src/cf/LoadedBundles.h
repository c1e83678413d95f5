// The registry of loaded bundles that CFBundleGetBundleWithIdentifier searches.
#pragma once

#include <CoreFoundation/CFBundle.h>

#include <string>

namespace veneer::cf {

// [any thread] Records a loaded bundle: its directory (".../Foo.component"), its
// identifier and, if known, the path of its executable. Registering an identifier
// again answers the bundle already recorded. The bundle lives for the process.
CFBundleRef RegisterLoadedBundle(const std::string& bundlePath, const std::string& identifier,
                                 const std::string& executablePath = {});

}  // namespace veneer::cf
