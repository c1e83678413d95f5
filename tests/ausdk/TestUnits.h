// Small components built on AUBase for the framework's tests, registered and
// driven through the component API as a host would.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "ausdk/AUBase.h"
#include "ausdk/AUPlugInDispatch.h"
#include "tools/veneer-host/StreamFormat.h"

namespace testunits {

constexpr OSType kManufacturer = 'VnTs';

// Keeps track of the live test units by their instance handle, so a test can
// look at what reached the object behind a handle.
class LiveUnits {
 public:
  static void Add(AudioUnit handle, ausdk::AUBase* unit);
  static void Remove(AudioUnit handle, const ausdk::AUBase* unit);
  static ausdk::AUBase* Find(AudioUnit handle);
  static size_t Count();
};

template <typename T>
T* UnitFor(AudioUnit handle) {
  return dynamic_cast<T*>(LiveUnits::Find(handle));
}

// Registers `Unit` with `Lookup` under a fresh description with `subtype`.
template <typename Lookup, typename Unit>
AudioComponent Register(OSType type, OSType subtype) {
  return ausdk::APFactory<Lookup, Unit>::Register({type, subtype, kManufacturer, 0, 0}, CFSTR("Tonvale: test unit"),
                                                  0x00010000);
}

// The component of `Unit` under `Subtype`, registered on first use.
template <typename Unit, OSType Subtype, typename Lookup = ausdk::AUBaseLookup, OSType Type = kAudioUnitType_Effect>
AudioComponent Component() {
  static const AudioComponent component = Register<Lookup, Unit>(Type, Subtype);
  return component;
}

// An instance held for one test: created (which must succeed) on construction, disposed at the end.
class Instance {
 public:
  explicit Instance(AudioComponent component);
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  ~Instance();
  [[nodiscard]] AudioUnit get() const { return unit_; }
  operator AudioUnit() const { return unit_; }  // NOLINT(google-explicit-constructor)

 private:
  AudioUnit unit_ = nullptr;
};

// A null pointer the compiler does not see as a constant. The platform's
// headers mark most pointer parameters non-null, so a literal null there does
// not compile; tests that check what a call does with a null pass this.
template <typename T>
T* Absent() {
  return nullptr;
}

// A second object of `Unit`, reached through its own dispatch table as the
// platform's calls reach a unit, but without them: what the unit does with a
// null argument, or which calls take its lock, is then the unit's alone,
// whatever checks a platform makes before it calls in. It is opened on
// `host`, an instance of the same component, which it names as its own.
template <typename Lookup, typename Unit>
class DirectUnit {
 public:
  explicit DirectUnit(AudioUnit host) : interface_(ausdk::APFactory<Lookup, Unit>::Factory(nullptr)) {
    EXPECT_EQ(interface_->Open(interface_, host), noErr);
  }
  DirectUnit(const DirectUnit&) = delete;
  DirectUnit& operator=(const DirectUnit&) = delete;
  ~DirectUnit() { interface_->Close(interface_); }

  // The method behind `selector`, called with `args`; badComponentSelector when there is none.
  template <typename... Args>
  OSStatus Call(SInt16 selector, Args... args) const {
    const AudioComponentMethod method = interface_->Lookup(selector);
    if (method == nullptr) {
      return badComponentSelector;
    }
    return reinterpret_cast<OSStatus (*)(void*, Args...)>(method)(interface_,
                                                                  args...);  // NOLINT: the table's own types
  }
  // The object itself.
  [[nodiscard]] Unit* operator->() const {
    auto* record = reinterpret_cast<ausdk::AudioComponentPlugInInstance*>(interface_);
    return static_cast<Unit*>(reinterpret_cast<ausdk::ComponentBase*>(&record->mInstanceStorage));
  }

 private:
  AudioComponentPlugInInterface* interface_;
};

// A mono-or-stereo effect with one input and one output bus: output = pulled
// input x the global "gain" parameter (id 0, default 1).
class TestEffect : public ausdk::AUBase {
 public:
  explicit TestEffect(AudioComponentInstance instance, UInt32 inputs = 1, UInt32 outputs = 1, UInt32 groups = 0);
  ~TestEffect() override;

  OSStatus Initialize() override;
  void Cleanup() override;
  [[nodiscard]] bool CanScheduleParameters() const override { return false; }
  bool StreamFormatWritable(AudioUnitScope /*scope*/, AudioUnitElement /*element*/) override { return true; }
  OSStatus Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                  UInt32 inNumberFrames) override;
  OSStatus GetParameterInfo(AudioUnitScope scope, AudioUnitParameterID id, AudioUnitParameterInfo& info) override;

