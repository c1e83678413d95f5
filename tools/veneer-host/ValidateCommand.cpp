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

int RunValidate(const ValidateOptions& options) {
  std::string error;
  bool badArguments = false;
  AudioComponent component = ResolveComponent(options.component, &error, &badArguments);
  if (component == nullptr) {
    return Fail(badArguments ? kExitUsage : kExitFailure, error);
  }
  if (!options.settings.empty()) {
    auto folder = companion::SupportFolder::Locate(std::nullopt, &error);
    if (!folder) {
      return Fail(kExitUsage, error);
    }
    CompanionRole role(*folder);
    if (!role.Prepare() || !role.Start(options.settings, &error)) {
      return Fail(kExitFailure, error);
    }
  }
  std::cout << "validating " << ComponentTitle(component) << std::endl;
  return Validator(component, std::cout).RunAll() ? kExitOk : kExitFailure;
}

}  // namespace host
