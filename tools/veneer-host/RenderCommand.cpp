// veneer-host render: a DAW playing one track through the plug-in.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <utility>

#include "AudioFile.h"
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
#include "SavedFile.h"
#include "SettingsInForce.h"
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

// The settings file as it was before the run, put back when the run ends, however it ends.
struct SettingsPutBack {
  std::optional<SavedFile> saved;

  // [main thread] False, with `error`, when it could not be put back.
  bool Now(std::string* error) {
    const companion::StateLock lock(std::filesystem::path(saved->Path()).parent_path().string());
    const bool done = saved->Restore(error);
    saved.reset();
    return done;
  }
  ~SettingsPutBack() {
    if (std::string error; saved && !Now(&error)) {
      std::cerr << "veneer-host render: warning: " << error << "\n";
    }
  }
};

// What was asked for and is not there: the outputs, which are written only at the end.
std::string NotWritten(const RenderOptions& options) {
  std::string list;
  for (const std::optional<std::string>& path : {options.output, options.report, options.savePreset}) {
    if (path) {
      list += (list.empty() ? "" : ", ") + *path;
    }
  }
  return "nothing was written (" + list + ")";
}

// Ctrl-C or SIGTERM, in whichever phase: one message, one status.
// `when`: "after 1.20 of 4.00 s of audio", or the phase before the render.
int Interrupted(const RenderOptions& options, const std::string& when, bool unitOpened,
                const std::optional<CompanionRole>& companionRole) {
  std::string message = "interrupted " + when;
  if (unitOpened) {
    message += "; the unit was uninitialised and closed";
  }
  message += "; " + NotWritten(options);
  if (companionRole) {
    message += "; " + companionRole->Folder().File(companion::kStateFile) + " keeps the settings last sent";
  }
  return Fail(kExitFailure, message);
}

}  // namespace