  // What the test wants the next calls to do.
  OSStatus initializeStatus = noErr;
  OSStatus renderStatus = noErr;

  // What reached the unit.
  std::atomic<int> initializeCalls{0};
  std::atomic<int> cleanupCalls{0};
  std::atomic<int> renderCalls{0};
};

// Two inputs, three outputs, two groups; bus counts writable.
class MultiBusUnit : public TestEffect {
 public:
  explicit MultiBusUnit(AudioComponentInstance instance) : TestEffect(instance, 2, 3, 2) {}
  [[nodiscard]] bool BusCountWritable(AudioUnitScope /*scope*/) override { return true; }
  OSStatus Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                  UInt32 inNumberFrames) override;
};

// Schedules parameters and records each render slice with the gain seen in it.
class SchedulingUnit : public TestEffect {
 public:
  struct Slice {
    UInt32 start;
    UInt32 frames;
    UInt32 total;
    float gain;
  };

  explicit SchedulingUnit(AudioComponentInstance instance) : TestEffect(instance) {}
  [[nodiscard]] bool CanScheduleParameters() const override { return true; }
  OSStatus Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                  UInt32 inNumberFrames) override;
  OSStatus ProcessScheduledSlice(void* inUserData, UInt32 inStartFrameInBuffer, UInt32 inSliceFramesToProcess,
                                 UInt32 inTotalBufferFrames) override;

  std::vector<Slice> slices;
  OSStatus sliceStatus = noErr;
};

// Throws what the test asks for from the operation the test names.
class ThrowingUnit : public TestEffect {
 public:
  enum class What { Nothing, AUException, BadAlloc, OSStatusValue, SystemError, Other };

  explicit ThrowingUnit(AudioComponentInstance instance);
  OSStatus Initialize() override;
  OSStatus GetPropertyInfo(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                           UInt32& outDataSize, bool& outWritable) override;
  OSStatus GetProperty(AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                       void* outData) override;
  OSStatus Render(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                  UInt32 inNumberFrames) override;

  // Set before creating an instance to make its constructor throw.
  static std::atomic<What> throwInConstructor;
  What throwInInitialize = What::Nothing;
  What throwInProperty = What::Nothing;
  What throwInRender = What::Nothing;

  static constexpr AudioUnitPropertyID kThrowingProperty = 0x10000;
  static void ThrowWhat(What what);
};

// A host-side helper: a non-interleaved float buffer list for `channels`.
class BufferList {
 public:
  BufferList(UInt32 channels, UInt32 frames, bool withData = true);
  AudioBufferList* get() { return reinterpret_cast<AudioBufferList*>(storage_.data()); }
  float* channel(UInt32 index) { return data_[index].data(); }

 private:
  std::vector<std::byte> storage_;
  std::vector<std::vector<float>> data_;
};

// An input render callback that fills every channel with `value` (the refCon points at it).
OSStatus FillInput(void* inRefCon, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                   UInt32 inBusNumber, UInt32 inNumberFrames, AudioBufferList* ioData);

using host::FloatFormat;
AudioTimeStamp SampleTime(Float64 sampleTime);

// Feeds input bus 0 of `unit` from FillInput with `*value`.
void FeedInput(AudioUnit unit, float* value);
OSStatus RenderAt(AudioUnit unit, Float64 sampleTime, UInt32 frames, AudioBufferList* data, UInt32 bus = 0);

template <typename T>
OSStatus Get(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, T& value) {
  UInt32 size = sizeof value;
  return AudioUnitGetProperty(unit, id, scope, element, &value, &size);
}

template <typename T>
OSStatus Set(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const T& value) {
  return AudioUnitSetProperty(unit, id, scope, element, &value, sizeof value);
}

// The value of a property that must be readable.
template <typename T>
T Value(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope = kAudioUnitScope_Global,
        AudioUnitElement element = 0) {
  T value;
  std::memset(&value, 0xA5, sizeof value);  // so a value that was never written shows
  EXPECT_EQ(Get(unit, id, scope, element, value), noErr) << "property " << id << " scope " << scope;
  return value;
}

// The value of a parameter that must be readable.
float Param(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope = kAudioUnitScope_Global,
            AudioUnitElement element = 0);

}  // namespace testunits
