#include "audio/BundleFactory.h"

#include <dlfcn.h>
#include <os/log.h>

#include "cf/LoadedBundles.h"

namespace veneer::audio {

namespace {

// [any thread] Opens the bundle's module once.
void* OpenModule(BundleModule& module) {
  const std::lock_guard lock(module.mutex);
  if (!module.tried) {
    module.tried = true;
    module.handle = dlopen(module.executablePath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module.handle == nullptr) {
      const char* reason = dlerror();
      os_log_error(OS_LOG_DEFAULT, "cannot load component bundle %s: %s", module.bundlePath.c_str(),
                   reason != nullptr ? reason : "unknown error");
    }
  }
  return module.handle;
}

}  // namespace

AudioComponentFactoryFunction BundleFactory::Resolve() {
  const std::lock_guard lock(mutex_);
  if (tried_) {
    return factory_;
  }
  tried_ = true;
  void* handle = OpenModule(*module_);
  if (handle == nullptr) {
    return nullptr;
  }
  void* symbol = dlsym(handle, symbol_.c_str());
  if (symbol == nullptr) {
    os_log_error(OS_LOG_DEFAULT, "component bundle %s has no factory %s", module_->bundlePath.c_str(), symbol_.c_str());
    return nullptr;
  }
  if (!module_->identifier.empty()) {
    // Registered before the factory runs, so the component can find its resources from Open on.
    cf::RegisterLoadedBundle(module_->bundlePath, module_->identifier, module_->executablePath);
  }
  factory_ = reinterpret_cast<AudioComponentFactoryFunction>(symbol);
  return factory_;
}

}  // namespace veneer::audio
