// A host that feeds Veneer known input through a render callback and renders
// it through AudioUnitRender, for the render path and meter tests.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ShellFixture.h"
#include "harness/HostOutput.h"
#include "standin/StandIn.h"

namespace rendertest {

// Sample `frame` of `channel` in the host's `pull`-th input block (pulls count from 0).
using SampleFunction = std::function<float(UInt32 pull, UInt32 channel, UInt32 frame)>;

// Different in every pull, channel and frame, so that a repeated or wrong block shows.
inline float DistinctSample(UInt32 pull, UInt32 channel, UInt32 frame) {
  return 0.001F * static_cast<float>(frame % 200) + 0.25F * static_cast<float>(channel) +
         0.03125F * static_cast<float>(pull + 1);
}

// The host's input: the render callback set on Veneer's input bus.
struct InputSource {
  SampleFunction sample = DistinctSample;
  // Frames the source claims to deliver per pull; 0: as many as asked.
  UInt32 deliveredFrames = 0;
  // Leaves every buffer without memory, as a broken source would.
  bool leaveNullData = false;
  // Answers with memory of its own, pointing the buffers there.
  bool answerWithOwnMemory = false;
  std::vector<std::vector<float>> ownMemory;
  // Sets the list's buffer count to this before answering (a mono source on a
  // stereo list answers one); 0: leaves it. Only buffers within both counts are filled.
  UInt32 answeredBuffers = 0;
  // Byte size reported for every buffer, whatever was delivered; unset: the delivered size.
  std::optional<UInt32> reportedBytes;
  // The status the source answers with, after it has done the above.
  OSStatus status = noErr;
  UInt32 pulls = 0;
  UInt32 lastGivenBuffers = 0;  // the buffer count of the list at the last pull

  static OSStatus Provide(void* refCon, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* /*stamp*/,
                          UInt32 /*bus*/, UInt32 frames, AudioBufferList* ioData) {
    auto& self = *static_cast<InputSource*>(refCon);
    const UInt32 pull = self.pulls++;
    const UInt32 delivered = self.deliveredFrames != 0 ? std::min(self.deliveredFrames, frames) : frames;
    const UInt32 given = ioData->mNumberBuffers;
    self.lastGivenBuffers = given;
    if (self.answeredBuffers != 0) {
      ioData->mNumberBuffers = self.answeredBuffers;
    }
    for (UInt32 c = 0; c < std::min(given, ioData->mNumberBuffers); ++c) {
      AudioBuffer& buffer = ioData->mBuffers[c];
      if (self.leaveNullData) {
        buffer.mData = nullptr;
        continue;
      }
      if (self.answerWithOwnMemory) {
        self.ownMemory.resize(ioData->mNumberBuffers);
        self.ownMemory[c].assign(frames, 0.0F);
        buffer.mData = self.ownMemory[c].data();
      }
      auto* data = static_cast<float*>(buffer.mData);
      for (UInt32 f = 0; f < delivered; ++f) {
        data[f] = self.sample(pull, c, f);
      }
      buffer.mDataByteSize = self.reportedBytes.value_or(delivered * sizeof(float));
    }
    return self.status;
  }

  // The block the source gave at `pull`, channel `channel`.
  [[nodiscard]] std::vector<float> Block(UInt32 pull, UInt32 channel, UInt32 frames) const {
    std::vector<float> block(frames);
    for (UInt32 f = 0; f < frames; ++f) {
      block[f] = sample(pull, channel, f);
    }
    return block;
  }
};

// Output samples the unit did not write keep this value.
inline constexpr float kUntouched = -7.0F;

inline std::vector<float> Scaled(std::vector<float> samples, float gain) {
  for (float& sample : samples) {
    sample *= gain;
  }
  return samples;
}

class RenderTest : public shelltest::ShellTest {
 protected:
  static constexpr UInt32 kChannels = 2;
  static constexpr Float64 kSampleRate = 48000.0;

  // [main thread] Registers the stand-in product (unless `withProduct` is
  // false), keeps the companion link's heartbeat fresh, sets the formats and
  // the input callback, initialises Veneer and stops its link thread, so the
  // test alone drives the unit.
  void Start(bool withProduct = true, bool withInput = true) {
    if (withProduct) {
      product_ = standin::Register(standin::Variant::kPro);
      ASSERT_NE(product_, nullptr);
    }
    WriteSupportFile("plugin_state.txt", "appRunning=1\n");
    ASSERT_EQ(veneer_.SetFormat(kAudioUnitScope_Input, kChannels, kSampleRate), noErr);
    ASSERT_EQ(veneer_.SetFormat(kAudioUnitScope_Output, kChannels, kSampleRate), noErr);
    if (withInput) {
      const AURenderCallbackStruct callback{InputSource::Provide, &source_};
      ASSERT_EQ(AudioUnitSetProperty(veneer_.unit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0,
                                     &callback, sizeof callback),
                noErr);
    }
    ASSERT_EQ(veneer_.Initialize(), noErr);
    veneer_->StopIpcThread();
  }

  // [any thread] One render cycle of `frames` at the next sample time; the
  // output lands in output_ (kUntouched where the unit wrote nothing).
  OSStatus Render(UInt32 frames) {
    hostOutput_.Fill(kUntouched, frames);
    const OSStatus status = hostOutput_.Render(veneer_.unit(), frames);
    output_.clear();
    for (UInt32 c = 0; c < kChannels; ++c) {
      const std::vector<float>& channel = hostOutput_.Channel(c);
      output_.emplace_back(channel.begin(), channel.begin() + frames);
    }
    return status;
  }

  [[nodiscard]] standin::Unit* Inner() const { return standin::Find(veneer_->InnerUnit()); }

  OSStatus SetHostBypass(bool on) const {
    const UInt32 value = on ? 1 : 0;
    return AudioUnitSetProperty(veneer_.unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &value,
                                sizeof value);
  }

  // [any thread] The meter as a host reads it (parameter 220); NaN when the read fails.
  [[nodiscard]] float Level() const {
    AudioUnitParameterValue value = 0.0F;
    const OSStatus status = AudioUnitGetParameter(veneer_.unit(), 220, kAudioUnitScope_Global, 0, &value);
    EXPECT_EQ(status, noErr);
    return status == noErr ? value : std::nanf("");
  }

  // The debug log's lines that begin with `prefix`.
  [[nodiscard]] std::vector<std::string> LinesStartingWith(const std::string& prefix) const {
    std::vector<std::string> found;
    for (const auto& line : LogLines()) {
      if (line.rfind(prefix, 0) == 0) {
        found.push_back(line);
      }
    }
    return found;
  }

  // Waits up to `seconds` for a log line beginning with `prefix`; the first such line or "".
  [[nodiscard]] std::string AwaitLine(const std::string& prefix, double seconds = 3.0) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do {
      if (const auto lines = LinesStartingWith(prefix); !lines.empty()) {
        return lines.front();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (std::chrono::steady_clock::now() < deadline);
    return {};
  }

  shelltest::HostedVeneer veneer_;
  InputSource source_;
  AudioComponent product_ = nullptr;
  std::vector<std::vector<float>> output_;  // the last block, as the unit left it
  harness::HostOutput hostOutput_{kChannels, 4096};
};

}  // namespace rendertest
