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

#include "AudioStream.h"
#include "DiskStream.h"
#include "RenderGate.h"
#include "RingQueue.h"

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
  // Rendered at the host's look before, which still saw the cause before this one: a block
  // that ends after it may have taken its path for this cause, one before it did not.
  std::size_t lookBefore;
};

// Consecutive blocks that the unit rendered alike.
struct BlockSpan {
  std::size_t firstBlock = 0;  // counted from 0
  std::size_t lastBlock = 0;
  // Whether the unit read the host's audio in them. Veneer reads it only when its inner unit
  // renders, and on the very first block of an instance.
  bool pulledInput = false;
  // Whether Veneer's inner unit was asked to render them and failed (seen through a render
  // notification on the inner unit); Veneer then plays the dry input.
  bool innerRefused = false;
};

struct RenderOutcome {
  BlockStats stats;
  // Whether the unit answers Veneer's inner-unit property at all.
  bool reportsInner = false;
  // Frames already rendered when the inner unit was first seen; none when it never was.
  std::optional<std::size_t> innerSeenAtFrame;
  std::string innerTitle;
  std::vector<BlockSpan> spans;
  // Stopped before the end (Ctrl-C, or the input could not be read or the output written).
  bool stopped = false;
  std::optional<std::string> diskFailure;  // why reading or writing failed
  std::size_t framesRendered = 0;
  // The causes of a bypass the host saw while rendering, each from the frame it was first seen at.
  std::vector<CauseChange> causes;
  Level inputLevel;
  Level outputLevel;
};

class RenderSession {
 public:
  // [main thread] Opens an instance of `component` and sets it up for audio of `shape`: the
  // stream format on both sides (32-bit float, non-interleaved, its rate and channels), the
  // maximum frames per slice, and the render callback that feeds the input. Null (and `error`)
  // when the unit refuses any of it.
  static std::unique_ptr<RenderSession> Open(AudioComponent component, const AudioShape& shape, UInt32 blockFrames,
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

  // [main thread] Renders the whole of `source` into `sink` on a render thread, paced at real
  // time or as fast as possible, with the disk work on a thread of its own. Meanwhile runs the
  // main run loop and calls `tick` with the frames rendered so far, about 50 times a second;
  // after the last block goes on while `keepWaiting` says so. `companionCause` tells whether
  // the companion's files would make Veneer bypass now. The render thread holds before a
  // block wherever `gate` says.
  RenderOutcome Run(AudioSource& source, AudioSink& sink, bool realTime, RenderGate& gate,
                    const std::function<void(std::size_t)>& tick, const std::function<bool()>& keepWaiting,
                    const std::function<BypassCause()>& companionCause);

 private:
  RenderSession(AudioUnit unit, const AudioShape& shape, UInt32 blockFrames);

  // [render thread] Every block, in order.
  void RenderAll(std::size_t total, DiskStream& disk, bool realTime, RenderGate& gate);
  // [render thread] Waits until the block's input is read and its output has room; the
  // block's frames, 0 at the end.
  std::size_t AwaitBlock(std::size_t wanted, DiskStream& disk) const;
  // [render thread] Notes how the unit rendered the block, passing on spans as they end.
  void NoteBlock(bool pulledInput, bool innerRefused);
  // [render thread] The unit's input: the block's samples.
  static OSStatus ProvideInput(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp,
                               UInt32 bus, UInt32 frames, AudioBufferList* data);
  // [render thread] The inner unit's render notification: counts its failed renders.
  static OSStatus InnerRendered(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp,
                                UInt32 bus, UInt32 frames, AudioBufferList* data);
  // [main thread] Notes when the inner unit first shows, and what would make the unit bypass.
  void Observe(RenderOutcome& outcome, const std::function<BypassCause()>& companionCause);
  // [main thread] Takes in the spans the render thread has passed on.
  void CollectSpans(RenderOutcome& outcome);

  AudioUnit unit_ = nullptr;
  const AudioShape shape_;
  const UInt32 blockFrames_;
  // The block being rendered: its input and output, one buffer per channel.
  std::vector<std::vector<float>> blockInput_;
  std::vector<std::vector<float>> blockOutput_;
  std::vector<float*> blockInputChannels_;
  std::vector<float*> blockOutputChannels_;
  std::size_t blockInputFrames_ = 0;  // render thread's: what the file holds of the block
  std::unique_ptr<AudioBufferList, void (*)(void*)> outputList_;
  BlockStats stats_;                // render thread's until it is joined
  std::size_t renderPosition_ = 0;  // render thread's
  std::size_t pulls_ = 0;           // render thread's: calls for the host's audio
  std::optional<BlockSpan> span_;   // render thread's: the span the last block belongs to
  RingQueue<BlockSpan, 1024> spans_;
  std::size_t lastLook_ = 0;  // main thread's: frames rendered at its last look
  std::atomic<std::uint64_t> innerFailures_{0};
  std::atomic<std::size_t> framesDone_{0};
  std::atomic<bool> finished_{false};
  std::atomic<bool> stop_{false};
  bool initialized_ = false;
};

}  // namespace host
