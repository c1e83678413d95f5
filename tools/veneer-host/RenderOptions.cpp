#include "RenderOptions.h"

#include <cmath>

namespace host {

namespace {

std::optional<UInt32> ParseFrames(const std::string& text) {
  const auto count = companion::ParseCount(text);
  if (!count || *count < 1 || *count > 65536) {
    return std::nullopt;
  }
  return static_cast<UInt32>(*count);
}

std::optional<companion::SettingChange> ParseSetting(const std::string& text, std::string* error) {
  std::string why;
  auto change = companion::ParseSettingArg(text, &why);
  if (!change) {
    *error = "--set " + text + ": " + why;
  }
  return change;
}

// "SECONDS:KEY=VALUE"
std::optional<TimedSettings> ParseTimedSetting(const std::string& text, std::string* error) {
  const std::size_t colon = text.find(':');
  const auto seconds = colon == std::string::npos ? std::nullopt : companion::ParseNumber(text.substr(0, colon));
  if (!seconds || *seconds < 0) {
    *error = "--set-at needs SECONDS:KEY=VALUE with SECONDS a number not below 0, not '" + text + "'";
    return std::nullopt;
  }
  auto change = ParseSetting(text.substr(colon + 1), error);
  if (!change) {
    return std::nullopt;
  }
  return TimedSettings{*seconds, {*change}};
}

// "ID=VALUE"
std::optional<std::pair<AudioUnitParameterID, AudioUnitParameterValue>> ParseParameter(const std::string& text) {
  const std::size_t eq = text.find('=');
  if (eq == std::string::npos) {
    return std::nullopt;
  }
  const auto id = companion::ParseCount(text.substr(0, eq));
  const auto value = companion::ParseNumber(text.substr(eq + 1));
  if (!id || !value) {
    return std::nullopt;
  }
  return std::make_pair(static_cast<AudioUnitParameterID>(*id), static_cast<AudioUnitParameterValue>(*value));
}

}  // namespace

std::optional<RenderOptions> ParseRenderOptions(const std::vector<std::string>& args, std::string* error) {
  RenderOptions options;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const bool flag = arg.size() > 1 && arg[0] == '-';
    if (!flag) {
      if (options.input) {
        *error = "one input file only ('" + *options.input + "' and '" + arg + "')";
        return std::nullopt;
      }
      options.input = arg;
      continue;
    }
    // Switches without a value.
    if (arg == "--fast") {
      options.realTime = false;
      continue;
    }
    if (arg == "--initialize-on-worker") {
      options.initializeOnWorker = true;
      continue;
    }
    if (arg == "--no-progress") {
      options.progress = false;
      continue;
    }
    if (arg == "--no-companion") {
      options.playsCompanion = false;
      continue;
    }
    if (i + 1 >= args.size()) {
      *error = "unknown option " + arg + " or it lacks its value";
      return std::nullopt;
    }
    const std::string& value = args[++i];
    if (arg == "-o" || arg == "--output") {
      options.output = value;
    } else if (arg == "--report") {
      options.report = value;
    } else if (arg == "--block" || arg == "--max-frames") {
      const auto frames = ParseFrames(value);
      if (!frames) {
        *error = arg + " needs a whole number of frames from 1 to 65536, not '" + value + "'";
        return std::nullopt;
      }
      (arg == "--block" ? options.blockFrames : options.maxFrames) = *frames;
    } else if (ParseComponentOption(arg, value, options.component, error)) {
      if (!error->empty()) {
        return std::nullopt;
      }
    } else if (arg == "--set") {
      const auto change = ParseSetting(value, error);
      if (!change) {
        return std::nullopt;
      }
      options.settings.push_back(*change);
    } else if (arg == "--set-at") {
      const auto timed = ParseTimedSetting(value, error);
      if (!timed) {
        return std::nullopt;
      }
      options.timedSettings.push_back(*timed);
    } else if (arg == "--param") {
      const auto parameter = ParseParameter(value);
      if (!parameter) {
        *error = "--param needs ID=VALUE with a whole-number ID and a finite value, not '" + value + "'";
        return std::nullopt;
      }
      options.parameters.push_back(*parameter);
    } else if (arg == "--save-preset") {
      options.savePreset = value;
    } else if (arg == "--load-preset") {
      options.loadPreset = value;
    } else if (arg == "--home") {
      options.home = value;
    } else {
      *error = "unknown option " + arg;
      return std::nullopt;
    }
  }
  if (!options.playsCompanion && options.SendsSettings()) {
    *error = "--no-companion leaves the link alone, so --set and --set-at cannot send settings";
    return std::nullopt;
  }
  return options;
}

void ApplyDemoDefaults(RenderOptions& options, double demoSeconds) {
  if (!options.output) {
    options.output = "veneer-demo.wav";
  }
  if (!options.report) {
    const std::string& output = *options.output;
    const std::size_t dot = output.find_last_of('.');
    const std::size_t slash = output.find_last_of('/');
    const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    options.report = (hasExtension ? output.substr(0, dot) : output) + ".txt";
  }
  if (options.SendsSettings() || !options.playsCompanion) {
    return;
  }
  std::string unused;
  // A minor, hard and fast correction, a little humanised; halfway through the retune slows.
  for (const char* setting : {"key=9", "scale=1", "correctionMode=0", "retune=0.1", "humanize=0.2", "tracking=0.5",
                              "formant=1", "wetDry=1"}) {
    options.settings.push_back(*companion::ParseSettingArg(setting, &unused));
  }
  options.timedSettings.push_back(
      {std::round(demoSeconds * 50.0) / 100.0, {*companion::ParseSettingArg("retune=0.4", &unused)}});
}

const char* RenderUsage() {
  return R"(veneer-host render [INPUT] [options]

Renders INPUT (WAV, AIFF or FLAC; mono or stereo) through Veneer, the way a DAW
plays a track through the plug-in. Without INPUT it renders the embedded demo: a
few seconds of a synthetic voice with a default set of settings, written to
veneer-demo.wav with a report in veneer-demo.txt.

  -o, --output FILE       the result (default: INPUT-veneer.EXT)
  --report FILE           also write the summary to FILE
  --block N               frames per render call (default 512)
  --max-frames N          the unit's maximum frames per slice (default: the block)
  --fast                  render as fast as possible instead of at real time
  --initialize-on-worker  initialise the unit on another thread than the main one
  --component T:S:M       the unit to host by description (default aufx:Vnr1:Tnvl)
  --module PATH           load the unit from a .component bundle (its module, codes, name,
                          version and factory as its Info.plist says) or a module file
                          (Veneer's codes unless --component says otherwise)
  --factory NAME          the factory function (default: the bundle's, or VeneerFactory)
  --standin NAME|none     stand-in product to register first (default "Auto-Tune Pro";
                          pro, advanced, 2026, artist, efx; none: only installed ones)
  --set KEY=VALUE         settings sent as the companion application before the run
  --set-at SECONDS:KEY=VALUE  settings sent when the render reaches SECONDS
                          (without either, the settings file is kept as it is, or
                          written without settings when missing; either way the run
                          keeps its time fresh, so Veneer renders through its product)
  --no-companion          leave the companion's files alone: Veneer follows the real
                          application, or bypasses when none runs
  --param ID=VALUE        set a parameter of the unit before it is initialised
  --load-preset FILE      restore an .aupreset before the run
  --save-preset FILE      save the unit's state as an .aupreset after the run
  --home DIR              use DIR as the home folder (plug-ins and support folder)
  --no-progress           no progress bar
)";
}

}  // namespace host
