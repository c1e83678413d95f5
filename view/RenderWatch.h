// Which way Veneer's renders go, seen from outside through render
// notifications: through the inner unit, around it (bypassed), or into a
// failing product. Real-time safe: the notifications only count.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <atomic>
#include <cstdint>

#include "WindowPlan.h"

namespace veneerview {

class RenderWatch {
 public:
  // [main thread] Adds a render notification to `veneer`.
  explicit RenderWatch(AudioUnit veneer);
  // [main thread] Removes both notifications.
  ~RenderWatch();
  RenderWatch(const RenderWatch&) = delete;
  RenderWatch& operator=(const RenderWatch&) = delete;

  // [main thread] Watches `inner` too (null: none); the previous one is let go
  // first, which must happen before that unit is disposed.
  void WatchInner(AudioUnit inner);
  // [main thread] How Veneer's last block went, or kIdle when it has not
  // rendered since the last call.
  Playing Sample();

 private:
  // [render thread]
  static OSStatus VeneerRendered(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* stamp,
                                 UInt32 bus, UInt32 frames, AudioBufferList* data);
  // [render thread]
  static OSStatus InnerRendered(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* stamp,
                                UInt32 bus, UInt32 frames, AudioBufferList* data);

  AudioUnit veneer_;
  AudioUnit inner_ = nullptr;
  std::atomic<uint64_t> veneerRenders_{0};
  std::atomic<uint64_t> innerRenders_{0};
  std::atomic<uint64_t> innerFailures_{0};
  // The render thread's: the inner counts at Veneer's last block.
  std::atomic<uint64_t> innerRendersSeen_{0};
  std::atomic<uint64_t> innerFailuresSeen_{0};
  std::atomic<Playing> lastBlock_{Playing::kIdle};
  uint64_t sampledRenders_ = 0;  // main thread's
};

}  // namespace veneerview
