#include "RenderGate.h"

#include <algorithm>

namespace host {

void RenderGate::SetStops(std::vector<std::size_t> frames) {
  std::sort(frames.begin(), frames.end());
  const std::lock_guard lock(mutex_);
  stops_ = std::move(frames);
  passed_ = 0;
}

void RenderGate::Pass(std::size_t frame) {
  std::unique_lock lock(mutex_);
  while (passed_ < stops_.size() && stops_[passed_] <= frame) {
    waiting_ = true;
    const std::size_t stop = passed_;
    released_.wait(lock, [&] { return passed_ > stop; });
  }
  waiting_ = false;
}

std::optional<std::size_t> RenderGate::Waiting() const {
  const std::lock_guard lock(mutex_);
  return waiting_ ? std::optional<std::size_t>(passed_) : std::nullopt;
}

void RenderGate::Release() {
  {
    const std::lock_guard lock(mutex_);
    if (!waiting_) {
      return;
    }
    ++passed_;
    waiting_ = false;
  }
  released_.notify_all();
}

void RenderGate::OpenAll() {
  {
    const std::lock_guard lock(mutex_);
    passed_ = stops_.size();
    waiting_ = false;
  }
  released_.notify_all();
}

}  // namespace host
