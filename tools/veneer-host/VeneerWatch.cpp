#include "VeneerWatch.h"

#include <CoreFoundation/CoreFoundation.h>

#include <chrono>
#include <ctime>
#include <string_view>

#include "FileAccess.h"
#include "Heartbeat.h"
#include "StopSignal.h"

namespace host {

BypassCause CompanionCause(const std::optional<companion::SupportFolder>& folder) {
  if (!folder) {
    return BypassCause::kNone;
  }
  switch (companion::ReadHeartbeat(*folder, std::time(nullptr)).verdict) {
    case companion::Heartbeat::kMissing:
      return BypassCause::kCompanionMissing;
    case companion::Heartbeat::kStale:
      return BypassCause::kCompanionStale;
    case companion::Heartbeat::kQuitMarker:
      return BypassCause::kQuitMarker;
    case companion::Heartbeat::kFresh:
      break;
  }
  return BypassCause::kNone;
}

void NoteMissingVariant(const companion::SupportFolder& folder, const PluginLog& log, RunFacts& facts) {
  // The plug-in's fixed log text for a chosen variant that is not installed.
  constexpr std::string_view kMissing = "强制指定的版本没找到: ";
  const std::vector<std::string> lines = log.NewLinesWith(kMissing);
  if (lines.empty()) {
    return;
  }
  const std::string& line = lines.back();
  facts.missingVariant = line.substr(line.find(kMissing) + kMissing.size());
  const std::string forced = companion::ReadWholeFile(folder.File(companion::kForceVariantFile)).value_or("");
  facts.missingVariantForced = forced.substr(0, forced.find('\n')).find(*facts.missingVariant) != std::string::npos;
}

void AwaitFirstLinkPass(AudioUnit unit, const companion::SupportFolder& folder,
                        std::filesystem::file_time_type initialized) {
  AudioUnit inner = nullptr;
  UInt32 size = sizeof inner;
  if (AudioUnitGetProperty(unit, kVeneerInnerUnitProperty, kAudioUnitScope_Global, 0, &inner, &size) != noErr) {
    return;  // not Veneer
  }
  const std::string alive = folder.File(companion::kAliveFile);
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  std::error_code error;
  while (std::chrono::steady_clock::now() < giveUp && !companion::StopRequested() &&
         !(std::filesystem::exists(alive, error) && std::filesystem::last_write_time(alive, error) >= initialized)) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.005, false);
  }
}

bool HandsOutInnerUnit(AudioUnit unit) {
  UInt32 size = 0;
  Boolean writable = false;
  return AudioUnitGetPropertyInfo(unit, kVeneerInnerUnitProperty, kAudioUnitScope_Global, 0, &size, &writable) == noErr;
}

bool HasInnerUnit(AudioUnit unit) {
  AudioUnit inner = nullptr;
  UInt32 size = sizeof inner;
  return AudioUnitGetProperty(unit, kVeneerInnerUnitProperty, kAudioUnitScope_Global, 0, &inner, &size) == noErr &&
         inner != nullptr;
}

}  // namespace host
