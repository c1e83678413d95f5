// veneer-host validate: Veneer, or any installed effect, put through what hosts do.
#include <cstdlib>
#include <iostream>
#include <optional>

#include "Commands.h"
#include "CompanionRole.h"
#include "Components.h"
#include "Validation.h"

namespace host {

namespace {

int Fail(int status, const std::string& message) {
  std::cerr << "veneer-host validate: " << message << "\n";
  return status;
}

}  // namespace

const char* ValidateUsage() {
  return R"(veneer-host validate [options]

Opens the unit, checks its required properties, formats and channel table,
renders at several sizes and rates (sliced, mono, above the maximum frames),
changes the maximum frames, resets, sets and schedules every parameter, sends
MIDI, round-trips its class info, offers it a megabyte of random state, and
opens and closes it repeatedly. Prints PASS or FAIL per check; exit status 0
when everything passed, 1 otherwise.

  --component T:S:M, --module PATH, --factory NAME, --standin NAME|none
                          the unit, as for render (default: Veneer)
  --set KEY=VALUE         play the companion application, so that Veneer
                          renders through its inner unit rather than around it
  --home DIR              use DIR as the home folder
)";
}

int RunValidate(const std::vector<std::string>& args) {
  ComponentChoice choice;
  std::vector<companion::SettingChange> settings;
  std::string error;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (i + 1 >= args.size()) {
      return Fail(kExitUsage, "unknown option " + args[i] + " or it lacks its value\n\n" + ValidateUsage());
    }
    const std::string& option = args[i];
    const std::string& value = args[++i];
    if (ParseComponentOption(option, value, choice, &error)) {
      if (!error.empty()) {
        return Fail(kExitUsage, error);
      }
    } else if (option == "--set") {
      const auto change = companion::ParseSettingArg(value, &error);
      if (!change) {
        return Fail(kExitUsage, "--set " + value + ": " + error);
      }
      settings.push_back(*change);
    } else if (option == "--home") {
      if (setenv("HOME", value.c_str(), 1) != 0) {
        return Fail(kExitUsage, "cannot use --home " + value);
      }
    } else {
      return Fail(kExitUsage, "unknown option " + option + "\n\n" + ValidateUsage());
    }
  }

  bool badArguments = false;
  AudioComponent component = ResolveComponent(choice, &error, &badArguments);
  if (component == nullptr) {
    return Fail(badArguments ? kExitUsage : kExitFailure, error);
  }
  if (!settings.empty()) {
    auto folder = companion::SupportFolder::Locate(std::nullopt, &error);
    if (!folder) {
      return Fail(kExitUsage, error);
    }
    CompanionRole role(*folder);
    if (!role.Prepare() || !role.Start(settings, &error)) {
      return Fail(kExitFailure, error);
    }
  }
  std::cout << "validating " << ComponentTitle(component) << std::endl;
  return Validator(component, std::cout).RunAll() ? kExitOk : kExitFailure;
}

}  // namespace host
