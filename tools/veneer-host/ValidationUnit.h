// One instance of the component under validation, with a sine-wave source on
// its input and output buffers of its own.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <string>
#include <vector>

namespace host {

class ValidationUnit {
 public:
  // [main thread] Opens an instance; Ok() says whether it worked.
  explicit ValidationUnit(AudioComponent component);
  // [main thread] Uninitialises and closes it.
  ~ValidationUnit();
  ValidationUnit(const ValidationUnit&) = delete;
  ValidationUnit& operator=(const ValidationUnit&) = delete;

  [[nodiscard]] bool Ok() const { return unit_ != nullptr; }
  [[nodiscard]] AudioUnit Unit() const { return unit_; }
  [[nodiscard]] OSStatus OpenStatus() const { return openStatus_; }

  // [main thread] Formats on both sides, the maximum frames and the input callback,
  // then initialisation; the first failing status, with `step` naming it.
  OSStatus Configure(double sampleRate, UInt32 channels, UInt32 maxFrames, std::string* step);
  // [main thread] One render of `frames`; `finite` says whether the output held only numbers.
  OSStatus Render(UInt32 frames, bool* finite);

 private:
  static OSStatus Provide(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp, UInt32 bus,
                          UInt32 frames, AudioBufferList* data);

  AudioUnit unit_ = nullptr;
  OSStatus openStatus_ = noErr;
  double sampleRate_ = 44100;
  UInt32 channels_ = 2;
  double phase_ = 0;
  double sampleTime_ = 0;
  std::vector<std::vector<float>> output_;
  std::vector<unsigned char> listStorage_;
};

}  // namespace host
