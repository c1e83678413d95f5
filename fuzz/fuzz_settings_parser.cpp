// The companion's settings file, arbitrary bytes: ParseSettings on the whole,
// ApplySettingsLine line by line and ReadSettingsFile on the same bytes in a
// file (up to its read bound) must agree, and each field must follow the file's
// documented rules: the last line of its key (aliases included) not longer than
// the line bound, read like strtod, else its default.
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "FuzzSupport.h"
#include "link/SettingsFile.h"

namespace {

using veneer::Settings;

// The documented keys and the setting each one sets, written out here rather
// than taken from the parser's table, so the two check each other.
struct Field {
  std::string_view key;
  std::string_view setting;
};

constexpr Field kFields[] = {
    {"appRunning", "appRunning"},
    {"key", "key"},
    {"scale", "scale"},
    {"correctionMode", "correctionMode"},
    {"0", "correctionMode"},
    {"retune", "retune"},
    {"transpose", "transpose"},
    {"classicMode", "classicMode"},
    {"inputType", "inputType"},
    {"humanize", "humanize"},
    {"flexTune", "flexTune"},
    {"naturalVibrato", "naturalVibrato"},
    {"vibratoAmplitude", "vibratoAmplitude"},
    {"47", "vibratoAmplitude"},
    {"tracking", "tracking"},
    {"formant", "formant"},
    {"throat", "throat"},
    {"wetDry", "wetDry"},
};

template <typename AnySettings>
auto& Slot(AnySettings& settings, std::string_view setting) {
  return setting == "appRunning" ? settings.appRunning
                                 : settings.values[veneer::IndexOf(*veneer::SettingForFileKey(setting))];
}

bool SameBits(double a, double b) { return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b); }

bool Same(const Settings& a, const Settings& b) {
  if (a.seq != b.seq) {
    return false;
  }
  for (const Field& field : kFields) {
    if (!SameBits(Slot(a, field.setting), Slot(b, field.setting))) {
      return false;
    }
  }
  return true;
}

// The file's lines, without those longer than the documented bound.
template <typename Visit>
void ForEachLine(std::string_view bytes, Visit&& visit) {
  while (!bytes.empty()) {
    const size_t end = bytes.find('\n');
    if (const std::string_view line = bytes.substr(0, end); line.size() <= veneer::kSettingsLineLimit) {
      visit(line);
    }
    if (end == std::string_view::npos) {
      return;
    }
    bytes.remove_prefix(end + 1);
  }
}

// What a read of the file takes in: all of a file within the read bound; of a
// longer one, the lines that end within the bound.
std::string_view ReadPart(std::string_view bytes) {
  if (bytes.size() <= veneer::kSettingsReadLimit) {
    return bytes;
  }
  const size_t lastEnd = bytes.substr(0, veneer::kSettingsReadLimit).rfind('\n');
  return bytes.substr(0, lastEnd == std::string_view::npos ? 0 : lastEnd + 1);
}

// The value text as C reads a string: up to the first NUL.
double ReadValue(std::string_view text) { return std::strtod(std::string(text).c_str(), nullptr); }

// What the documented rules give, without the parser's own code.
void CheckRules(std::string_view bytes, const Settings& parsed) {
  const Settings defaults;
  Settings expected;
  bool sawSeq = false;
  double lastSeq = 0.0;
  ForEachLine(bytes, [&](std::string_view line) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      return;
    }
    const std::string_view key = line.substr(0, equals);
    const double value = ReadValue(line.substr(equals + 1));
    if (key == "seq") {
      sawSeq = true;
      lastSeq = value;
    }
    for (const Field& field : kFields) {
      if (key == field.key) {
        Slot(expected, field.setting) = value;
      }
    }
  });
  for (const Field& field : kFields) {
    if (!SameBits(Slot(parsed, field.setting), Slot(expected, field.setting))) {
      fuzzing::Fail("a setting is not its key's last value (or its default)");
    }
  }
  if (!sawSeq) {
    if (parsed.seq != defaults.seq) {
      fuzzing::Fail("seq given without a seq line");
    }
  } else if (std::isnan(lastSeq)) {
    if (parsed.seq >= 0) {
      fuzzing::Fail("a nan seq counts as a counter to apply");
    }
  } else if (std::fabs(lastSeq) < 9.0e15) {
    if (parsed.seq != static_cast<int64_t>(std::trunc(lastSeq))) {
      fuzzing::Fail("seq is not its value with the decimals cut off");
    }
  } else if ((lastSeq > 0) != (parsed.seq > 0)) {
    fuzzing::Fail("a huge seq changed sign");
  }
}

// Never destroyed, so the exit handler that removes the file can still name it.
const std::string& FilePath() {
  static const std::string* const path = [] {
    const char* temp = std::getenv("TMPDIR");
    auto* made = new std::string(std::string(temp != nullptr && *temp != '\0' ? temp : "/tmp") +
                                 "/veneer-fuzz-settings-" + std::to_string(getpid()));
    std::atexit([] { std::remove(FilePath().c_str()); });
    return made;
  }();
  return *path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Settings whole = veneer::ParseSettings(bytes);

  Settings byLine;
  ForEachLine(bytes, [&](std::string_view line) { veneer::ApplySettingsLine(line, byLine); });
  if (!Same(whole, byLine)) {
    fuzzing::Fail("ParseSettings differs from ApplySettingsLine line by line");
  }

  if (std::FILE* file = std::fopen(FilePath().c_str(), "wb"); file != nullptr) {
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    const std::optional<Settings> read = veneer::ReadSettingsFile(FilePath());
    if (!read || !Same(veneer::ParseSettings(ReadPart(bytes)), *read)) {
      fuzzing::Fail("ReadSettingsFile differs from ParseSettings on the bytes within the read bound");
    }
  }

  CheckRules(bytes, whole);
  return 0;
}
