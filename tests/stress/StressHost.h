// Veneer instances driven by several threads at once, as a busy host drives them:
// a render thread per instance, other threads changing things meanwhile.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

#include "RenderHarness.h"
#include "ShellFixture.h"
#include "harness/HostOutput.h"

namespace stresstest {

inline constexpr UInt32 kChannels = 2;
inline constexpr UInt32 kFrames = 512;

// One opened Veneer with formats and an input source, rendered from a thread of its own.
class RenderedVeneer {
 public:
  RenderedVeneer() {
    EXPECT_EQ(veneer_.SetFormat(kAudioUnitScope_Input, kChannels, 48000.0), noErr);
    EXPECT_EQ(veneer_.SetFormat(kAudioUnitScope_Output, kChannels, 48000.0), noErr);
    const AURenderCallbackStruct callback{rendertest::InputSource::Provide, &source_};
    EXPECT_EQ(AudioUnitSetProperty(veneer_.unit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0,
                                   &callback, sizeof callback),
              noErr);
  }
  ~RenderedVeneer() { StopRendering(); }
  RenderedVeneer(const RenderedVeneer&) = delete;
  RenderedVeneer& operator=(const RenderedVeneer&) = delete;

  shelltest::HostedVeneer& operator*() { return veneer_; }
  shelltest::HostedVeneer* operator->() { return &veneer_; }

  // [main thread] Starts rendering blocks back to back until StopRendering.
  void StartRendering() {
    running_.store(true);
    thread_ = std::thread([this] {
      while (running_.load()) {
        if (output_.Render(veneer_.unit(), kFrames) == noErr) {
          blocks_.fetch_add(1);
        }
      }
    });
  }

  // [main thread]
  void StopRendering() {
    running_.store(false);
    if (thread_.joinable()) {
      thread_.join();
    }
  }

  [[nodiscard]] std::size_t Blocks() const { return blocks_.load(); }
  // The last block's first channel; read only after StopRendering.
  [[nodiscard]] const std::vector<float>& LastBlock() const { return output_.Channel(0); }
  [[nodiscard]] const rendertest::InputSource& Source() const { return source_; }

 private:
  shelltest::HostedVeneer veneer_;
  rendertest::InputSource source_;
  harness::HostOutput output_{kChannels, kFrames};
  std::atomic<bool> running_{false};
  std::atomic<std::size_t> blocks_{0};
  std::thread thread_;
};

}  // namespace stresstest
