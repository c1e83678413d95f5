// One instance of the component under validation, with a sine-wave source on
// its input and output buffers of its own.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <string>
#include <vector>

#include "HeldInput.h"

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
  // What one render gave.
  struct BlockFacts {
    bool finite = true;   // the output held only numbers
    bool pulled = false;  // the unit asked for the input during the render
    bool first = false;   // the instance's first render since it was opened
    // How well the output follows the input: the best normalised correlation of the first
    // channel with the input given so far, at lags up to the unit's latency and one period
    // of the 440 Hz input (a block played again counts too). 1 when the output may still
    // be silent within the latency, or the block is too short to tell.
    double follows = 0;
    // It read its input and played it unchanged, on every channel.
    bool passed = false;
    // It read nothing and played, on every channel, exactly the block it read last again
    // (Veneer's bypass, see HeldInput).
    bool replayed = false;
  };

  // [main thread] One render of `frames`.
  OSStatus Render(UInt32 frames, BlockFacts* facts);

 private:
  [[nodiscard]] double Follows(const std::vector<float>& output) const;
  // Whether every output channel's first `frames` samples are `expected`.
  [[nodiscard]] bool Plays(const float* expected, UInt32 frames) const;
  static OSStatus Provide(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp, UInt32 bus,
                          UInt32 frames, AudioBufferList* data);

  AudioUnit unit_ = nullptr;
  OSStatus openStatus_ = noErr;
  double sampleRate_ = 44100;
  UInt32 channels_ = 2;
  double phase_ = 0;
  double sampleTime_ = 0;
  UInt32 latencyFrames_ = 0;
  bool pulled_ = false;
  std::size_t renders_ = 0;
  std::vector<float> given_;  // every input sample of the first channel, in order
  HeldInput held_;            // what it would play again if it read nothing
  std::vector<std::vector<float>> output_;
  std::vector<unsigned char> listStorage_;
};

}  // namespace host
