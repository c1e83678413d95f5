// The process's component registry: every registered component, in order.
#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <deque>
#include <memory>
#include <mutex>

struct OpaqueAudioComponent {
  AudioComponentDescription description;
  CFStringRef name;  // retained; never null
  UInt32 version;
  AudioComponentFactoryFunction factory;
};

namespace veneer::audio {

class Registry {
 public:
  // [any thread] The one registry of the process.
  static Registry& Shared();

  ~Registry();

  // [any thread]
  AudioComponent Add(const AudioComponentDescription& description, CFStringRef name, UInt32 version,
                     AudioComponentFactoryFunction factory);
  // [any thread] The first match after `after` (from the start when null); null when none.
  AudioComponent FindNext(AudioComponent after, const AudioComponentDescription& search) const;
  // [any thread]
  UInt32 Count(const AudioComponentDescription& search) const;
  // [any thread] Whether `component` is one of ours, so a stray pointer is refused, not followed.
  bool Contains(AudioComponent component) const;

  static bool Matches(const AudioComponentDescription& candidate, const AudioComponentDescription& search);

 private:
  Registry() = default;

  mutable std::mutex mutex_;
  std::deque<std::unique_ptr<OpaqueAudioComponent>> components_;
};

}  // namespace veneer::audio