int RunRender(RenderOptions options) {
  // Interrupted in any phase, the run ends the same way; a file-size limit is a failed write.
  companion::InstallStopHandlers();
  std::signal(SIGXFSZ, SIG_IGN);
  std::string error;
  if (const auto clash = CheckRenderOptions(options)) {
    return Fail(kExitUsage, *clash);
  }

  // The audio first: bad input is refused before anything is opened or written.
  std::unique_ptr<AudioFileReader> reader;
  Audio demo;
  std::optional<MemorySource> demoSource;
  if (options.input) {
    reader = AudioFileReader::Open(*options.input, 2, &error);
    if (reader == nullptr) {
      return companion::StopRequested() ? Interrupted(options, "while reading the input", false, std::nullopt)
                                        : Fail(kExitUsage, error);
    }
    if (const auto mismatch = WavHeaderMismatch(*options.input, reader->Frames())) {
      std::cerr << "veneer-host render: warning: " << *options.input << ": " << *mismatch << "\n";
    }
    if (!options.output) {
      options.output = DefaultOutput(*options.input);
    }
  } else {
    demo = MakeVoiceLikeSignal(kDemoSampleRate, kDemoSeconds);
    demoSource.emplace(demo);
    ApplyDemoDefaults(options, kDemoSeconds);
  }
  AudioSource& source = reader ? static_cast<AudioSource&>(*reader) : *demoSource;
  const AudioShape shape = source.Shape();
  const std::size_t frames = source.Frames();
  const double seconds = static_cast<double>(frames) / shape.sampleRate;
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
  SettingsPutBack putBack;
  if (options.playsCompanion && folder) {
    companionRole.emplace(*folder);
    if (!companionRole->Prepare()) {
      return kExitFailure;  // Prepare said why
    }
    if (options.putsSettingsBack) {
      putBack.saved.emplace(folder->File(companion::kStateFile));
    }
    std::vector<companion::SettingChange> settings =
        options.fromDefaults ? companion::VeneerDefaults() : std::vector<companion::SettingChange>{};
    for (const companion::SettingChange& change : options.settings) {
      const auto same = std::find_if(settings.begin(), settings.end(), [&](const companion::SettingChange& other) {
        return other.index == change.index;
      });
      if (same == settings.end()) {
        settings.push_back(change);
      } else {
        same->value = change.value;  // --set in place of Veneer's own value
      }
    }
    if (!companionRole->Start(settings, &error)) {
      return Fail(kExitFailure, error);
    }
    companionRole->Schedule(options.timedSettings, shape.sampleRate, options.realTime);
  }
  const std::optional<SettingsInForce> atStart =
      folder ? std::optional<SettingsInForce>(SettingsInForce::Read(*folder)) : std::nullopt;

  std::optional<PluginLog> pluginLog;
  if (folder) {
    pluginLog.emplace(folder->File(companion::kDebugLog));
  }
  if (companion::StopRequested()) {
    return Interrupted(options, "before the render", false, companionRole);
  }
  const std::unique_ptr<AudioFileWriter> writer = AudioFileWriter::Create(*options.output, shape, &error);
  if (writer == nullptr) {
    return Fail(kExitFailure, error);
  }
  RenderOutcome outcome;
  {
    const std::unique_ptr<RenderSession> session =
        RenderSession::Open(component, shape, options.blockFrames, options.maxFrames, &error);
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
      if (const auto overriding = atStart ? atStart->Overriding(id) : std::nullopt;
          overriding && HandsOutInnerUnit(session->Unit())) {
        std::cerr << "veneer-host render: warning: --param " << id << "=" << value
                  << " is overridden: the settings file gives " << *overriding
                  << ", which Veneer applies to its product as it starts (use --set "
                  << overriding->substr(0, overriding->find('=')) << "=VALUE instead)\n";
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

    ProgressBar progress(frames, shape.sampleRate, options.progress);
    RenderGate gate;
    if (companionRole) {
      gate.SetStops(companionRole->Stops());
    }
    // Ctrl-C ends the render early; the unit is then uninitialised and closed as usual.
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
    if (!companion::StopRequested()) {
      outcome = session->Run(source, *writer, options.realTime, gate, tick, keepWaiting,
                             [&] { return CompanionCause(folder); });
      progress.Finish();
    }

    if (!outcome.diskFailure && !companion::StopRequested() && options.savePreset &&
        !SavePreset(session->Unit(), *options.savePreset, &error)) {
      return Fail(kExitFailure, error + "; the unit was uninitialised and closed; " + NotWritten(options));
    }
  }

  if (std::string failure; putBack.saved && !putBack.Now(&failure)) {
    std::cerr << "veneer-host render: warning: " << failure << "\n";
  }
  if (outcome.diskFailure) {
    return Fail(kExitFailure, *outcome.diskFailure + "; the unit was uninitialised and closed; " + NotWritten(options));
  }
  if (companion::StopRequested()) {
    char when[96];
    std::snprintf(when, sizeof when, "after %.2f of %.2f s of audio",
                  static_cast<double>(outcome.framesRendered) / shape.sampleRate, seconds);
    return Interrupted(options, when, true, companionRole);
  }
  // A header that claimed more than the file held (a FLAC cut short): the audio there was rendered.
  if (options.input && outcome.framesRendered < frames) {
    std::cerr << "veneer-host render: warning: " << *options.input << ": the header claims " << frames
              << " frames of audio, the file holds " << outcome.framesRendered << ": read " << outcome.framesRendered
              << "\n";
  }
  if (!writer->Commit(&error)) {
    return Fail(
        kExitFailure,
        error + (options.savePreset ? "; only the preset was written (" + *options.savePreset + ")" : std::string()));
  }

  RunFacts facts;
  facts.inputName = options.input.value_or("the embedded demo voice");
  facts.outputPath = *options.output;
  facts.unitTitle = ComponentTitle(component);
  facts.seconds = static_cast<double>(outcome.framesRendered) / shape.sampleRate;
  facts.sampleRate = shape.sampleRate;
  facts.channels = shape.channels;
  facts.blockFrames = options.blockFrames;
  facts.maxFrames = std::max(options.maxFrames, options.blockFrames);
  facts.realTime = options.realTime;
  facts.inputLevel = outcome.inputLevel;
  facts.outputLevel = outcome.outputLevel;
  facts.outcome = &outcome;
  facts.frames = outcome.framesRendered;
  facts.blockRuns = ClassifyBlocks(outcome, options.blockFrames);
  facts.settingsAtStart = atStart ? atStart->Describe() : "none: no support folder (HOME is not set)";
  facts.settingsPutBack = options.putsSettingsBack && companionRole;
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
      return Fail(kExitFailure, error + "; the audio was written (" + *options.output + ")");
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
    return Fail(kExitBypassed, std::to_string(bypassed) + " of " + std::to_string(outcome.stats.blocks) +
                                   " blocks did not go through the product (see the summary): " + *options.output +
                                   " holds Veneer's replayed block or the dry input there, not the product's audio");
  }
  return kExitOk;
}

}  // namespace host
