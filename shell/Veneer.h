// Veneer: an Audio Unit effect that renders through an inner pitch-correction
// unit and lets the companion application steer it through the support folder.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "ausdk/AUBase.h"
#include "shell/ThreadContracts.h"
#include "shell/Variants.h"

namespace veneer {

struct SteeredSetting;
struct SteeredSettings;

class Veneer : public ausdk::AUBase {
 public:
  // The companion link's bypass and its latch, always changed together.
  struct AppLinkState {
    bool appBypass_ = false;
    bool appLost_ = false;
  };

  // Both flags in one word, so a reader never sees one without the other.
  class AtomicAppLink {
   public:
    [[nodiscard]] AppLinkState load() const {
      const uint16_t bits = bits_.load();
      return {(bits & 1U) != 0, (bits & 2U) != 0};
    }
    void store(AppLinkState state) {
      bits_.store(static_cast<uint16_t>((state.appBypass_ ? 1U : 0U) | (state.appLost_ ? 2U : 0U)));
    }

   private:
    std::atomic<uint16_t> bits_{0};
  };

  explicit Veneer(AudioComponentInstance instance);
  ~Veneer() override;

  Veneer(const Veneer&) = delete;
  Veneer& operator=(const Veneer&) = delete;

  // [any thread] The host's lifecycle calls (one at a time): starts the link and
  // asks for the inner unit; stops the link and lets the inner unit go.
  OSStatus Initialize() override;
  void Cleanup() override;
  [[nodiscard]] bool CanScheduleParameters() const override { return false; }
  // [any thread] The latency the link last set.
  Float64 GetLatency() override { return latencySeconds_.load(std::memory_order_relaxed); }
  bool StreamFormatWritable(AudioUnitScope /*scope*/, AudioUnitElement /*element*/) override { return true; }
  // [any thread] A host's format change, passed on to the inner unit (created here under Logic).
  OSStatus ChangeStreamFormat(AudioUnitScope inScope, AudioUnitElement inElement,
                              const AudioStreamBasicDescription& inPrevFormat,
                              const AudioStreamBasicDescription& inNewFormat) override;

