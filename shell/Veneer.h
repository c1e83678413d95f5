// Veneer: an Audio Unit effect that renders through an inner pitch-correction
// unit and lets the companion application steer it through the support folder.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "ausdk/AUBase.h"
#include "shell/Variants.h"

namespace veneer {

class Veneer : public ausdk::AUBase {
 public:
  explicit Veneer(AudioComponentInstance instance);
  ~Veneer() override;

  Veneer(const Veneer&) = delete;
  Veneer& operator=(const Veneer&) = delete;

  OSStatus Initialize() override;
  void Cleanup() override;
  [[nodiscard]] bool CanScheduleParameters() const override { return false; }
  Float64 GetLatency() override { return latencySeconds_.load(std::memory_order_relaxed); }
  bool StreamFormatWritable(AudioUnitScope /*scope*/, AudioUnitElement /*element*/) override { return true; }
  OSStatus ChangeStreamFormat(AudioUnitScope inScope, AudioUnitElement inElement,
                              const AudioStreamBasicDescription& inPrevFormat,
                              const AudioStreamBasicDescription& inNewFormat) override;

  // [any thread] Makes sure an inner unit exists or is on its way to the main queue.
  OSStatus EnsureInnerUnit();
  // [main thread] The main-queue half of EnsureInnerUnit.
  void CreateInnerUnitOnMainThread();
  // [main thread] Discovery, creation and configuration; innerMutex_ held.
  OSStatus CreateInnerUnit();

  // [any thread] Starts the companion link thread; the thread creation's status.
  int StartIpcThread();
  // [any thread] Stops and joins it; the join's status (0 when none ran).
  int StopIpcThread();
  // [link thread] The link thread's routine; `arg` is the Veneer.
  static void* IpcThreadEntry(void* arg);

  // [render thread] The inner unit's input callback: serves inputBuffers_.
  static OSStatus InnerInputProc(void* inRefCon, AudioUnitRenderActionFlags* ioActionFlags,
                                 const AudioTimeStamp* inTimeStamp, UInt32 inBusNumber, UInt32 inNumberFrames,
                                 AudioBufferList* ioData);

  // [any thread] Observers for tests and tools.
  [[nodiscard]] AudioUnit InnerUnit() const { return innerUnit_.load(std::memory_order_acquire); }
  [[nodiscard]] const VariantInfo* Variant() const { return variant_.load(std::memory_order_acquire); }
  [[nodiscard]] bool KeyModeAccepted() const { return keyModeAccepted_.load(std::memory_order_relaxed); }
  [[nodiscard]] bool LinkRunning() const { return linkRunning_.load(std::memory_order_relaxed); }

  // The companion link's bypass and its latch, always changed together.
  struct AppLinkState {
    bool appBypass_ = false;
    bool appLost_ = false;
  };

 private:
  // [link thread] One pass of the link: the files in, the inner unit, the files out.
  void RunLinkCycle();
  // [link thread] The pause between passes; ends early when the thread is told to stop.
  void PauseLink();
  double LatencyFor(Float64 sampleRate) const;

  // The shared record of the plug-in, in this order; fields that several
  // threads touch are atomics.
  std::atomic<bool> keyModeAccepted_{true};
  std::atomic<uint64_t> renderCount_{0};
  std::atomic<uint64_t> slowRenderCount_{0};
  std::atomic<double> maxRenderMs_{0.0};
  bool createPending_ = false;  // under innerMutex_
  std::atomic<bool> cleanedUp_{false};
  AudioStreamBasicDescription hostFormat_{};  // under innerMutex_
  bool hostFormatValid_ = false;              // under innerMutex_
  std::atomic<AudioUnit> innerUnit_{nullptr};
  std::mutex innerMutex_;
  std::atomic<double> latencySeconds_{0.0};
  std::atomic<const VariantInfo*> variant_{nullptr};
  std::map<AudioUnitParameterID, float> innerSnapshot_;
  AudioBufferList* inputBuffers_ = nullptr;
  UInt32 inputBufferChannels_ = 0;
  UInt32 inputBufferFrames_ = 0;
  std::atomic<float> key_{0.0F};
  std::atomic<float> scale_;
  std::atomic<float> correctionMode_;
  std::atomic<float> transpose_;
  std::atomic<float> retuneSpeed_;
  std::atomic<float> inputType_;
  std::atomic<float> humanize_;
  std::atomic<float> flexTune_;
  std::atomic<float> naturalVibrato_;
  std::atomic<float> tracking_;
  std::atomic<float> formant_;
  std::atomic<float> throat_;
  std::atomic<float> wetDry_;
  std::atomic<double> classicMode_{0.0};
  std::atomic<bool> bypass_{false};
  std::atomic<AppLinkState> appState_{AppLinkState{}};
  std::atomic<float> audioLevel_{0.0F};
  std::optional<pthread_t> linkThread_;
  std::atomic<bool> linkRunning_{false};
  std::atomic<int64_t> lastSeq_{-1};

  // Reaches this instance from work posted to the main queue, safely after it is gone.
  struct LifeToken {
    std::mutex mutex;
    Veneer* self = nullptr;
  };
  std::shared_ptr<LifeToken> lifeToken_;

  // Wakes the link thread's pause when it is told to stop.
  std::mutex linkWakeMutex_;
  std::condition_variable linkWake_;
};

// The one retired inner instance of the process (under Logic) and its variant.
extern std::atomic<AudioUnit> gRetiredInner;
extern std::atomic<const VariantInfo*> gRetiredVariant;

}  // namespace veneer

extern "C" {
// The plug-in's one exported entry: the component factory.
__attribute__((visibility("default"))) AudioComponentPlugInInterface* VeneerFactory(
    const AudioComponentDescription* inDesc);
}
