#include "RenderWatch.h"

namespace veneerview {
namespace {

bool PostRender(const AudioUnitRenderActionFlags* flags) {
  return flags != nullptr && (*flags & kAudioUnitRenderAction_PostRender) != 0;
}

void Increment(std::atomic<uint64_t>& counter) {
  counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

}  // namespace

RenderWatch::RenderWatch(AudioUnit veneer) : veneer_(veneer) {
  AudioUnitAddRenderNotify(veneer_, &VeneerRendered, this);
}

RenderWatch::~RenderWatch() {
  WatchInner(nullptr);
  AudioUnitRemoveRenderNotify(veneer_, &VeneerRendered, this);
}

void RenderWatch::WatchInner(AudioUnit inner) {
  if (inner == inner_) {
    return;
  }
  if (inner_ != nullptr) {
    AudioUnitRemoveRenderNotify(inner_, &InnerRendered, this);
  }
  inner_ = inner;
  if (inner_ != nullptr) {
    AudioUnitAddRenderNotify(inner_, &InnerRendered, this);
  }
}

Playing RenderWatch::Sample() {
  const uint64_t renders = veneerRenders_.load(std::memory_order_acquire);
  if (renders == sampledRenders_) {
    return Playing::kIdle;
  }
  sampledRenders_ = renders;
  return lastBlock_.load(std::memory_order_relaxed);
}

OSStatus RenderWatch::VeneerRendered(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* /*stamp*/,
                                     UInt32 /*bus*/, UInt32 /*frames*/, AudioBufferList* /*data*/) {
  if (!PostRender(flags)) {
    return noErr;
  }
  auto* self = static_cast<RenderWatch*>(refCon);
  // The inner unit renders inside Veneer's render: what it did since Veneer's last block is this block.
  const uint64_t innerRenders = self->innerRenders_.load(std::memory_order_relaxed);
  const uint64_t innerFailures = self->innerFailures_.load(std::memory_order_relaxed);
  Playing block = Playing::kAroundProduct;
  if (innerFailures != self->innerFailuresSeen_.load(std::memory_order_relaxed)) {
    block = Playing::kProductFailing;
  } else if (innerRenders != self->innerRendersSeen_.load(std::memory_order_relaxed)) {
    block = Playing::kThroughProduct;
  }
  self->innerRendersSeen_.store(innerRenders, std::memory_order_relaxed);
  self->innerFailuresSeen_.store(innerFailures, std::memory_order_relaxed);
  self->lastBlock_.store(block, std::memory_order_relaxed);
  self->veneerRenders_.fetch_add(1, std::memory_order_release);
  return noErr;
}

OSStatus RenderWatch::InnerRendered(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* /*stamp*/,
                                    UInt32 /*bus*/, UInt32 /*frames*/, AudioBufferList* /*data*/) {
  if (!PostRender(flags)) {
    return noErr;
  }
  auto* self = static_cast<RenderWatch*>(refCon);
  Increment((*flags & kAudioUnitRenderAction_PostRenderError) != 0 ? self->innerFailures_ : self->innerRenders_);
  return noErr;
}

}  // namespace veneerview
