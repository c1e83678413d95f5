#include "shell/Variants.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/SupportFile.h"
#include "shell/SupportFolder.h"

namespace veneer {
namespace {

constexpr OSType FourCC(const char (&code)[5]) {
  return (static_cast<OSType>(static_cast<unsigned char>(code[0])) << 24) |
         (static_cast<OSType>(static_cast<unsigned char>(code[1])) << 16) |
         (static_cast<OSType>(static_cast<unsigned char>(code[2])) << 8) |
         static_cast<OSType>(static_cast<unsigned char>(code[3]));
}

constexpr AudioComponentDescription Describe(const char (&type)[5], const char (&subtype)[5],
                                             const char (&manufacturer)[5]) {
  return {FourCC(type), FourCC(subtype), FourCC(manufacturer), 0, 0};
}

constexpr AudioUnitParameterID kNone = kNoParam;

// The maker's two newer products share their hashed parameter ids and differ
// only in name, codes and the scale divisor.
constexpr VariantInfo HashedIdsRow(const char* name, AudioComponentDescription desc, float scaleDivisor) {
  return {.name = name,
          .desc = desc,
          .keyParam = 0x00340FCF,
          .scaleParam = 0x43DEDEBA,
          .retuneParam = 0x04EC07CC,
          .humanizeParam = 0x02090197,
          .flexTuneParam = 0x49C04421,
          .trackingParam = 0x2D851347,
          .forceOneParam = 0x36F54D31,
          .correctionModeParam = kNone,
          .classicModeParam = kNone,
          .formantParam = kNone,
          .throatParam = kNone,
          .wetDryParam = kNone,
          .naturalVibratoParam = kNone,
          .vibratoAmplitudeParam = kNone,
          .inputTypeParam = 0x3D520394,
          .transposeParam = kNone,
          .keyDivisor = 1.0F,
          .scaleDivisor = scaleDivisor,
          .inputTypeFactor = 4.0F,
          .scaleValues = {0.0F, 1.0F, 2.0F},
          .forceZeroParam = kNone,
          .scaleParam2 = kNone,
          .scaleParamName = "Scale"};
}

}  // namespace

// The outside products' own codes and parameter ids: kept exactly as they ship.
constexpr std::array<VariantInfo, kVariantCount> kVariants = {{
    {.name = "Auto-Tune Pro",
     .desc = Describe("aumf", "AT81", "VST "),
     .keyParam = 2,
     .scaleParam = 162,
     .retuneParam = 4,
     .humanizeParam = 61,
     .flexTuneParam = 89,
     .trackingParam = 9,
     .forceOneParam = 90,
     .correctionModeParam = 0,
     .classicModeParam = 11,
     .formantParam = 70,
     .throatParam = 71,
     .wetDryParam = 91,
     .naturalVibratoParam = 62,
     .vibratoAmplitudeParam = 47,
     .inputTypeParam = 10,
     .transposeParam = 74,
     .keyDivisor = 11.0F,
     .scaleDivisor = 14.0F,
     .inputTypeFactor = 1.0F,
     .scaleValues = {0.0F, 1.0F / 14.0F, 2.0F / 14.0F},
     .forceZeroParam = kNone,
     .scaleParam2 = 1,
     .scaleParamName = "Modern Scale"},
    HashedIdsRow("AutoTune Advanced", Describe("aumf", "Advn", "Antr"), /*scaleDivisor*/ 39.0F),
    HashedIdsRow("AutoTune 2026", Describe("aufx", "Core", "Antr"), /*scaleDivisor*/ 1.0F),
    {.name = "Auto-Tune Artist",
     .desc = Describe("aumf", "ATxL", "VST "),
     .keyParam = 1,
     .scaleParam = 2,
     .retuneParam = 6,
     .humanizeParam = 7,
     .flexTuneParam = 27,
     .trackingParam = 20,
     .forceOneParam = kNone,
     .correctionModeParam = kNone,
     .classicModeParam = 22,
     .formantParam = 5,
     .throatParam = 4,
     .wetDryParam = kNone,
     .naturalVibratoParam = 8,
     .vibratoAmplitudeParam = 18,
     .inputTypeParam = 0,
     .transposeParam = 34,
     .keyDivisor = 11.0F,
     .scaleDivisor = 28.0F,
     .inputTypeFactor = 1.0F,
     .scaleValues = {1.0F / 14.0F, 0.0F, 1.0F / 28.0F},
     .forceZeroParam = kNone,
     .scaleParam2 = kNone,
     .scaleParamName = "Scale"},
    {.name = "Auto-Tune EFX+",
     .desc = Describe("aufx", "Vefx", "Antr"),
     .keyParam = 6,
     .scaleParam = 7,
     .retuneParam = 12,
     .humanizeParam = 13,
     .flexTuneParam = kNone,
     .trackingParam = 11,
     .forceOneParam = 10,
     .correctionModeParam = kNone,
     .classicModeParam = kNone,
     .formantParam = 9,
     .throatParam = kNone,
     .wetDryParam = 0,
     .naturalVibratoParam = kNone,
     .vibratoAmplitudeParam = kNone,
     .inputTypeParam = 2,
     .transposeParam = kNone,
     .keyDivisor = 11.0F,
     .scaleDivisor = 2.0F,
     .inputTypeFactor = 1.0F,
     .scaleValues = {1.0F, 0.0F, 0.5F},
     .forceZeroParam = 8,
     .scaleParam2 = kNone,
     .scaleParamName = "Auto-Tune Scale"},
}};

const VariantInfo* VariantFromFile(std::string_view fileName) {
  const std::optional<std::string> path = SupportFilePath(fileName);
  if (!path) {
    return nullptr;
  }
  const SupportFile file(*path, SupportFile::Mode::kRead);
  if (!file) {
    return nullptr;
  }
  // Only the first line's start is searched: the longest name is 17 bytes, and
  // a person or the application writes a name with at most a few words round it.
  std::array<char, 1024> start{};
  std::string_view line(start.data(), file.Read(start));
  line = line.substr(0, line.find('\n'));
  for (const VariantInfo& row : kVariants) {
    if (line.find(row.name) != std::string::npos) {
      return &row;
    }
  }
  return nullptr;
}

namespace {

std::string VersionText(UInt32 version) {
  return std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 255) + "." +
         std::to_string(version & 255);
}

}  // namespace

