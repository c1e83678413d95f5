#include "standin/Faults.h"

namespace standin {

void Faults::FailSetProperty(AudioUnitPropertyID id, AudioUnitScope scope, OSStatus status) {
  const std::lock_guard lock(mutex_);
  if (status == noErr) {
    setPropertyFailures_.erase({id, scope});
  } else {
    setPropertyFailures_[{id, scope}] = status;
  }
}

OSStatus Faults::SetPropertyFailure(AudioUnitPropertyID id, AudioUnitScope scope) const {
  const std::lock_guard lock(mutex_);
  const auto it = setPropertyFailures_.find({id, scope});
  return it == setPropertyFailures_.end() ? noErr : it->second;
}

void Faults::SetScaleName(std::string name) {
  const std::lock_guard lock(mutex_);
  scaleName_ = std::move(name);
}

std::string Faults::ScaleName() const {
  const std::lock_guard lock(mutex_);
  return scaleName_;
}

void Faults::Clear() {
  instanceNew = noErr;
  initialize = noErr;
  latencyGet = noErr;
  latencySeconds = 0.0;
  scaleInfo = noErr;
  render = noErr;
  renderDelayMs = 0;
  namesAsStringObjects = true;
  cocoaView = CocoaView::kWhenBundled;
  const std::lock_guard lock(mutex_);
  setPropertyFailures_.clear();
  scaleName_.clear();
}

}  // namespace standin
