// The process's component registry: every registered component, in order.
#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <deque>
#include <memory>
#include <mutex>

namespace veneer::audio {
class BundleFactory;
}  // namespace veneer::audio

struct OpaqueAudioComponent {
  AudioComponentDescription description;
  CFStringRef name;  // retained; never null
  UInt32 version;
  AudioComponentFactoryFunction factory;                        // null for a bundle's component
  std::shared_ptr<veneer::audio::BundleFactory> bundleFactory;  // a bundle's component: finds its factory
};

namespace veneer::audio {

class Registry {
 public:
  // [any thread] The one registry of the process; the first use registers the component bundles
  // found on disk, so they come before any component registered at run time.
  static Registry& Shared();

  ~Registry();

  // [any thread]
  AudioComponent Add(const AudioComponentDescription& description, CFStringRef name, UInt32 version,
                     AudioComponentFactoryFunction factory);
  // [any thread] A component whose factory is in a bundle's module, loaded on first instantiation.
  AudioComponent AddFromBundle(const AudioComponentDescription& description, CFStringRef name, UInt32 version,
                               std::shared_ptr<BundleFactory> factory);
  // [any thread] The component's factory, loading its bundle's module if need be; null when that fails.
  static AudioComponentFactoryFunction FactoryOf(AudioComponent component);
  // [any thread] The first match after `after` (from the start when null); null when none.
  AudioComponent FindNext(AudioComponent after, const AudioComponentDescription& search) const;
  // [any thread]
  UInt32 Count(const AudioComponentDescription& search) const;
  // [any thread] Whether `component` is one of ours, so a stray pointer is refused, not followed.
  bool Contains(AudioComponent component) const;

  static bool Matches(const AudioComponentDescription& candidate, const AudioComponentDescription& search);

 private:
  Registry() = default;

  AudioComponent Append(const AudioComponentDescription& description, CFStringRef name, UInt32 version,
                        AudioComponentFactoryFunction factory, std::shared_ptr<BundleFactory> bundleFactory);

  mutable std::mutex mutex_;
  std::deque<std::unique_ptr<OpaqueAudioComponent>> components_;
};

}  // namespace veneer::audio