AudioComponent PickNewestComponent(const AudioComponentDescription& desc) {
  AudioComponent best = nullptr;
  UInt32 bestVersion = 0;
  unsigned count = 0;
  std::string versions;
  for (AudioComponent component = AudioComponentFindNext(nullptr, &desc); component != nullptr;
       component = AudioComponentFindNext(component, &desc)) {
    UInt32 version = 0;
    if (AudioComponentGetVersion(component, &version) != noErr) {
      version = 0;
    }
    versions += " " + VersionText(version);
    ++count;
    if (best == nullptr || version > bestVersion) {
      best = component;
      bestVersion = version;
    }
  }
  if (count >= 2) {
    DebugLog(logtext::kSeveralCopies + std::to_string(count) + logtext::kSeveralCopiesVersions + versions +
             logtext::kSeveralCopiesChosen + VersionText(bestVersion));
  }
  return best;
}

AudioComponent DiscoverInnerComponent(const VariantInfo*& variant) {
  const VariantInfo* chosen = VariantFromFile(kForceVariantFileName);
  if (chosen == nullptr) {
    chosen = VariantFromFile(kPreferVariantFileName);
  }
  if (chosen != nullptr) {
    if (AudioComponent component = PickNewestComponent(chosen->desc); component != nullptr) {
      variant = chosen;
      // The forced file is read again to tell which of the two made the choice.
      if (chosen == VariantFromFile(kForceVariantFileName)) {
        DebugLog(std::string(logtext::kForcedVariant) + chosen->name);
      } else {
        DebugLog(std::string(logtext::kPreferredVariant) + chosen->name);
      }
      return component;
    }
    DebugLog(std::string(logtext::kForcedVariantMissing) + chosen->name);
  }
  for (const VariantInfo& row : kVariants) {
    if (AudioComponent component = PickNewestComponent(row.desc); component != nullptr) {
      variant = &row;
      DebugLog(std::string(logtext::kFoundVariant) + row.name);
      return component;
    }
  }
  DebugLog(logtext::kNoVariant);
  return nullptr;
}

}  // namespace veneer
