// veneer-host render: a DAW playing one track through the plug-in.
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <utility>

#include "BlockReport.h"
#include "Commands.h"
#include "CompanionRole.h"
#include "FileAccess.h"
#include "OutputFiles.h"
#include "PluginLog.h"
#include "Presets.h"
#include "ProgressBar.h"
#include "RenderOptions.h"
#include "RenderSession.h"
#include "StopSignal.h"
#include "Summary.h"
#include "TestSignal.h"
#include "VeneerWatch.h"
#include "WavHeader.h"

namespace host {

namespace {

constexpr double kDemoSeconds = 4.0;
constexpr double kDemoSampleRate = 48000.0;

int Fail(int status, const std::string& message) {
  std::cerr << "veneer-host render: " << message << "\n";
  return status;
}

}  // namespace

int RunRender(RenderOptions options) {
  std::string error;
  if (const auto clash = CheckRenderOptions(options)) {
    return Fail(kExitUsage, *clash);
  }

  // The audio first: bad input is refused before anything is opened or written.
  Audio input;
  if (options.input) {
    auto audio = ReadAudioFile(*options.input, 2, &error);
    if (!audio) {
      return Fail(kExitUsage, error);
    }
    input = std::move(*audio);
    if (const auto mismatch = WavHeaderMismatch(*options.input, input.Frames())) {
      std::cerr << "veneer-host render: warning: " << *options.input << ": " << *mismatch << "\n";
    }
    if (!options.output) {
      options.output = DefaultOutput(*options.input);
    }
  } else {
    input = MakeVoiceLikeSignal(kDemoSampleRate, kDemoSeconds);
    ApplyDemoDefaults(options, kDemoSeconds);
  }
  if (input.Frames() == 0) {
    return Fail(kExitUsage, "the input holds no audio");
  }
  const double seconds = static_cast<double>(input.Frames()) / input.sampleRate;
  for (const TimedSettings& timed : options.timedSettings) {
    if (timed.seconds >= seconds) {
      char text[160];
      std::snprintf(text, sizeof text, "--set-at %g s is not within the input, which lasts %.3f s", timed.seconds,
                    seconds);
      return Fail(kExitUsage, text);
    }
  }
  // Everything about the outputs is settled before the first block: none is lost after a long render.
  if (!CanWriteAudioTo(*options.output, &error) || !OutputsAreDistinct(options, &error)) {
    return Fail(kExitUsage, error);
  }
  for (const std::optional<std::string>& path : {options.output, options.report, options.savePreset}) {
    if (path && !PrepareOutput(*path, &error)) {
      return Fail(kExitUsage, error);
    }
  }

  bool badArguments = false;
  AudioComponent component = ResolveComponent(options.component, &error, &badArguments);
  if (component == nullptr) {
    return Fail(badArguments ? kExitUsage : kExitFailure, error);
  }

  std::optional<companion::SupportFolder> folder = companion::SupportFolder::Locate(std::nullopt, &error);
  std::optional<CompanionRole> companionRole;
  if (options.SendsSettings() && !folder) {
    return Fail(kExitUsage, error);
  }
  if (options.playsCompanion && folder) {
    companionRole.emplace(*folder);
    if (!companionRole->Prepare()) {
      return kExitFailure;  // Prepare said why
    }
    if (!companionRole->Start(options.settings, &error)) {
      return Fail(kExitFailure, error);
    }
    companionRole->Schedule(options.timedSettings, input.sampleRate, options.realTime);
  }

  std::optional<PluginLog> pluginLog;
  if (folder) {
    pluginLog.emplace(folder->File(companion::kDebugLog));
  }
  RenderOutcome outcome;
  {
    const std::unique_ptr<RenderSession> session =
        RenderSession::Open(component, input, options.blockFrames, options.maxFrames, &error);
    if (session == nullptr) {
      return Fail(kExitFailure, error);
    }
    if (options.loadPreset && !LoadPreset(session->Unit(), *options.loadPreset, &error)) {
      return Fail(kExitUsage, error);
    }
    if (const UInt32 largest = std::max(options.blockFrames, options.maxFrames);
        largest > kVeneerProductFrames && HandsOutInnerUnit(session->Unit())) {
      std::cerr << "veneer-host render: warning: Veneer lets its product render at most " << kVeneerProductFrames
                << " frames at a time; blocks of " << options.blockFrames
                << " frames that exceed it are played dry (the input unchanged)\n";
    }
    if (options.hostBypass) {
      const UInt32 on = 1;
      if (const OSStatus status = AudioUnitSetProperty(session->Unit(), kAudioUnitProperty_BypassEffect,
                                                       kAudioUnitScope_Global, 0, &on, sizeof on);
          status != noErr) {
        return Fail(kExitFailure, "the unit refused the bypass switch with " + std::to_string(status));
      }
    }
    for (const auto& [id, value] : options.parameters) {
      if (const OSStatus status = AudioUnitSetParameter(session->Unit(), id, kAudioUnitScope_Global, 0, value, 0);
          status != noErr) {
        return Fail(kExitFailure, "parameter " + std::to_string(id) + " refused with " + std::to_string(status));
      }
    }
    const auto initializing = std::filesystem::file_time_type::clock::now();
    if (const OSStatus status = session->Initialize(options.initializeOnWorker); status != noErr) {
      return Fail(kExitFailure, "initialising the unit failed with " + std::to_string(status));
    }
    if (folder) {
      AwaitFirstLinkPass(session->Unit(), *folder, initializing);
    }
    if (companionRole && !HasInnerUnit(session->Unit())) {
      companionRole->NothingApplies();  // no waiting for what no inner unit will apply
    }

    ProgressBar progress(input.Frames(), input.sampleRate, options.progress);
    RenderGate gate;
    if (companionRole) {
      gate.SetStops(companionRole->Stops());
    }
    // Ctrl-C ends the render early; the unit is then uninitialised and closed as usual.
    companion::InstallStopHandlers();
    const auto tick = [&](std::size_t framesDone) {
      if (companion::StopRequested()) {
        session->Stop();
        gate.OpenAll();
      }
      progress.Update(framesDone);
      if (companionRole) {
        companionRole->Follow(framesDone, gate);
      }
    };
    const auto keepWaiting = [&] { return companionRole && companionRole->AwaitingApplication(); };
    outcome = session->Run(options.realTime, gate, tick, keepWaiting, [&] { return CompanionCause(folder); });
    progress.Finish();

    if (!outcome.stopped && options.savePreset && !SavePreset(session->Unit(), *options.savePreset, &error)) {
      return Fail(kExitFailure, error);
    }
  }

  if (outcome.stopped) {
    char when[96];
    std::snprintf(when, sizeof when, "interrupted after %.2f of %.2f s of audio",
                  static_cast<double>(outcome.framesRendered) / input.sampleRate, seconds);
    std::string left = std::string(when) + "; the unit was uninitialised and closed; nothing was written (" +
                       *options.output + (options.savePreset ? ", " + *options.savePreset : "") + ")";
    if (companionRole) {
      left += "; " + companionRole->Folder().File(companion::kStateFile) + " keeps the settings last sent";
    }
    return Fail(kExitFailure, left);
  }
  if (!WriteAudioFile(*options.output, outcome.output, &error)) {
    return Fail(kExitFailure, error);
  }

  RunFacts facts;
  facts.inputName = options.input.value_or("the embedded demo voice");
  facts.outputPath = *options.output;
  facts.unitTitle = ComponentTitle(component);
  facts.seconds = static_cast<double>(input.Frames()) / input.sampleRate;
  facts.sampleRate = input.sampleRate;
  facts.channels = input.channels.size();
  facts.blockFrames = options.blockFrames;
  facts.maxFrames = std::max(options.maxFrames, options.blockFrames);
  facts.realTime = options.realTime;
  facts.inputLevel = MeasureLevel(input);
  facts.outputLevel = MeasureLevel(outcome.output);
  facts.outcome = &outcome;
  facts.frames = input.Frames();
  facts.blockRuns = ClassifyBlocks(outcome, options.blockFrames);
  if (folder && pluginLog) {
    NoteMissingVariant(*folder, *pluginLog, facts);
  }
  facts.playsCompanion = companionRole.has_value();
  if (companionRole) {
    facts.sent = companionRole->Sent();
    facts.applied = companionRole->AppliedLines();
    if (companionRole->AppliedByAnotherVeneer()) {
      std::cerr << "veneer-host render: warning: another Veneer applied the settings sent too: another host shares "
                   "the support folder "
                << companionRole->Folder().Path()
                << ", so this run steered its audio and its companion steers this one\n";
    }
  }
  if (folder) {
    facts.supportFolder = folder->Path();
    facts.supportFiles = DescribeSupportFolder(*folder);
  }
  std::ostringstream summary;
  PrintSummary(summary, facts);
  std::cout << summary.str();
  if (options.report) {
    if (!companion::ReplaceFileAtomically(*options.report, summary.str(), &error)) {
      return Fail(kExitFailure, error);
    }
    std::cout << "report written to " << *options.report << "\n";
  }
  if (outcome.stats.failedBlocks != 0) {
    return kExitFailure;
  }
  // Audio that did not go through the product is not a success, unless it was asked for.
  std::size_t bypassed = 0;
  for (const BlockRun& run : facts.blockRuns) {
    bypassed += run.throughInner ? 0 : run.lastBlock - run.firstBlock + 1;
  }
  if (bypassed > 0 && !options.hostBypass) {
    return Fail(kExitBypassed, std::to_string(bypassed) + " of " + std::to_string(outcome.pulledInput.size()) +
                                   " blocks did not go through the product (see the summary): " + *options.output +
                                   " holds Veneer's replayed block or the dry input there, not the product's audio");
  }
  return kExitOk;
}

}  // namespace host
