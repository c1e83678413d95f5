// CFBundle: the bundles that plug-in loading registered, plus the main bundle.
#include <CoreFoundation/CFBundle.h>

#include <unistd.h>

#include <map>
#include <mutex>

#include "cf/LoadedBundles.h"
#include "cf/Object.h"
#include "cf/String.h"

struct __CFBundle final : veneer::cf::Object {
  __CFBundle(std::string bundlePath, CFStringRef bundleIdentifier, std::string executablePath, bool isFlat)
      : Object(veneer::cf::kBundleTypeId),
        path(std::move(bundlePath)),
        identifier(bundleIdentifier),
        executable(std::move(executablePath)),
        flat(isFlat) {
    MakeImmortal();  // loaded bundles are never unloaded
  }
  [[nodiscard]] std::string Describe() const override { return "CFBundle <" + path + ">"; }

  std::string path;
  CFStringRef identifier;  // owned; may be null
  std::string executable;
  bool flat;  // a plain directory, not a Contents/ layout
};

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::string, __CFBundle*> byIdentifier;
};

Registry& TheRegistry() {
  static auto* registry = new Registry();  // lives for the process, as loaded bundles do
  return *registry;
}

const __CFBundle* AsBundle(CFTypeRef ref) { return veneer::cf::Cast<__CFBundle>(ref, veneer::cf::kBundleTypeId); }

CFURLRef CreateFileUrl(const std::string& path, bool isDirectory) {
  CFStringRef text = veneer::cf::CreateString(path);
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, text, kCFURLPOSIXPathStyle, isDirectory);
  CFRelease(text);
  return url;
}

__CFBundle* MakeMainBundle() {
  char buffer[4096];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) {
    return nullptr;
  }
  const std::string executable(buffer, static_cast<size_t>(length));
  const size_t slash = executable.rfind('/');
  const std::string directory = slash == 0 ? "/" : executable.substr(0, slash);
  return new __CFBundle(directory, nullptr, executable, true);
}

}  // namespace

namespace veneer::cf {

CFBundleRef RegisterLoadedBundle(const std::string& bundlePath, const std::string& identifier,
                                 const std::string& executablePath) {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  auto [it, inserted] = registry.byIdentifier.try_emplace(identifier, nullptr);
  if (inserted) {
    it->second = new __CFBundle(bundlePath, CreateString(identifier), executablePath, false);
  }
  return it->second;
}

}  // namespace veneer::cf

extern "C" {

CFTypeID CFBundleGetTypeID(void) { return veneer::cf::kBundleTypeId; }

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID) {
  const __CFString* identifier = veneer::cf::AsString(bundleID);
  if (identifier == nullptr) {
    return nullptr;
  }
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  const auto it = registry.byIdentifier.find(identifier->utf8);
  return it == registry.byIdentifier.end() ? nullptr : it->second;
}

CFBundleRef CFBundleGetMainBundle(void) {
  static __CFBundle* const mainBundle = MakeMainBundle();
  return mainBundle;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle) {
  const __CFBundle* b = AsBundle(bundle);
  return b == nullptr ? nullptr : b->identifier;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) {
  const __CFBundle* b = AsBundle(bundle);
  return b == nullptr ? nullptr : CreateFileUrl(b->path, true);
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle) {
  const __CFBundle* b = AsBundle(bundle);
  if (b == nullptr) {
    return nullptr;
  }
  return CreateFileUrl(b->flat ? b->path : b->path + "/Contents/Resources", true);
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle) {
  const __CFBundle* b = AsBundle(bundle);
  return b == nullptr || b->executable.empty() ? nullptr : CreateFileUrl(b->executable, false);
}

}  // extern "C"
