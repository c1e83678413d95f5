// What a component bundle says about itself in Contents/Info.plist: the module's
// file name and the components it holds, as the platform's registry reads them.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <optional>
#include <string>
#include <vector>

namespace host {

struct BundleComponent {
  AudioComponentDescription description{};
  std::string name;
  UInt32 version = 0;
  std::string factory;
};

struct BundleInfo {
  std::string modulePath;  // Contents/MacOS (Linux here)/CFBundleExecutable
  std::vector<BundleComponent> components;
};

// [main thread] Nothing, with `error` filled, when `bundlePath` holds no readable
// Info.plist, names no executable or lists no component.
std::optional<BundleInfo> ReadBundleInfo(const std::string& bundlePath, std::string* error);

}  // namespace host
