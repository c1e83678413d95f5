// What a registered stand-in component is told to do wrong, so that tests can
// drive a host through the failures of a real product. One set per registered
// component; instances read it live, so a change also reaches running ones.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace standin {

class Faults {
 public:
  // Every member may be set on any thread while instances render and are driven
  // by other threads. 0 (noErr) means no fault.

  // AudioComponentInstanceNew fails with this status.
  std::atomic<OSStatus> instanceNew{noErr};
  // AudioUnitInitialize returns this status. Any status leaves the unit
  // uninitialised, except kAudioUnitErr_Initialized (-10849): the unit then
  // initialises and is usable, and the call still reports that status.
  std::atomic<OSStatus> initialize{noErr};
  // Getting kAudioUnitProperty_Latency fails with this status.
  std::atomic<OSStatus> latencyGet{noErr};
  // The latency the unit reports, in seconds.
  std::atomic<Float64> latencySeconds{0.0};
  // The scale parameter's GetParameterInfo fails with this status.
  std::atomic<OSStatus> scaleInfo{noErr};
  // Render returns this status (and renders nothing).
  std::atomic<OSStatus> render{noErr};
  // Render sleeps this long before it does its work.
  std::atomic<UInt32> renderDelayMs{0};
  // Parameter names come as a string object (with the name field filled as
  // well); false leaves only the fixed name field.
  std::atomic<bool> namesAsStringObjects{true};

  // Whether the unit offers a Cocoa view of its own (the view property): when
  // the view bundle lies in its bundle's resources (as the macOS build puts it
  // in some of them), always (the bundle where it would lie), or never.
  enum class CocoaView { kWhenBundled, kAlways, kNever };
  std::atomic<CocoaView> cocoaView{CocoaView::kWhenBundled};

  // [any thread] Setting property `id` on `scope` (any element) fails with
  // `status`; a status of 0 removes the rule.
  void FailSetProperty(AudioUnitPropertyID id, AudioUnitScope scope, OSStatus status);
  // [any thread] The status a set of `id` on `scope` fails with, or 0.
  [[nodiscard]] OSStatus SetPropertyFailure(AudioUnitPropertyID id, AudioUnitScope scope) const;

  // [any thread] The scale parameter reports `name`; an empty name restores its own.
  void SetScaleName(std::string name);
  // [any thread] The name set by SetScaleName, empty when none.
  [[nodiscard]] std::string ScaleName() const;

  // [any thread] Back to no faults and a latency of 0.
  void Clear();

 private:
  mutable std::mutex mutex_;
  std::map<std::pair<AudioUnitPropertyID, AudioUnitScope>, OSStatus> setPropertyFailures_;
  std::string scaleName_;
};

}  // namespace standin
