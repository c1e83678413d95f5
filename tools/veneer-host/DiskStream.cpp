#include "DiskStream.h"

#include <chrono>

namespace host {

DiskStream::DiskStream(AudioSource& source, AudioSink& sink)
    : source_(source),
      sink_(sink),
      input_(source.Shape().channels, kRingFrames),
      output_(source.Shape().channels, kRingFrames),
      piece_(source.Shape().channels, std::vector<float>(kPieceFrames)) {
  for (std::vector<float>& channel : piece_) {
    pieceChannels_.push_back(channel.data());
  }
  thread_ = std::thread([this] { Run(); });
}

void DiskStream::Stop() {
  quit_.store(true, std::memory_order_relaxed);
  if (thread_.joinable()) {
    thread_.join();
  }
}

bool DiskStream::Finish(std::string* error) {
  if (thread_.joinable()) {
    thread_.join();
  }
  if (failed_.load(std::memory_order_acquire)) {
    const std::lock_guard<std::mutex> lock(errorMutex_);
    *error = error_;
    return false;
  }
  return true;
}

void DiskStream::Fail(const std::string& error) {
  {
    const std::lock_guard<std::mutex> lock(errorMutex_);
    error_ = error;
  }
  failed_.store(true, std::memory_order_release);
  inputEnded_.store(true, std::memory_order_release);  // the render thread waits no more
}

bool DiskStream::ReadPiece() {
  std::string error;
  const std::optional<std::size_t> read = source_.Read(pieceChannels_.data(), kPieceFrames, &error);
  if (!read) {
    Fail(error);
    return false;
  }
  inputLevel_.Add(pieceChannels_.data(), piece_.size(), *read);
  input_.Push(pieceChannels_.data(), *read);
  if (*read < kPieceFrames) {
    inputEnded_.store(true, std::memory_order_release);
  }
  return true;
}

bool DiskStream::WritePiece(std::size_t frames) {
  output_.Peek(pieceChannels_.data(), frames);
  output_.Drop(frames);
  outputLevel_.Add(pieceChannels_.data(), piece_.size(), frames);
  std::string error;
  if (!sink_.Write(pieceChannels_.data(), frames, &error)) {
    Fail(error);
    return false;
  }
  return true;
}

void DiskStream::Run() {
  while (!quit_.load(std::memory_order_relaxed)) {
    bool moved = false;
    if (!inputEnded_.load(std::memory_order_relaxed) && input_.Space() >= kPieceFrames) {
      if (!ReadPiece()) {
        return;
      }
      moved = true;
    }
    // Whether the output has ended is read before what it holds, so nothing is left behind.
    const bool ended = outputEnded_.load(std::memory_order_acquire);
    const std::size_t waiting = output_.Available();
    if (waiting >= kPieceFrames || (ended && waiting > 0)) {
      if (!WritePiece(std::min(waiting, kPieceFrames))) {
        return;
      }
      moved = true;
    } else if (ended) {
      return;  // everything written
    }
    if (!moved) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
}

}  // namespace host
