// veneer-host view: what Veneer's window would show for the unit hosted here,
// decided by the same code as the window itself, with a short render first so
// that the status line can tell where the audio goes.
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "Commands.h"
#include "CompanionRole.h"
#include "RenderSession.h"
#include "TestSignal.h"
#include "UnitFacts.h"
#include "VeneerWatch.h"
#include "WindowController.h"

namespace host {

namespace {

constexpr double kSampleRate = 48000.0;
constexpr double kSeconds = 0.25;
constexpr UInt32 kBlock = 512;

int Fail(int status, const std::string& message) {
  std::cerr << "veneer-host view: " << message << "\n";
  return status;
}

// The window as text: what it was asked to embed.
class PrintedSurface : public veneerview::WindowSurface {
 public:
  bool EmbedProductView(AudioUnit /*inner*/, const veneerview::CocoaViewOffer& /*offer*/) override { return true; }
  void EmbedGenericView(AudioUnit /*inner*/) override {}
  void RemoveEmbedded() override {}
  void ShowStatus(const std::string& /*text*/, bool /*wholeWindow*/) override {}
};

void Print(const veneerview::WindowPlan& plan) {
  switch (plan.content) {
    case veneerview::Content::kStatus:
      std::cout << "window: status only (no inner unit)\n";
      break;
    case veneerview::Content::kProductView: {
      std::error_code error;
      const bool here = std::filesystem::is_directory(plan.productView.bundlePath, error);
      std::cout << "window: the product's own view, under the status line\n"
                << "  bundle: " << plan.productView.bundlePath << (here ? "" : " (not on this machine)") << "\n"
                << "  class:  " << plan.productView.factoryClass << "\n";
      break;
    }
    case veneerview::Content::kGenericView:
      std::cout << "window: the generic view of the product's parameters (it offers no view of its own), "
                   "under the status line\n";
      break;
  }
  std::cout << "status: " << plan.strip << "\n";
}

}  // namespace

int RunView(const ViewOptions& options) {
  std::string error;
  bool badArguments = false;
  AudioComponent component = ResolveComponent(options.component, &error, &badArguments);
  if (component == nullptr) {
    return Fail(badArguments ? kExitUsage : kExitFailure, error);
  }
  const std::optional<companion::SupportFolder> folder = companion::SupportFolder::Locate(std::nullopt, &error);
  std::optional<CompanionRole> companionRole;
  if (options.playsCompanion && folder) {
    companionRole.emplace(*folder);
    if (!companionRole->Prepare()) {
      return kExitFailure;  // Prepare said why
    }
    if (!companionRole->Start({}, &error)) {
      return Fail(kExitFailure, error);
    }
  }

  const Audio input = MakeVoiceLikeSignal(kSampleRate, kSeconds);
  const std::unique_ptr<RenderSession> session = RenderSession::Open(component, input.Shape(), kBlock, kBlock, &error);
  if (session == nullptr) {
    return Fail(kExitFailure, error);
  }
  const auto initializing = std::filesystem::file_time_type::clock::now();
  if (const OSStatus status = session->Initialize(false); status != noErr) {
    return Fail(kExitFailure, "initialising the unit failed with " + std::to_string(status));
  }
  if (folder) {
    AwaitFirstLinkPass(session->Unit(), *folder, initializing);
  }
  UInt32 size = 0;
  Boolean writable = false;
  if (AudioUnitGetPropertyInfo(session->Unit(), veneerview::kInnerUnitProperty, kAudioUnitScope_Global, 0, &size,
                               &writable) != noErr) {
    return Fail(kExitFailure, "the unit is not Veneer: it does not hand out an inner unit");
  }
  PrintedSurface surface;
  veneerview::WindowController window(session->Unit(), surface, veneerview::WindowController::FileReading::kInline);
  RenderGate gate;
  MemorySource source(input);
  MemorySink sink(input.Shape());
  session->Run(
      source, sink, false, gate, [](std::size_t) {}, [] { return false; }, [] { return BypassCause::kNone; });
  window.Refresh();
  Print(window.Plan());
  return kExitOk;
}

}  // namespace host
