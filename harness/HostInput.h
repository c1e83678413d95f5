// The host's track on a unit's input bus: a prepared signal that the render
// callback copies into the buffers the unit pulls with, as a host copies from
// its own track buffers; or, to try a unit, a track that delivers half a
// block, fails, leaves the buffers without memory, or reshapes the list.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace harness {

class HostInput {
 public:
  enum class Mode : uint8_t { kFull, kShort, kFails, kNoData };
  static constexpr uint32_t kModes = 4;

  // `frames` of a voice-like level (RMS about -15 dBFS), a different tone in
  // each of `channels` (at least one) channels; a longer pull gets silence after.
  HostInput(UInt32 channels, UInt32 frames, Float64 sampleRate);

  // What a source may do to the list it is given besides filling it. Entries
  // beyond the ones it was given are never written: they are not its memory.
  struct Reshape {
    int32_t bufferCountChange = 0;        // added to the list's buffer count (not below 0)
    bool foreignData = false;             // points every buffer at memory of the source's own
    std::optional<UInt32> reportedBytes;  // byte size reported, whatever was delivered
    bool failAfter = false;               // answers an error after all that
    UInt32 answerFromPull = 0;            // pulls before this one fail and leave the list alone
  };

  void SetMode(Mode mode) { mode_ = mode; }
  void SetReshape(const Reshape& reshape) {
    reshape_ = reshape;
    reshaping_ = true;
  }
  void ClearReshape() { reshaping_ = false; }
  [[nodiscard]] AURenderCallbackStruct Callback() { return {Provide, this}; }
  [[nodiscard]] float Sample(UInt32 channel, UInt32 frame) const { return track_[channel][frame]; }
  // A list over the first `frames` samples of every channel, as a unit's own
  // input list holds a block; for readers only.
  [[nodiscard]] std::vector<std::byte> BufferList(UInt32 frames) const;

  // [render thread] Allocates only for a unit that pulls into buffers without
  // memory, which the host then lends.
  static OSStatus Provide(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* stamp, UInt32 bus,
                          UInt32 frames, AudioBufferList* ioData);

 private:
  std::vector<std::vector<float>> track_;
  std::vector<float> lent_;
  Mode mode_ = Mode::kFull;
  Reshape reshape_;
  bool reshaping_ = false;
  UInt32 pulls_ = 0;
};

}  // namespace harness
