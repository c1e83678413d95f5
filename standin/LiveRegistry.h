// The objects behind component instance handles, kept by the objects
// themselves from construction to destruction, so that a host in the same
// process (a test, a benchmark) can reach the object behind a handle it opened.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstddef>
#include <map>
#include <mutex>

namespace standin {

template <typename Object>
class LiveRegistry {
 public:
  // [any thread]
  void Add(AudioUnit handle, Object* object) {
    const std::lock_guard lock(mutex_);
    objects_[handle] = object;
  }
  // [any thread]
  void Remove(AudioUnit handle) {
    const std::lock_guard lock(mutex_);
    objects_.erase(handle);
  }
  // [any thread] The live object behind `handle`, or null.
  Object* Find(AudioUnit handle) const {
    const std::lock_guard lock(mutex_);
    const auto it = objects_.find(handle);
    return it == objects_.end() ? nullptr : it->second;
  }
  // [any thread]
  [[nodiscard]] size_t Count() const {
    const std::lock_guard lock(mutex_);
    return objects_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::map<AudioUnit, Object*> objects_;
};

}  // namespace standin
