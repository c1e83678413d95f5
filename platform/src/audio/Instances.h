// Component instances: the handle a host holds, and the pool behind it.
#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>

struct ComponentInstanceRecord {
  // Null once disposed: every call through a stale handle then answers an error.
  std::atomic<AudioComponentPlugInInterface*> interface { nullptr };
  std::atomic<AudioComponent> component{nullptr};
  // The render method, looked up once when the instance is made: Lookup
  // takes no instance, so its answer cannot change, and render runs every block.
  std::atomic<AudioComponentMethod> render{nullptr};
};

namespace veneer::audio {

// Handles are never returned to the heap: a disposed handle stays readable, so a
// host's stray call answers badComponentInstance instead of reading freed memory.
// Records are reused only after many others have been disposed since.
class InstancePool {
 public:
  // [any thread]
  static InstancePool& Shared();

  // [any thread] A record that is not live, for a new instance.
  ComponentInstanceRecord* Take();
  // [any thread] Takes back a record whose instance is gone.
  void Give(ComponentInstanceRecord* record);

 private:
  InstancePool() = default;

  static constexpr size_t kQuarantine = 64;

  std::mutex mutex_;
  std::deque<std::unique_ptr<ComponentInstanceRecord>> all_;
  std::deque<ComponentInstanceRecord*> free_;
};

// The live interface behind a handle, or null for a null or disposed handle.
inline AudioComponentPlugInInterface* LiveInterface(AudioComponentInstance instance) {
  return instance == nullptr ? nullptr : instance->interface.load(std::memory_order_acquire);
}

}  // namespace veneer::audio