  // ---- audio path, parameters, properties and view ----
  // [render thread] The whole audio path: through the inner unit or around it.
  OSStatus Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                  UInt32 inNumberFrames) override;
  // [any thread] The shell's own parameters 0-10 and the read-backs 200-215, 220.
  OSStatus GetParameter(AudioUnitParameterID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                        AudioUnitParameterValue& outValue) override;
  // [any thread] (render thread included) Caches an own parameter and forwards it to the inner unit.
  OSStatus SetParameter(AudioUnitParameterID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                        AudioUnitParameterValue inValue, UInt32 inBufferOffsetInFrames) override;
  OSStatus GetParameterList(AudioUnitScope inScope, AudioUnitParameterID* outParameterList,
                            UInt32& outNumParameters) override;
  OSStatus GetParameterInfo(AudioUnitScope inScope, AudioUnitParameterID inParameterID,
                            AudioUnitParameterInfo& outParameterInfo) override;
  OSStatus GetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                           UInt32& outDataSize, bool& outWritable) override;
  // [any thread] The properties the shell answers itself (bypass, view, inner unit, channels).
  OSStatus GetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                       void* outData) override;
  // [any thread] The host's bypass; everything else is refused.
  OSStatus SetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement, const void* inData,
                       UInt32 inDataSize) override;
  UInt32 SupportedNumChannels(const AUChannelInfo** outInfo) override;
  // MIDI sent to the shell is accepted and dropped.
  OSStatus MIDIEvent(UInt32 inStatus, UInt32 inData1, UInt32 inData2, UInt32 inOffsetSampleFrame) override;
  OSStatus SysEx(const UInt8* inData, UInt32 inLength) override;
  OSStatus MIDIEventList(UInt32 inOffsetSampleFrame, const struct MIDIEventList* eventList) override;

  // [render thread] (Re)builds inputBuffers_ for `channels` x `frames`. Inline:
  // every block asks, and the list rarely needs more than its sizes set.
  // A list a source answered with fewer buffers last time is whole again.
  void PrepareInputBuffers(UInt32 channels, UInt32 frames) {
    if (inputBuffers_ != nullptr && inputBufferChannels_ == channels && inputBufferFrames_ >= frames) {
      inputBuffers_->mNumberBuffers = channels;
      for (UInt32 i = 0; i < channels; ++i) {
        inputBuffers_->mBuffers[i].mDataByteSize = frames * static_cast<UInt32>(sizeof(float));
      }
      return;
    }
    RebuildInputBuffers(channels, frames);
  }
  // Frees the input lists, the current one and those it replaced; never while rendering.
  void ReleaseInputBuffers();
  // [render thread] PrepareInputBuffers when the list must be replaced: apart,
  // so that the every-block part stays small enough to inline.
  void RebuildInputBuffers(UInt32 channels, UInt32 frames);
  // [render thread] The peak-hold input meter: HoldLevel(MeterValue(...)).
  void UpdateAudioLevel(const AudioBufferList& buffers, UInt32 frames);
  // [any thread] Three times the RMS of the list's first `frames` samples, at most 1.
  static float MeterValue(const AudioBufferList& buffers, UInt32 frames);
  // [render thread] Takes a block's value into the held level.
  void HoldLevel(float value);
  // [render thread] UpdateAudioLevel for the render path, which does not measure again
  // a block it measured last time and has not pulled into since.
  void Meter(const AudioBufferList& buffers, UInt32 frames);
  // [any thread] An inner scale value as a scale index, by the variant's row.
  [[nodiscard]] float ScaleSemantic(float innerScaleValue) const;
  // [any thread] The same by `variant`'s row (x 14 without one).
  static float ScaleIndex(const VariantInfo* variant, float innerScaleValue);
  // [any thread] An inner parameter's value; -10877 when there is no such parameter or inner unit.
  OSStatus GetInnerParam(AudioUnitParameterID id, float& outValue) const;
  // [link thread] Remembers the inner unit's values, so the shell's own writes are not reported.
  void SnapshotInnerValues();
  // [link thread] Writes what changed by hand in the inner unit's editor to the back file.
  void ReportManualChanges();

  // ---- companion link ----
  // [link thread] Heartbeat, settings file, quit marker, and a new settings file onto the inner unit.
  void ApplyFileToInner();
  // [link thread] One pass of the link: the files in, the inner unit, the files
  // out, and the tails that come due by the link clock (diagnostics line, alive
  // file). `lastAliveTime` belongs to the caller: the time of its last alive file.
  void RunLinkCycle(std::time_t& lastAliveTime);
  // What the link's periodic tails read the time from: the system's clock,
  // unless a benchmark or test hands in one it can move on.
  using LinkClock = std::time_t (*)();
  // [any thread] Only while no link thread runs.
  void SetLinkClock(LinkClock clock) { linkClock_ = clock; }

  // [any thread] The pause between link passes (a second), longer in tests that
  // show a stop does not wait it out. Only while no link thread runs.
  void SetLinkPause(std::chrono::milliseconds pause) { linkPause_ = pause; }

  // What the render path times the inner unit's render with: the monotonic
  // clock in nanoseconds, unless a test hands in one it sets.
  using RenderClock = int64_t (*)();
  // [any thread] Only while the instance does not render.
  void SetRenderClock(RenderClock clock) { renderClock_ = clock; }

  // The private property through which the custom view reaches the inner unit.
  static constexpr AudioUnitPropertyID kInnerUnitProperty = 0x766E6975;  // 'vniu'

  // [any thread] Tells the property listeners of 'vniu' that the inner unit came or is
  // about to go (the property already reads the new value). Called without innerMutex_.
  void AnnounceInnerUnit();

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
  [[nodiscard]] AppLinkState AppLink() const { return appState_.load(); }
  [[nodiscard]] bool HostBypass() const { return bypass_.load(std::memory_order_relaxed); }
  // [any thread] The render diagnostics: inner renders, those over 8 ms, the longest.
  [[nodiscard]] uint64_t RenderCount() const { return renderCount_.load(std::memory_order_relaxed); }
  [[nodiscard]] uint64_t SlowRenderCount() const { return slowRenderCount_.load(std::memory_order_relaxed); }
  [[nodiscard]] double MaxRenderMs() const { return maxRenderMs_.load(std::memory_order_relaxed); }

 private:
  friend struct SteeredSettings;  // the settings table names the cached fields

  // [link thread] The pause between passes; ends early when the thread is told to stop.
  void PauseLink();
  // [link thread] One setting of a new settings file: cached and sent to the inner unit.
  void ApplySetting(const SteeredSetting& setting, double value, const VariantInfo& variant);
  // [link thread] Reads the inner unit's values back into the "readback" log line.
  void LogReadBack(const VariantInfo& variant);
  // [any thread] The latency the shell reports at `sampleRate`, by the classic mode.
  [[nodiscard]] double LatencyFor(Float64 sampleRate) const;
  // [any thread] The cached field of own parameter `id` (0-10).
  std::atomic<float>& OwnParameter(AudioUnitParameterID id);

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
  // The steered settings' caches: their defaults are in the settings table.
  std::atomic<float> key_{};
  std::atomic<float> scale_{};
  std::atomic<float> correctionMode_{};
  std::atomic<float> transpose_{};
  std::atomic<float> retuneSpeed_{};
  std::atomic<float> inputType_{};
  std::atomic<float> humanize_{};
  std::atomic<float> flexTune_{};
  std::atomic<float> naturalVibrato_{};
  std::atomic<float> tracking_{};
  std::atomic<float> formant_{};
  std::atomic<float> throat_{};
  std::atomic<float> wetDry_{};
  std::atomic<double> classicMode_{0.0};
  std::atomic<bool> bypass_{false};
  AtomicAppLink appState_;
  std::atomic<float> audioLevel_{0.0F};
  std::optional<pthread_t> linkThread_;
  std::atomic<bool> linkRunning_{false};
  std::atomic<int64_t> lastSeq_{-1};

  // Input lists replaced by a larger one: a pass-through may still read the
  // last one through its pointer, so they are kept until the instance goes.
  std::vector<AudioBufferList*> retiredInputBuffers_;

  // Reaches this instance from work posted to the main queue, safely after it is gone.
  struct LifeToken {
    std::mutex mutex;
    Veneer* self = nullptr;
  };
  std::shared_ptr<LifeToken> lifeToken_;

  // Wakes the link thread's pause when it is told to stop.
  std::mutex linkWakeMutex_;
  std::condition_variable linkWake_;

  LinkClock linkClock_ = &SystemTime;
  std::chrono::milliseconds linkPause_{1000};
  static std::time_t SystemTime() { return std::time(nullptr); }
  RenderClock renderClock_ = &MonotonicNanoseconds;
  // [any thread] The system's monotonic clock, in nanoseconds.
  static int64_t MonotonicNanoseconds();

  // The thread inside Render, for the thread checks of debug builds.
  RenderingThread renderingThread_;

  // Output and input bus 0, found once per initialisation: the render path
  // needs both every block, and a unit's elements do not change while it is
  // initialised.
  ausdk::AUOutputElement* renderOutput_ = nullptr;
  ausdk::AUInputElement* renderInput_ = nullptr;

  // The last block the meter measured, render thread only: a pass-through
  // replays the same samples block after block, and measuring them again
  // would give the same value.
  struct MeteredBlock {
    const AudioBufferList* list = nullptr;
    UInt32 frames = 0;
    uint64_t pulls = 0;  // pullCount_ when it was measured: a pull changes the samples
    std::array<const void*, 2> data{};
    std::array<UInt32, 2> bytes{};
    float value = 0.0F;
  };
  MeteredBlock metered_;
  uint64_t pullCount_ = 0;
  // The longest inner render so far, for maxRenderMs_: the render thread's own.
  int64_t maxRenderNanoseconds_ = 0;
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
