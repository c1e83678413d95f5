// A fixed queue of small records from one thread to another, without locks or
// allocation: the render thread's notes for the main thread.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>

namespace host {

template <typename T, std::size_t Capacity>
class RingQueue {
 public:
  // [the writing thread] False when the queue is full.
  bool TryPush(const T& item) {
    const std::size_t at = written_.load(std::memory_order_relaxed);
    if (at - read_.load(std::memory_order_acquire) == Capacity) {
      return false;
    }
    items_[at % Capacity] = item;
    written_.store(at + 1, std::memory_order_release);
    return true;
  }

  // [the reading thread] The oldest record, or nothing when the queue is empty.
  std::optional<T> TryPop() {
    const std::size_t at = read_.load(std::memory_order_relaxed);
    if (written_.load(std::memory_order_acquire) == at) {
      return std::nullopt;
    }
    T item = items_[at % Capacity];
    read_.store(at + 1, std::memory_order_release);
    return item;
  }

 private:
  std::array<T, Capacity> items_{};
  std::atomic<std::size_t> written_{0};
  std::atomic<std::size_t> read_{0};
};

}  // namespace host
