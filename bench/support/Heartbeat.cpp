#include "support/Heartbeat.h"

#include <chrono>

#include "support/BenchHome.h"

namespace bench {
namespace {

constexpr auto kPeriod = std::chrono::seconds(2);

}  // namespace

Heartbeat::Heartbeat() : file_(Home().SupportFolder() / "plugin_state.txt"), thread_([this] { Run(); }) {}

Heartbeat::~Heartbeat() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void Heartbeat::Run() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    // Only the time, as the companion's heartbeat renews it; the content stays.
    std::error_code ignored;
    std::filesystem::last_write_time(file_, std::filesystem::file_time_type::clock::now(), ignored);
    wake_.wait_for(lock, kPeriod, [this] { return stopping_; });
  }
}

}  // namespace bench
