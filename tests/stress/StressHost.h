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
    for (auto& channel : output_) {
      channel.assign(kFrames, 0.0F);
    }
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
      AudioTimeStamp stamp{};
      stamp.mFlags = kAudioTimeStampSampleTimeValid;
      std::vector<std::byte> storage(offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * kChannels);
      auto* list = reinterpret_cast<AudioBufferList*>(storage.data());
      while (running_.load()) {
        list->mNumberBuffers = kChannels;
        for (UInt32 c = 0; c < kChannels; ++c) {
          list->mBuffers[c] = {1, kFrames * UInt32{sizeof(float)}, output_[c].data()};
        }
        AudioUnitRenderActionFlags flags = 0;
        if (AudioUnitRender(veneer_.unit(), &flags, &stamp, 0, kFrames, list) == noErr) {
          blocks_.fetch_add(1);
        }
        stamp.mSampleTime += kFrames;
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
  [[nodiscard]] const std::vector<float>& LastBlock() const { return output_[0]; }
  [[nodiscard]] const rendertest::InputSource& Source() const { return source_; }

 private:
  shelltest::HostedVeneer veneer_;
  rendertest::InputSource source_;
  std::vector<float> output_[kChannels];
  std::atomic<bool> running_{false};
  std::atomic<std::size_t> blocks_{0};
  std::thread thread_;
};

}  // namespace stresstest
