// veneer-host validate: Veneer, or any installed effect, put through what hosts do.
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "CompanionRole.h"
#include "Components.h"
#include "FileAccess.h"
#include "SavedFile.h"
#include "StopSignal.h"
#include "Validation.h"

namespace host {

namespace {

int Fail(int status, const std::string& message) {
  std::cerr << "veneer-host validate: " << message << "\n";
  return status;
}

// The host playing the companion application through a validation, so that Veneer renders
// through its product from the first check to the last; its settings file is put back afterwards.
class ValidationCompanion {
 public:
  // [main thread]
  explicit ValidationCompanion(const companion::SupportFolder& folder)
      : role_(folder), saved_(folder.File(companion::kStateFile)) {}

  // [main thread] Creates the support folder when missing; false (message on stderr) on failure.
  [[nodiscard]] bool Prepare() const { return role_.Prepare(); }
  // [main thread] Sends `settings` (or keeps the file's), as render does; false with `error`.
  bool Start(const std::vector<companion::SettingChange>& settings, std::string* error) {
    if (!saved_.Saved()) {
      *error = "cannot read " + saved_.Path() + ", so it could not be put back afterwards";
      return false;
    }
    started_ = true;
    return role_.Start(settings, error);
  }
  // [main thread] Between checks: the heartbeat renewed every 2 seconds.
  void KeepAlive() { role_.KeepAlive(); }
  // [main thread] The settings file as it was before Start, or none when there was none.
  bool PutBack(std::string* error) {
    const companion::StateLock lock(role_.Folder().Path());
    return !started_ || saved_.Restore(error);
  }
  [[nodiscard]] const SavedFile& Saved() const { return saved_; }

 private:
  CompanionRole role_;
  SavedFile saved_;
  bool started_ = false;
};

}  // namespace

int RunValidate(const ValidateOptions& options) {
  if (!options.playsCompanion && !options.settings.empty()) {
    return Fail(kExitUsage, "--no-companion leaves the link alone, so --set cannot send settings");
  }
  std::string error;
  bool badArguments = false;
  AudioComponent component = ResolveComponent(options.component, &error, &badArguments);
  if (component == nullptr) {
    return Fail(badArguments ? kExitUsage : kExitFailure, error);
  }
  std::optional<ValidationCompanion> companionRole;
  if (options.playsCompanion) {
    const auto folder = companion::SupportFolder::Locate(std::nullopt, &error);
    if (!folder && !options.settings.empty()) {
      return Fail(kExitUsage, error);
    }
    if (folder) {
      companionRole.emplace(*folder);
      if (!companionRole->Prepare()) {
        return kExitFailure;  // Prepare said why
      }
      if (!companionRole->Start(options.settings, &error)) {
        std::string unused;
        companionRole->PutBack(&unused);
        return Fail(kExitFailure, error);
      }
    }
  }

  // Ctrl-C ends the run after the check under way; the settings file is put back all the same.
  companion::InstallStopHandlers();
  ValidationHooks hooks;
  hooks.companionPlayed = companionRole.has_value();
  hooks.goOn = [&companionRole] {
    if (companionRole) {
      companionRole->KeepAlive();
    }
    return !companion::StopRequested();
  };
  std::cout << "validating " << ComponentTitle(component) << std::endl;
  Validator validator(component, std::cout, hooks);
  const bool passed = validator.RunAll();

  int status = passed ? kExitOk : kExitFailure;
  const bool putBack = !companionRole || companionRole->PutBack(&error);
  if (!putBack) {
    status = Fail(kExitFailure, error);
  }
  if (validator.Interrupted()) {
    std::string left = "interrupted after " + std::to_string(validator.ChecksRun()) + " checks";
    if (companionRole && putBack) {
      left += "; " + companionRole->Saved().Path() +
              (companionRole->Saved().Existed() ? " is as it was" : " is removed, as there was none");
    }
    return Fail(kExitFailure, left);
  }
  return status;
}

}  // namespace host
