#include "SettingsInForce.h"

#include "FileAccess.h"

namespace host {

SettingsInForce SettingsInForce::Read(const companion::SupportFolder& folder) {
  SettingsInForce settings;
  if (const std::optional<std::string> text = companion::ReadWholeFile(folder.File(companion::kStateFile))) {
    settings.state_ = companion::ParsePluginState(*text);
  }
  return settings;
}

std::string SettingsInForce::Describe() const {
  if (!state_) {
    return "none: there is no settings file";
  }
  if (!Applies()) {
    return "none: the settings file has no counter (seq) of 0 or more, so Veneer applies nothing from it";
  }
  std::string given;
  for (std::size_t i = 0; i < companion::kStateKeys.size(); ++i) {
    // Veneer applies a setting only when it is 0 or more; appRunning is no setting.
    if (i != companion::kAppRunningIndex && state_->values[i] && *state_->values[i] >= 0) {
      given += " " + std::string(companion::kStateKeys[i].name) + "=" + companion::FormatNumber(*state_->values[i]);
    }
  }
  return "seq " + std::to_string(*state_->seq) +
         (given.empty() ? ", no settings: the product keeps its own" : ":" + given);
}

std::optional<std::string> SettingsInForce::Overriding(AudioUnitParameterID id) const {
  if (!Applies()) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < companion::kStateKeys.size(); ++i) {
    const companion::StateKey& key = companion::kStateKeys[i];
    if (key.ownParameter >= 0 && static_cast<AudioUnitParameterID>(key.ownParameter) == id && state_->values[i] &&
        *state_->values[i] >= 0) {
      return std::string(key.name) + "=" + companion::FormatNumber(*state_->values[i]);
    }
  }
  return std::nullopt;
}

}  // namespace host
