// The companion tools keep their own table of the settings file's keys; it must
// say what the plug-in's own table says, or a tool would tell users one default
// and the plug-in use another.
#include <gtest/gtest.h>

#include <string>

#include "PluginState.h"
#include "shell/SteeredSettings.h"

namespace {

TEST(CompanionKeys, MatchThePlugInsSettingsTable) {
  ASSERT_EQ(companion::kStateKeys.size(), veneer::SteeredSettings::kAll.size() + 1) << "every setting and appRunning";
  for (const veneer::SteeredSetting& row : veneer::SteeredSettings::kAll) {
    const std::string name(row.fileKey);
    const auto index = companion::FindStateKey(row.fileKey);
    ASSERT_TRUE(index.has_value()) << name;
    const companion::StateKey& key = companion::kStateKeys[*index];
    EXPECT_EQ(key.alias, row.fileAlias) << name;
    EXPECT_EQ(key.ownParameter, row.ownParameter) << name;
    // The plug-in keeps key and scale as fractions of their index ranges.
    const float steps = row.conversion == veneer::Conversion::kKey     ? veneer::kKeySteps
                        : row.conversion == veneer::Conversion::kScale ? veneer::kScaleSteps
                                                                       : 1.0F;
    EXPECT_EQ(static_cast<float>(key.veneerDefault / steps), row.defaultValue) << name;
  }
  EXPECT_LT(companion::kStateKeys[companion::kAppRunningIndex].veneerDefault, 0.0) << "appRunning is no setting";
}

}  // namespace
