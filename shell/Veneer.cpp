// The Veneer object: construction, initialise and clean-up, the Logic host's
// retired instance, and the link thread's start and stop.
#include "shell/Veneer.h"

#include <dispatch/dispatch.h>
#include <libproc.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/SteeredSettings.h"

namespace veneer {

std::atomic<AudioUnit> gRetiredInner{nullptr};
std::atomic<const VariantInfo*> gRetiredVariant{nullptr};

namespace {

// Asked anew on every call: a host may rename itself.
bool IsLogicHostingProcess() {
  char name[256] = {};
  if (proc_name(getpid(), name, sizeof name) < 1) {
    return false;
  }
  return std::strstr(name, "Logic") != nullptr || std::strstr(name, "AUHosting") != nullptr;
}

// [main thread] The delayed disposal of an inner unit that a host thread let go.
void DisposeInnerOnMainQueue(void* context) {
  RunGuarded("main queue: inner unit disposal", [context] {
    ExpectMainThread("the inner unit's disposal");
    auto* inner = static_cast<AudioUnit>(context);
    AudioUnitUninitialize(inner);
    AudioComponentInstanceDispose(inner);
    DebugLog(logtext::kDisposedOnMainThread);
  });
}

}  // namespace

Veneer::Veneer(AudioComponentInstance instance) : AUBase(instance, 1, 1, 0), lifeToken_(std::make_shared<LifeToken>()) {
  for (const SteeredSetting& setting : kSteeredSettings) {
    if (setting.cache != nullptr) {
      (this->*setting.cache).store(setting.defaultValue, std::memory_order_relaxed);
    }
  }
  lifeToken_->self = this;
}

// The host's uninitialise is relied upon to end the link thread and release the
// inner unit before the instance is closed. A creation still posted to the main
// queue finds the instance gone.
Veneer::~Veneer() {
  {
    const std::lock_guard lock(lifeToken_->mutex);
    lifeToken_->self = nullptr;
  }
  ReleaseInputBuffers();
}

OSStatus Veneer::Initialize() {
  const OSStatus status = AUBase::Initialize();
  DebugLog(ThreadTag() + std::string(logtext::kInitializeCalled) + std::to_string(status));
  if (status != noErr) {
    return status;
  }
  renderOutput_ = Output(0);
  renderInput_ = Input(0);
  cleanedUp_.store(false);
  lastSeq_.store(-1);
  // The latch is cleared, the bypass it forced is left as it is.
  AppLinkState state = appState_.load();
  state.appLost_ = false;
  appState_.store(state);
  StartIpcThread();
  if (IsLogicHostingProcess()) {
    return noErr;  // under Logic the next format change creates the inner unit
  }
  if (const OSStatus ensured = EnsureInnerUnit(); ensured != noErr) {
    DebugLog(logtext::kInitializeEnsureFailed + std::to_string(ensured));
  }
  return noErr;
}

void Veneer::Cleanup() {
  DebugLog(ThreadTag() + std::string(logtext::kCleanupCalled));
  StopIpcThread();
  cleanedUp_.store(true);
  AudioUnit inner = innerUnit_.exchange(nullptr);
  if (inner != nullptr) {
    // A view lets go of the inner unit's editor here, before the unit goes.
    AnnounceInnerUnit();
    if (IsLogicHostingProcess()) {
      // Never uninitialised or disposed under Logic: one instance is kept for reuse.
      AudioUnit expected = nullptr;
      if (gRetiredInner.compare_exchange_strong(expected, inner)) {
        gRetiredVariant.store(variant_.load());
        DebugLog(logtext::kLogicRetired);
      } else {
        DebugLog(logtext::kLogicRetiredAlready);
      }
    } else if (pthread_main_np() == 0) {
      DebugLog(ThreadTag() + std::string(logtext::kDisposeOnMainThread));
      dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(NSEC_PER_SEC)), dispatch_get_main_queue(),
                       inner, DisposeInnerOnMainQueue);
    } else {
      ExpectMainThread("the inner unit's disposal");
      AudioUnitUninitialize(inner);
      AudioComponentInstanceDispose(inner);
      DebugLog(logtext::kInnerDisposed);
    }
  }
  AUBase::Cleanup();
}

int Veneer::StartIpcThread() {
  linkRunning_.store(true);
  pthread_t thread{};
  const int status = pthread_create(&thread, nullptr, IpcThreadEntry, this);
  if (status == 0) {
    linkThread_ = thread;
  }
  return status;
}

int Veneer::StopIpcThread() {
  {
    const std::lock_guard lock(linkWakeMutex_);
    linkRunning_.store(false);
  }
  linkWake_.notify_all();
  if (!linkThread_) {
    return 0;
  }
  const int status = pthread_join(*linkThread_, nullptr);
  linkThread_.reset();
  return status;
}

void* Veneer::IpcThreadEntry(void* arg) {
  auto* self = static_cast<Veneer*>(arg);
  if (!self->linkRunning_.load()) {
    return nullptr;
  }
  std::time_t lastAliveTime = 0;  // the first pass writes the alive file at once
  for (;;) {
    RunGuarded("link thread", [&] { self->RunLinkCycle(lastAliveTime); });
    // Outside the guard: a pass that throws still waits its second.
    self->PauseLink();
    if (!self->linkRunning_.load()) {
      return nullptr;
    }
  }
}

void Veneer::PauseLink() {
  std::unique_lock lock(linkWakeMutex_);
  linkWake_.wait_for(lock, linkPause_, [this] { return !linkRunning_.load(); });
}

void Veneer::AnnounceInnerUnit() { PropertyChanged(kInnerUnitProperty, kAudioUnitScope_Global, 0); }

double Veneer::LatencyFor(Float64 sampleRate) const { return (classicMode_.load() > 0.5 ? 37.0 : 112.0) / sampleRate; }

}  // namespace veneer
