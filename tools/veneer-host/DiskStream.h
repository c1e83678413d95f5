// The disk side of a render, as a DAW streams a track: a thread of its own reads
// the input ahead of the render thread and writes what it rendered behind it,
// through two fixed rings, so memory stays the same however long the file is.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "AudioStream.h"
#include "FrameFifo.h"

namespace host {

class DiskStream {
 public:
  // [main thread] Frames moved to or from the disk at a time, and the frames each ring holds.
  static constexpr std::size_t kPieceFrames = 16384;
  static constexpr std::size_t kRingFrames = 16 * kPieceFrames;

  // [main thread] Starts reading `source` at once; the rendered audio goes to `sink`.
  DiskStream(AudioSource& source, AudioSink& sink);
  // [main thread] Stops the disk thread (what was not written yet is dropped).
  ~DiskStream() { Stop(); }
  DiskStream(const DiskStream&) = delete;
  DiskStream& operator=(const DiskStream&) = delete;

  // [render thread] The input read ahead, and the room for the rendered audio.
  FrameFifo& Input() { return input_; }
  FrameFifo& Output() { return output_; }
  // [render thread] Whether the whole input is in the input ring (or its reading failed).
  [[nodiscard]] bool InputEnded() const { return inputEnded_.load(std::memory_order_acquire); }
  // [any thread] Whether reading or writing failed; the render then stops.
  [[nodiscard]] bool Failed() const { return failed_.load(std::memory_order_acquire); }
  // [render thread] No more output follows: the disk thread writes what is left and ends.
  void EndOutput() { outputEnded_.store(true, std::memory_order_release); }

  // [main thread] After EndOutput: waits until every rendered frame is written; false, with
  // `error`, when reading or writing failed.
  bool Finish(std::string* error);
  // [main thread] Stops the disk thread now, as the render is being given up.
  void Stop();
  // [main thread] After Finish or Stop: the levels of what went by.
  [[nodiscard]] Level InputLevel() const { return inputLevel_.Result(); }
  [[nodiscard]] Level OutputLevel() const { return outputLevel_.Result(); }

 private:
  // [disk thread]
  void Run();
  // [disk thread] Whether it moved audio; false on failure too.
  bool ReadPiece();
  bool WritePiece(std::size_t frames);
  void Fail(const std::string& error);

  AudioSource& source_;
  AudioSink& sink_;
  FrameFifo input_;
  FrameFifo output_;
  std::vector<std::vector<float>> piece_;  // the disk thread's
  std::vector<float*> pieceChannels_;
  LevelMeter inputLevel_;   // the disk thread's until it is joined
  LevelMeter outputLevel_;  // the same
  std::atomic<bool> inputEnded_{false};
  std::atomic<bool> outputEnded_{false};
  std::atomic<bool> failed_{false};
  std::atomic<bool> quit_{false};
  std::mutex errorMutex_;
  std::string error_;
  std::thread thread_;
};

}  // namespace host
