// A component bundle as the build lays it out, registered in this process from
// its own Info.plist and module. The system's registry is left out: on macOS it
// reads only the real user's Components folder, which tests must not touch.
#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <string>
#include <vector>

namespace testsupport {

// One entry of the bundle's AudioComponents array, as registered.
struct BundledComponent {
  AudioComponentDescription description{};
  std::string name;
  UInt32 version = 0;
  std::string factory;
  AudioComponent component = nullptr;
};

// Loads the bundle's module (Contents/MacOS or, here, Contents/Linux, named by
// CFBundleExecutable; it stays loaded) and registers every AudioComponents entry
// with AudioComponentRegister and its factory function. On a failure `error`
// says what, and the entries registered until then are returned.
std::vector<BundledComponent> RegisterBundle(const std::string& bundlePath, std::string* error);

}  // namespace testsupport
