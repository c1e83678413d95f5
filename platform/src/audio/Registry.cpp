#include "audio/Registry.h"

#include "audio/BundleFactory.h"
#include "audio/ComponentBundles.h"
#include "cf/Object.h"

namespace veneer::audio {

Registry& Registry::Shared() {
  static Registry registry;
  static std::once_flag scanned;
  std::call_once(scanned, [] { RegisterComponentBundles(registry, ComponentSearchFolders()); });
  return registry;
}

Registry::~Registry() {
  for (auto& component : components_) {
    CFRelease(component->name);
  }
}

bool Registry::Matches(const AudioComponentDescription& candidate, const AudioComponentDescription& search) {
  // Zero in the search is a wildcard; the flags are compared under the search's mask.
  return (search.componentType == 0 || search.componentType == candidate.componentType) &&
         (search.componentSubType == 0 || search.componentSubType == candidate.componentSubType) &&
         (search.componentManufacturer == 0 || search.componentManufacturer == candidate.componentManufacturer) &&
         ((candidate.componentFlags & search.componentFlagsMask) ==
          (search.componentFlags & search.componentFlagsMask));
}

AudioComponent Registry::Add(const AudioComponentDescription& description, CFStringRef name, UInt32 version,
                             AudioComponentFactoryFunction factory) {
  return Append(description, name, version, factory, nullptr);
}

AudioComponent Registry::AddFromBundle(const AudioComponentDescription& description, CFStringRef name, UInt32 version,
                                       std::shared_ptr<BundleFactory> factory) {
  return Append(description, name, version, nullptr, std::move(factory));
}

AudioComponent Registry::Append(const AudioComponentDescription& description, CFStringRef name, UInt32 version,
                                AudioComponentFactoryFunction factory, std::shared_ptr<BundleFactory> bundleFactory) {
  auto component = std::make_unique<OpaqueAudioComponent>();
  component->description = description;
  component->name = name != nullptr ? static_cast<CFStringRef>(CFRetain(name)) : cf::CreateString("");
  component->version = version;
  component->factory = factory;
  component->bundleFactory = std::move(bundleFactory);
  const std::lock_guard lock(mutex_);
  components_.push_back(std::move(component));
  return components_.back().get();
}

AudioComponentFactoryFunction Registry::FactoryOf(AudioComponent component) {
  if (component->bundleFactory != nullptr) {
    return component->bundleFactory->Resolve();
  }
  return component->factory;
}

AudioComponent Registry::FindNext(AudioComponent after, const AudioComponentDescription& search) const {
  const std::lock_guard lock(mutex_);
  size_t start = 0;
  if (after != nullptr) {
    // Found by identity before anything is read through it: a stray pointer ends the walk.
    while (start < components_.size() && components_[start].get() != after) {
      ++start;
    }
    if (start == components_.size()) {
      return nullptr;
    }
    ++start;
  }
  for (size_t i = start; i < components_.size(); ++i) {
    if (Matches(components_[i]->description, search)) {
      return components_[i].get();
    }
  }
  return nullptr;
}

UInt32 Registry::Count(const AudioComponentDescription& search) const {
  const std::lock_guard lock(mutex_);
  UInt32 count = 0;
  for (const auto& component : components_) {
    count += Matches(component->description, search) ? 1 : 0;
  }
  return count;
}

bool Registry::Contains(AudioComponent component) const {
  if (component == nullptr) {
    return false;
  }
  const std::lock_guard lock(mutex_);
  for (const auto& candidate : components_) {
    if (candidate.get() == component) {
      return true;
    }
  }
  return false;
}

}  // namespace veneer::audio
