// One hosted unit rendering a file: opened and configured the way a DAW does,
// rendered in blocks on a render thread while the main thread runs the main run
// loop (where units post their main-thread work).
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AudioFile.h"
#include "RenderGate.h"

namespace host {

// Veneer's private property: the inner unit it renders through (null while it has none).
inline constexpr AudioUnitPropertyID kVeneerInnerUnitProperty = 0x766E6975;  // 'vniu'

struct BlockStats {
  std::uint64_t blocks = 0;
  std::uint64_t slowBlocks = 0;  // took longer than the audio they hold
  std::uint64_t failedBlocks = 0;
  OSStatus firstFailure = noErr;
  double longestMs = 0;
  double totalMs = 0;
};

// Why Veneer takes its bypass path, as far as the host can tell.
enum class BypassCause {
  kNone,
  kHost,
  kNoProduct,
  kCompanionMissing,
  kCompanionStale,
  kQuitMarker,
  kProductRefused,  // the inner unit was asked and failed the block: Veneer played the dry input
};

struct CauseChange {
  std::size_t frame;  // rendered when the cause was seen
  BypassCause cause;
};

struct RenderOutcome {
  Audio output;
  BlockStats stats;
  // Whether the unit answers Veneer's inner-unit property at all.
  bool reportsInner = false;
  // Frames already rendered when the inner unit was first seen; none when it never was.
  std::optional<std::size_t> innerSeenAtFrame;
  std::string innerTitle;
  // Per block: whether the unit read the host's audio in it. Veneer reads it only when its
  // inner unit renders, and on the very first block of an instance.
  std::vector<bool> pulledInput;
  // Per block: whether Veneer's inner unit was asked to render it and failed (seen through a
  // render notification on the inner unit); Veneer then plays the dry input.
  std::vector<bool> innerRefused;
  // Stopped before the end (Ctrl-C); the output holds silence past the frames rendered.
  bool stopped = false;
  std::size_t framesRendered = 0;
  // The causes of a bypass the host saw while rendering, each from the frame it was first seen at.
  std::vector<CauseChange> causes;
};

class RenderSession {
 public:
  // [main thread] Opens an instance of `component` and sets it up for `input`: the stream
  // format on both sides (32-bit float, non-interleaved, the input's rate and channels), the
  // maximum frames per slice, and the render callback that feeds the input. Null (and `error`)
  // when the unit refuses any of it.
  static std::unique_ptr<RenderSession> Open(AudioComponent component, const Audio& input, UInt32 blockFrames,
                                             UInt32 maxFrames, std::string* error);
  // [main thread] Uninitialises and disposes of the instance.
  ~RenderSession();
  RenderSession(const RenderSession&) = delete;
  RenderSession& operator=(const RenderSession&) = delete;

  [[nodiscard]] AudioUnit Unit() const { return unit_; }

  // [main thread] Makes the render thread stop before its next block (Run then returns at once).
  void Stop() { stop_.store(true, std::memory_order_relaxed); }

  // [main thread] Initialises the unit, on this thread or, as some hosts do, on a worker.
  OSStatus Initialize(bool onWorkerThread);

  // [main thread] Renders the whole input on a render thread, paced at real time or as fast
  // as possible. Meanwhile runs the main run loop and calls `tick` with the frames rendered
  // so far, about 50 times a second; after the last block goes on while `keepWaiting` says so.
  // `companionCause` tells whether the companion's files would make Veneer bypass now. The
  // render thread holds before a block wherever `gate` says.
  RenderOutcome Run(bool realTime, RenderGate& gate, const std::function<void(std::size_t)>& tick,
                    const std::function<bool()>& keepWaiting, const std::function<BypassCause()>& companionCause);

 private:
  RenderSession(AudioUnit unit, const Audio& input, UInt32 blockFrames);

  // [render thread] Every block, in order.
  void RenderAll(bool realTime, RenderGate& gate);
  // [render thread] The unit's input: the file's samples from the current position.
  static OSStatus ProvideInput(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp,
                               UInt32 bus, UInt32 frames, AudioBufferList* data);
  // [render thread] The inner unit's render notification: counts its failed renders.
  static OSStatus InnerRendered(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp,
                                UInt32 bus, UInt32 frames, AudioBufferList* data);
  // [main thread] Notes when the inner unit first shows, and what would make the unit bypass.
  void Observe(RenderOutcome& outcome, const std::function<BypassCause()>& companionCause) const;

  AudioUnit unit_ = nullptr;
  const Audio& input_;
  const UInt32 blockFrames_;
  Audio output_;
  std::unique_ptr<AudioBufferList, void (*)(void*)> outputList_;
  BlockStats stats_;                // render thread's until it is joined
  std::size_t renderPosition_ = 0;  // render thread's
  std::size_t pulls_ = 0;           // render thread's: calls for the host's audio
  std::vector<bool> pulledInput_;   // render thread's until it is joined; reserved in advance
  std::vector<bool> innerRefused_;  // the same
  std::atomic<std::uint64_t> innerFailures_{0};
  std::atomic<std::size_t> framesDone_{0};
  std::atomic<bool> finished_{false};
  std::atomic<bool> stop_{false};
  bool initialized_ = false;
};

}  // namespace host
