// A component factory that lives in a bundle's module, loaded on first use.
#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <memory>
#include <mutex>
#include <string>

namespace veneer::audio {

// One per bundle: the module is opened at most once, whichever component asks first.
struct BundleModule {
  std::string bundlePath;      // ".../Foo.component"
  std::string identifier;      // CFBundleIdentifier; may be empty
  std::string executablePath;  // ".../Foo.component/Contents/Linux/<CFBundleExecutable>"

  std::mutex mutex;
  bool tried = false;
  void* handle = nullptr;  // from dlopen; never closed, as loaded bundles stay loaded
};

class BundleFactory {
 public:
  BundleFactory(std::shared_ptr<BundleModule> module, std::string symbol)
      : module_(std::move(module)), symbol_(std::move(symbol)) {}

  // [any thread] Loads the module (once per bundle) and looks up the factory;
  // null when the module or the symbol is missing.
  AudioComponentFactoryFunction Resolve();

 private:
  std::shared_ptr<BundleModule> module_;
  std::string symbol_;
  std::mutex mutex_;
  bool tried_ = false;
  AudioComponentFactoryFunction factory_ = nullptr;
};

}  // namespace veneer::audio
