// A fixed ring of audio frames between two threads, one writing and one reading,
// without locks: how the render thread gets its input from the disk and hands its
// output back, so that neither waits on the other's file access.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <vector>

namespace host {

class FrameFifo {
 public:
  // [main thread] Room for `capacity` frames of `channels` channels.
  FrameFifo(std::size_t channels, std::size_t capacity)
      : capacity_(capacity), channels_(channels, std::vector<float>(capacity)) {}

  // [any thread] Frames waiting to be read.
  [[nodiscard]] std::size_t Available() const {
    return written_.load(std::memory_order_acquire) - read_.load(std::memory_order_acquire);
  }
  // [any thread] Frames that can be written now.
  [[nodiscard]] std::size_t Space() const { return capacity_ - Available(); }

  // [the writing thread] Copies `frames` frames in; the caller has checked Space().
  void Push(const float* const* source, std::size_t frames) {
    const std::size_t at = written_.load(std::memory_order_relaxed);
    Copy(frames, at, [&](std::size_t c, std::size_t from, std::size_t into, std::size_t count) {
      std::copy_n(source[c] + from, count, channels_[c].data() + into);
    });
    written_.store(at + frames, std::memory_order_release);
  }

  // [the reading thread] Copies `frames` frames out, without removing them; the caller has
  // checked Available().
  void Peek(float* const* target, std::size_t frames) const {
    Copy(frames, read_.load(std::memory_order_relaxed),
         [&](std::size_t c, std::size_t from, std::size_t at, std::size_t count) {
           std::copy_n(channels_[c].data() + at, count, target[c] + from);
         });
  }
  // [the reading thread] Removes `frames` frames.
  void Drop(std::size_t frames) { read_.fetch_add(frames, std::memory_order_release); }

 private:
  // Calls `part(channel, offset in the caller's buffer, index in the ring, count)` for each
  // contiguous part of `frames` frames from ring position `position`.
  template <typename Part>
  void Copy(std::size_t frames, std::size_t position, Part part) const {
    const std::size_t start = position % capacity_;
    const std::size_t first = std::min(frames, capacity_ - start);
    for (std::size_t c = 0; c < channels_.size(); ++c) {
      part(c, 0, start, first);
      part(c, first, 0, frames - first);
    }
  }

  const std::size_t capacity_;
  std::vector<std::vector<float>> channels_;
  std::atomic<std::size_t> written_{0};  // frames ever written
  std::atomic<std::size_t> read_{0};     // frames ever read
};

}  // namespace host
