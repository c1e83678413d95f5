#include "shell/Variants.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
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

}  // namespace

// The outside products' own codes and parameter ids: kept exactly as they ship.
const std::array<VariantInfo, kVariantCount> kVariants = {{
    {"Auto-Tune Pro",
     Describe("aumf", "AT81", "VST "),
     /*key*/ 2,
     /*scale*/ 162,
     /*retune*/ 4,
     /*humanize*/ 61,
     /*flexTune*/ 89,
     /*tracking*/ 9,
     /*forceOne*/ 90,
     /*correctionMode*/ 0,
     /*classicMode*/ 11,
     /*formant*/ 70,
     /*throat*/ 71,
     /*wetDry*/ 91,
     /*naturalVibrato*/ 62,
     /*vibratoAmplitude*/ 47,
     /*inputType*/ 10,
     /*transpose*/ 74,
     /*keyDivisor*/ 11.0F,
     /*scaleDivisor*/ 14.0F,
     /*inputTypeFactor*/ 1.0F,
     {0.0F, 1.0F / 14.0F, 2.0F / 14.0F},
     /*forceZero*/ kNone,
     /*scale2*/ 1,
     "Modern Scale"},
    {"AutoTune Advanced",
     Describe("aumf", "Advn", "Antr"),
     0x00340FCF,
     0x43DEDEBA,
     0x04EC07CC,
     0x02090197,
     0x49C04421,
     0x2D851347,
     0x36F54D31,
     kNone,
     kNone,
     kNone,
     kNone,
     kNone,
     kNone,
     kNone,
     0x3D520394,
     kNone,
     1.0F,
     39.0F,
     4.0F,
     {0.0F, 1.0F, 2.0F},
     kNone,
     kNone,
     "Scale"},
    {"AutoTune 2026",
     Describe("aufx", "Core", "Antr"),
     0x00340FCF,
     0x43DEDEBA,
     0x04EC07CC,
     0x02090197,
     0x49C04421,
     0x2D851347,
     0x36F54D31,
     kNone,
     kNone,
     kNone,
     kNone,
     kNone,
     kNone,
     kNone,
     0x3D520394,
     kNone,
     1.0F,
     1.0F,
     4.0F,
     {0.0F, 1.0F, 2.0F},
     kNone,
     kNone,
     "Scale"},
    {"Auto-Tune Artist",
     Describe("aumf", "ATxL", "VST "),
     1,
     2,
     6,
     7,
     27,
     20,
     kNone,
     kNone,
     22,
     5,
     4,
     kNone,
     8,
     18,
     0,
     34,
     11.0F,
     28.0F,
     1.0F,
     {1.0F / 14.0F, 0.0F, 1.0F / 28.0F},
     kNone,
     kNone,
     "Scale"},
    {"Auto-Tune EFX+",
     Describe("aufx", "Vefx", "Antr"),
     6,
     7,
     12,
     13,
     kNone,
     11,
     10,
     kNone,
     kNone,
     9,
     kNone,
     0,
     kNone,
     kNone,
     2,
     kNone,
     11.0F,
     2.0F,
     1.0F,
     {1.0F, 0.0F, 0.5F},
     8,
     kNone,
     "Auto-Tune Scale"},
}};

const VariantInfo* VariantFromFile(std::string_view fileName) {
  const std::optional<std::string> path = SupportFilePath(fileName);
  if (!path) {
    return nullptr;
  }
  std::ifstream file(*path);
  if (!file) {
    return nullptr;
  }
  std::string line;
  std::getline(file, line);
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
