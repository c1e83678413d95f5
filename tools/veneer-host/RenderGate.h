// Points in the audio where the render thread holds, before a block, until the
// main thread lets it go on: where the companion's settings change, so that a
// render faster than real time still hears each change at its place.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <vector>

namespace host {

class RenderGate {
 public:
  // [main thread] Stops at these frames (any order).
  void SetStops(std::vector<std::size_t> frames);
  // [render thread] Before the block that starts at `frame`: waits while a stop at or
  // before it has not been released.
  void Pass(std::size_t frame);
  // [main thread] The index of the stop the render thread waits at, if it does.
  [[nodiscard]] std::optional<std::size_t> Waiting() const;
  // [main thread] Lets the render thread past the stop it waits at.
  void Release();
  // [main thread] Lets it past every stop, for a render that is being stopped.
  void OpenAll();

 private:
  mutable std::mutex mutex_;
  std::condition_variable released_;
  std::vector<std::size_t> stops_;
  std::size_t passed_ = 0;  // stops released so far
  bool waiting_ = false;
};

}  // namespace host
