// The stand-in component object: a mono-or-stereo effect on AUBase with a
// product's parameters, its known processing (output = input x kGain), the
// faults of its component, and a record of what a host did to it.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "ausdk/AUBase.h"
#include "standin/Faults.h"
#include "standin/Variants.h"

namespace standin {

// The fixed gain of every stand-in, so that a test can tell its output from the dry signal.
inline constexpr float kGain = 0.5F;

// The class that makes the stand-ins' own Cocoa view.
inline constexpr const char* kCocoaViewClass = "StandInCocoaUIViewFactory";

// [any thread] Where the stand-ins' view bundle lies: Resources/StandInCocoaUI.bundle
// in the bundle whose module holds this code ("" when that cannot be found).
std::string CocoaViewBundlePath();

// One parameter write that reached the unit through the API.
struct ParameterWrite {
  AudioUnitParameterID id;
  AudioUnitScope scope;
  AudioUnitElement element;
  AudioUnitParameterValue value;
  bool operator==(const ParameterWrite&) const = default;
};

class Unit : public ausdk::AUBase {
 public:
  Unit(AudioComponentInstance instance, Variant variant);
  ~Unit() override;

  [[nodiscard]] Variant GetVariant() const { return variant_; }
  [[nodiscard]] Faults& GetFaults() const { return faults_; }

  // ---- observation ----
  // [any thread] Every AudioUnitSetParameter that reached the unit, accepted or
  // not, in order.
  [[nodiscard]] std::vector<ParameterWrite> Writes() const;
  // [any thread]
  void ClearWrites();
  // [any thread] Changes a global parameter as a person in the product's own
  // editor would: not recorded as a write. -10878 for a parameter it lacks.
  OSStatus SetParameterAsUser(AudioUnitParameterID id, AudioUnitParameterValue value);
  // [any thread] Render calls, failed ones included.
  [[nodiscard]] uint64_t RenderCount() const { return renderCount_.load(std::memory_order_relaxed); }
  // [any thread] Times the unit went from uninitialised to initialised.
  [[nodiscard]] int InitializeCount() const { return initializeCount_.load(std::memory_order_relaxed); }
  // [main thread] The stream format of element 0 of the input or output scope.
  [[nodiscard]] AudioStreamBasicDescription StreamFormatOf(AudioUnitScope scope);
  // [any thread] The render callback last set on input element 0 (null when none).
  [[nodiscard]] AURenderCallbackStruct InputCallback() const;

  // ---- AUBase ----
  OSStatus Initialize() override;
  [[nodiscard]] bool CanScheduleParameters() const override { return false; }
  bool StreamFormatWritable(AudioUnitScope /*scope*/, AudioUnitElement /*element*/) override { return true; }
  UInt32 SupportedNumChannels(const AUChannelInfo** outInfo) override;
  // Float formats of 1 or 2 channels.
  bool ValidFormat(AudioUnitScope scope, AudioUnitElement element, const AudioStreamBasicDescription& format) override;
  Float64 GetLatency() override { return faults_.latencySeconds.load(); }
  // [any thread] Records the write, then stores it.
  OSStatus SetParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                        AudioUnitParameterValue value, UInt32 bufferOffsetInFrames) override;
  OSStatus GetParameterInfo(AudioUnitScope scope, AudioUnitParameterID id, AudioUnitParameterInfo& info) override;
  // The Cocoa view, when the faults say it offers one; everything else is the base's.
  OSStatus GetPropertyInfo(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& outDataSize,
                           bool& outWritable) override;
  OSStatus GetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, void* outData) override;
  OSStatus SetInputCallback(UInt32 propertyID, AudioUnitElement element, AURenderCallback proc, void* refCon) override;
  // [render thread] Pulls input element 0 and writes input x kGain to output element 0.
  OSStatus Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                  UInt32 inNumberFrames) override;

 private:
  // [any thread] Whether it offers its Cocoa view now.
  [[nodiscard]] bool OffersCocoaView() const;

  const Variant variant_;
  Faults& faults_;
  std::atomic<uint64_t> renderCount_{0};
  std::atomic<int> initializeCount_{0};

  // Never taken on the render path.
  mutable std::mutex recordMutex_;
  std::vector<ParameterWrite> writes_;
  AURenderCallbackStruct inputCallback_{nullptr, nullptr};
};

// One component class per product.
template <Variant V>
class VariantUnit : public Unit {
 public:
  explicit VariantUnit(AudioComponentInstance instance) : Unit(instance, V) {}
};

}  // namespace standin
