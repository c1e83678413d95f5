// What the window shows and what its status line says, for every state a
// musician can meet: no product, a failed start, a product with and without an
// editor of its own, steered, bypassed by the host or by the link, idle.
#include <gtest/gtest.h>

#include <string>

#include "VariantNames.h"
#include "WindowPlan.h"
#include "shell/Variants.h"

namespace {

using veneerview::CocoaViewOffer;
using veneerview::CompanionFiles;
using veneerview::Content;
using veneerview::Creation;
using veneerview::Playing;
using veneerview::WindowFacts;

AudioUnit SomeUnit() {
  static int unit = 0;
  return reinterpret_cast<AudioUnit>(&unit);
}

WindowFacts Product(Playing playing, CompanionFiles companion) {
  WindowFacts facts;
  facts.inner = SomeUnit();
  facts.product.variantIndex = 0;
  facts.product.componentName = "Antares: Auto-Tune Pro";
  facts.product.componentVersion = 0x000B0201;
  facts.playing = playing;
  facts.companion = companion;
  return facts;
}

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(WindowPlan, WithoutAnInnerUnitTheWholeWindowIsTheStatus) {
  WindowFacts facts;
  facts.creation = Creation::kNoProduct;
  const auto plan = veneerview::PlanWindow(facts);
  EXPECT_EQ(plan.content, Content::kStatus);
  EXPECT_EQ(plan.inner, nullptr);
  EXPECT_EQ(plan.strip,
            "No supported product is installed. Veneer needs one of Auto-Tune Pro, AutoTune Advanced, AutoTune 2026, "
            "Auto-Tune Artist or Auto-Tune EFX+; until one is installed it plays the last block it took from the "
            "host, repeated.");

  facts.creation = Creation::kFailed;
  facts.creationDetail = "CreateInnerUnit FAIL: AudioUnitInitialize err=-10875";
  EXPECT_EQ(veneerview::StripText(facts),
            "The product could not be started: CreateInnerUnit FAIL: AudioUnitInitialize err=-10875. Veneer plays "
            "the last block it took from the host, repeated.");
  facts.creation = Creation::kStarting;
  EXPECT_EQ(veneerview::StripText(facts), "Starting the product...");
}

TEST(WindowPlan, TheProductsOwnViewIsEmbeddedWhenItOffersOneAndTheGenericViewOtherwise) {
  WindowFacts facts = Product(Playing::kIdle, CompanionFiles::kRunning);
  auto plan = veneerview::PlanWindow(facts);
  EXPECT_EQ(plan.content, Content::kGenericView);
  EXPECT_EQ(plan.inner, SomeUnit());

  facts.product.cocoaView =
      CocoaViewOffer{"/Library/Audio/Plug-Ins/Components/X.component/Contents/Resources/V.bundle", "XViewFactory"};
  plan = veneerview::PlanWindow(facts);
  EXPECT_EQ(plan.content, Content::kProductView);
  EXPECT_EQ(plan.productView, *facts.product.cocoaView);
  EXPECT_STREQ(veneerview::ContentName(plan.content), "product view");
}

TEST(WindowPlan, TheStripNamesTheProductItsVersionAndWhatItIsCalledWhenThatDiffers) {
  WindowFacts facts = Product(Playing::kThroughProduct, CompanionFiles::kRunning);
  EXPECT_EQ(veneerview::StripText(facts),
            "Auto-Tune Pro 11.2.1 (Antares: Auto-Tune Pro) - Steered by the companion application.");
  facts.product.componentName = "Auto-Tune Pro";
  facts.product.componentVersion = 0;
  EXPECT_EQ(veneerview::StripText(facts), "Auto-Tune Pro - Steered by the companion application.");
  facts.product.variantIndex = -1;  // Veneer could not say which row
  facts.product.componentName = "Vendor: Something";
  EXPECT_EQ(veneerview::StripText(facts), "Vendor: Something - Steered by the companion application.");
  EXPECT_EQ(veneerview::VersionText(0x00010000), "1.0.0");
  EXPECT_EQ(veneerview::VersionText(0xFFFFFFFF), "65535.255.255");
}

TEST(WindowPlan, TheStripTellsWhereTheAudioGoes) {
  const auto strip = [](Playing playing, CompanionFiles companion, bool hostBypass = false) {
    WindowFacts facts = Product(playing, companion);
    facts.hostBypass = hostBypass;
    const std::string text = veneerview::StripText(facts);
    return text.substr(text.find(" - ") + 3);
  };
  EXPECT_EQ(strip(Playing::kAroundProduct, CompanionFiles::kGone),
            "BYPASSED: the companion application is not running, so you hear the last block repeated (a buzz), not "
            "the product.");
  EXPECT_TRUE(
      Has(strip(Playing::kAroundProduct, CompanionFiles::kQuit), "BYPASSED: the companion application has quit"));
  // The files say running but Veneer plays its replayed block: the link has not seen the
  // application gone and back since the instance started again.
  EXPECT_EQ(strip(Playing::kAroundProduct, CompanionFiles::kRunning),
            "BYPASSED although the companion application is running: you hear the last block repeated (a buzz), not "
            "the product. Quit the application and open it again to end the bypass.");
  EXPECT_EQ(strip(Playing::kAroundProduct, CompanionFiles::kRunning, true),
            "Bypassed by the host: you hear the last block repeated (a buzz), not the product.");
  EXPECT_EQ(strip(Playing::kIdle, CompanionFiles::kGone, true),
            "Bypassed by the host: you hear the last block repeated (a buzz), not the product.");
  EXPECT_EQ(strip(Playing::kThroughProduct, CompanionFiles::kGone),
            "Playing through the product, but the companion application is not running: Veneer bypasses it within "
            "seconds.");
  EXPECT_EQ(strip(Playing::kThroughProduct, CompanionFiles::kUnknown), "Playing through the product.");
  EXPECT_EQ(strip(Playing::kProductFailing, CompanionFiles::kRunning),
            "The product fails to render: you hear the input unchanged.");
  EXPECT_EQ(strip(Playing::kIdle, CompanionFiles::kRunning), "Not playing. The companion application is running.");
  EXPECT_EQ(strip(Playing::kIdle, CompanionFiles::kQuit),
            "Not playing. The companion application has quit: while it is gone Veneer bypasses the product and plays "
            "the last block repeated.");
  EXPECT_EQ(strip(Playing::kIdle, CompanionFiles::kUnknown), "Not playing.");
}

TEST(WindowPlan, TheProductNamesAreThePlugInsOwnRows) {
  ASSERT_EQ(companion::kVariantNames.size(), veneer::kVariants.size());
  for (size_t i = 0; i < veneer::kVariants.size(); ++i) {
    EXPECT_EQ(companion::kVariantNames[i], veneer::kVariants[i].name);
  }
}

}  // namespace
