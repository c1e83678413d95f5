// Which installed product becomes the inner unit: forced and preferred
// variant files, the table's order, and the newest of several copies.
// Each test runs in a process of its own, so "installed" means registered here.
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <filesystem>

#include "FifoInPlace.h"
#include "ShellFixture.h"
#include "shell/LogTexts.h"
#include "standin/StandIn.h"

namespace logtext = veneer::logtext;

namespace {

using shelltest::FifoInPlace;
using shelltest::HostedVeneer;
using shelltest::ShellTest;
using standin::Variant;

class DiscoveryTest : public ShellTest {
 protected:
  // The variant of the inner unit that initialising a new instance creates, or null.
  const char* InnerVariant() {
    veneer_ = std::make_unique<HostedVeneer>();
    EXPECT_EQ(veneer_->Initialize(), noErr);
    standin::Unit* inner = standin::Find((*veneer_)->InnerUnit());
    return inner == nullptr ? nullptr : standin::NameOf(inner->GetVariant());
  }
  std::unique_ptr<HostedVeneer> veneer_;
};

TEST_F(DiscoveryTest, FallbackTakesTheFirstInstalledRowOfTheTable) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::kEfx);
  standin::Register(Variant::kArtist);
  EXPECT_STREQ(InnerVariant(), "Auto-Tune Artist");
  EXPECT_TRUE(Logged(std::string(logtext::kFoundVariant) + "Auto-Tune Artist"));
  EXPECT_STREQ((*veneer_)->Variant()->name, "Auto-Tune Artist");
}

TEST_F(DiscoveryTest, OnlyEfxInstalled) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::kEfx);
  EXPECT_STREQ(InnerVariant(), "Auto-Tune EFX+");
  EXPECT_TRUE(Logged(std::string(logtext::kFoundVariant) + "Auto-Tune EFX+"));
}

TEST_F(DiscoveryTest, ForcedVariantWins) {
  standin::Register(Variant::kPro);
  standin::Register(Variant::kArtist);
  WriteSupportFile("force_variant.txt", "Auto-Tune Artist\n");
  WriteSupportFile("prefer_variant.txt", "Auto-Tune Pro\n");
  EXPECT_STREQ(InnerVariant(), "Auto-Tune Artist");
  EXPECT_TRUE(Logged(std::string(logtext::kForcedVariant) + "Auto-Tune Artist"));
}

TEST_F(DiscoveryTest, PreferredVariantIsUsedWhenNothingIsForced) {
  standin::Register(Variant::kPro);
  standin::Register(Variant::k2026);
  WriteSupportFile("prefer_variant.txt", "AutoTune 2026");
  EXPECT_STREQ(InnerVariant(), "AutoTune 2026");
  EXPECT_TRUE(Logged(std::string(logtext::kPreferredVariant) + "AutoTune 2026"));
}

TEST_F(DiscoveryTest, ForcedButMissingFallsBackWithoutAskingThePreferredFile) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::kArtist);
  standin::Register(Variant::k2026);
  WriteSupportFile("force_variant.txt", "Auto-Tune Pro");
  WriteSupportFile("prefer_variant.txt", "Auto-Tune Artist");
  EXPECT_STREQ(InnerVariant(), "AutoTune 2026");
  const auto lines = LogLines();
  const auto missing =
      std::find(lines.begin(), lines.end(), std::string(logtext::kForcedVariantMissing) + "Auto-Tune Pro");
  ASSERT_NE(missing, lines.end());
  EXPECT_NE(std::find(missing, lines.end(), std::string(logtext::kFoundVariant) + "AutoTune 2026"), lines.end());
  EXPECT_FALSE(Logged(std::string(logtext::kPreferredVariant) + "Auto-Tune Artist"));
}

TEST_F(DiscoveryTest, MissingPreferredVariantIsReportedWithTheSameWords) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::kEfx);
  WriteSupportFile("prefer_variant.txt", "AutoTune Advanced");
  EXPECT_STREQ(InnerVariant(), "Auto-Tune EFX+");
  EXPECT_TRUE(Logged(std::string(logtext::kForcedVariantMissing) + "AutoTune Advanced"));
}

// A named pipe is a file that cannot be opened: the choice falls to the next
// file, then to the table, and initialise on the main thread never waits.
TEST_F(DiscoveryTest, PipesInPlaceOfTheVariantFilesAreNotRead) {
  standin::Register(Variant::kPro);
  standin::Register(Variant::k2026);
  KeepCompanionAlive();
  WriteSupportFile("prefer_variant.txt", "AutoTune 2026");
  {
    FifoInPlace forced(SupportFolder() / "force_variant.txt");
    ASSERT_TRUE(forced.Made());
    const char* chosen = nullptr;
    EXPECT_TRUE(forced.ReturnsWithin([&] { chosen = InnerVariant(); }));
    EXPECT_STREQ(chosen, "AutoTune 2026");
  }
  std::filesystem::remove(SupportFolder() / "force_variant.txt");
  std::filesystem::remove(SupportFolder() / "prefer_variant.txt");
  FifoInPlace preferred(SupportFolder() / "prefer_variant.txt");
  ASSERT_TRUE(preferred.Made());
  const char* chosen = nullptr;
  EXPECT_TRUE(preferred.ReturnsWithin([&] { chosen = InnerVariant(); }));
  EXPECT_STREQ(chosen, "Auto-Tune Pro");
}

TEST_F(DiscoveryTest, NewestOfSeveralCopiesIsChosen) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::k2026, 0x00010203);
  AudioComponent newer = standin::Register(Variant::k2026, 0x00010A00);
  EXPECT_STREQ(InnerVariant(), "AutoTune 2026");
  EXPECT_EQ(AudioComponentInstanceGetComponent((*veneer_)->InnerUnit()), newer);
  EXPECT_TRUE(Logged(std::string(logtext::kSeveralCopies) + "2 份，版本: 1.2.3 1.10.0 → 选用最高版本 1.10.0"));
}

TEST_F(DiscoveryTest, EqualVersionsKeepTheFirstFound) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  AudioComponent first = standin::Register(Variant::kPro, 0x00020000);
  standin::Register(Variant::kPro, 0x00020000);
  EXPECT_STREQ(InnerVariant(), "Auto-Tune Pro");
  EXPECT_EQ(AudioComponentInstanceGetComponent((*veneer_)->InnerUnit()), first);
  EXPECT_TRUE(Logged(std::string(logtext::kSeveralCopies) + "2 份，版本: 2.0.0 2.0.0 → 选用最高版本 2.0.0"));
}

TEST_F(DiscoveryTest, SingleCopyLogsNoVersions) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  standin::Register(Variant::kPro, 0x00020000);
  EXPECT_STREQ(InnerVariant(), "Auto-Tune Pro");
  for (const auto& line : LogLines()) {
    EXPECT_EQ(line.find("同名 AU 组件有"), std::string::npos) << line;
  }
}

TEST_F(DiscoveryTest, NothingInstalledLeavesTheShellWithoutAnInnerUnit) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  EXPECT_EQ(InnerVariant(), nullptr);
  EXPECT_EQ((*veneer_)->InnerUnit(), nullptr);
  EXPECT_EQ((*veneer_)->Variant(), nullptr);
  EXPECT_TRUE(Logged(logtext::kNoVariant));
  EXPECT_TRUE(Logged(std::string(logtext::kInitializeEnsureFailed) + "-10851"));
}

}  // namespace
