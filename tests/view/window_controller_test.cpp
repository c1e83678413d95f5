// Veneer's window driven as AppKit would drive it, with a surface that records
// what it was asked to embed and remove: the product's editor comes and goes
// with the inner unit (and goes before the unit does, on every path), and the
// status line follows where Veneer's renders really go.
#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ShellFixture.h"
#include "WindowController.h"
#include "harness/HostInput.h"
#include "harness/HostOutput.h"
#include "standin/StandIn.h"

namespace {

using shelltest::HostedVeneer;
using shelltest::OnWorker;
using standin::Variant;
using veneerview::Content;
using veneerview::WindowController;

class RecordingSurface : public veneerview::WindowSurface {
 public:
  struct Call {
    std::string what;
    AudioUnit inner;
    bool innerOpen;  // the unit was still a live instance at the call
  };

  bool EmbedProductView(AudioUnit inner, const veneerview::CocoaViewOffer& offer) override {
    calls.push_back({"product " + offer.factoryClass, inner, standin::Find(inner) != nullptr});
    if (acceptProductView) {
      embedded = inner;
    }
    return acceptProductView;
  }
  void EmbedGenericView(AudioUnit inner) override {
    calls.push_back({"generic", inner, standin::Find(inner) != nullptr});
    embedded = inner;
  }
  void RemoveEmbedded() override {
    calls.push_back({"remove", embedded, standin::Find(embedded) != nullptr});
    embedded = nullptr;
  }
  void ShowStatus(const std::string& text, bool whole) override {
    status = text;
    wholeWindow = whole;
  }

  bool acceptProductView = true;
  std::vector<Call> calls;
  AudioUnit embedded = nullptr;
  std::string status;
  bool wholeWindow = false;
};

constexpr UInt32 kFrames = 256;

class WindowControllerTest : public shelltest::ShellTest {
 protected:
  // Formats and input as a host sets them before it initialises.
  void Prepare(const HostedVeneer& veneer) {
    ASSERT_EQ(veneer.SetFormat(kAudioUnitScope_Input, 1, 44100.0), noErr);
    ASSERT_EQ(veneer.SetFormat(kAudioUnitScope_Output, 1, 44100.0), noErr);
    const AURenderCallbackStruct callback = input_.Callback();
    ASSERT_EQ(AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0,
                                   &callback, sizeof callback),
              noErr);
  }
  void Render(const HostedVeneer& veneer, int blocks) {
    for (int i = 0; i < blocks; ++i) {
      ASSERT_EQ(output_.Render(veneer.unit(), kFrames), noErr);
    }
  }
  // The strip without the product's name.
  static std::string State(const RecordingSurface& surface) {
    return surface.status.substr(surface.status.find(" - ") + 3);
  }
  // Waits (briefly) for Veneer's link to take its bypass.
  static bool AwaitLinkBypass(const HostedVeneer& veneer, bool bypassed) {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (veneer->AppLink().appBypass_ != bypassed) {
      if (std::chrono::steady_clock::now() > giveUp) {
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
  }

  harness::HostInput input_{1, 48000, 44100.0};
  harness::HostOutput output_{1, kFrames};
  RecordingSurface surface_;
};

TEST_F(WindowControllerTest, WithoutAProductTheWindowIsAStatusNamingWhatToInstall) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  const WindowController window(veneer.unit(), surface_, WindowController::FileReading::kInline);
  EXPECT_EQ(window.Plan().content, Content::kStatus);
  EXPECT_TRUE(surface_.calls.empty());
  EXPECT_TRUE(surface_.wholeWindow);
  EXPECT_NE(surface_.status.find("No supported product is installed"), std::string::npos);
  EXPECT_NE(surface_.status.find("Auto-Tune EFX+"), std::string::npos);
}

TEST_F(WindowControllerTest, TheProductsOwnEditorOrTheGenericViewIsEmbeddedUnderTheStrip) {
  const AudioComponent pro = standin::Register(Variant::kPro);
  standin::FaultsOf(pro).cocoaView.store(standin::Faults::CocoaView::kAlways);
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  {
    const WindowController window(veneer.unit(), surface_, WindowController::FileReading::kInline);
    ASSERT_EQ(surface_.calls.size(), 1U);
    EXPECT_EQ(surface_.calls[0].what, "product StandInCocoaUIViewFactory");
    EXPECT_EQ(surface_.calls[0].inner, veneer->InnerUnit());
    EXPECT_EQ(window.Plan().content, Content::kProductView);
    EXPECT_EQ(window.Plan().productView.bundlePath, standin::CocoaViewBundlePath());
    EXPECT_FALSE(surface_.wholeWindow);
    EXPECT_EQ(surface_.status.substr(0, surface_.status.find(" - ")),
              "Auto-Tune Pro " + veneerview::VersionText(standin::kRegisteredVersion) + " (Stand-in: Auto-Tune Pro)");
  }
  // Closing the window lets go of the editor.
  ASSERT_EQ(surface_.calls.size(), 2U);
  EXPECT_EQ(surface_.calls[1].what, "remove");

  // A bundle or class that will not load: the generic view instead.
  surface_.calls.clear();
  surface_.acceptProductView = false;
  {
    const WindowController window(veneer.unit(), surface_, WindowController::FileReading::kInline);
    ASSERT_EQ(surface_.calls.size(), 2U);
    EXPECT_EQ(surface_.calls[1].what, "generic");
    EXPECT_EQ(window.Plan().content, Content::kGenericView);
  }

  // A product that offers no view of its own.
  surface_.calls.clear();
  standin::FaultsOf(pro).cocoaView.store(standin::Faults::CocoaView::kNever);
  const WindowController window(veneer.unit(), surface_, WindowController::FileReading::kInline);
  ASSERT_EQ(surface_.calls.size(), 1U);
  EXPECT_EQ(surface_.calls[0].what, "generic");
}

TEST_F(WindowControllerTest, OnTheMainThreadTheEditorIsRemovedBeforeTheInnerUnitIsDisposed) {
  standin::Register(Variant::kPro);
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  const WindowController window(veneer.unit(), surface_, WindowController::FileReading::kInline);
  const AudioUnit inner = veneer->InnerUnit();
  ASSERT_EQ(surface_.embedded, inner);

  ASSERT_EQ(veneer.Uninitialize(), noErr);  // a sample-rate change, say
  ASSERT_EQ(surface_.calls.size(), 2U);
  EXPECT_EQ(surface_.calls[1].what, "remove");
  EXPECT_EQ(surface_.calls[1].inner, inner);
  EXPECT_TRUE(surface_.calls[1].innerOpen);
  EXPECT_EQ(standin::LiveCount(), 0U);
  RunMainLoop(0.05);
  EXPECT_EQ(window.Plan().content, Content::kStatus);

  // Initialised again: the new inner unit's editor comes back.
  ASSERT_EQ(veneer.Initialize(), noErr);
  RunMainLoop(0.05);
  ASSERT_EQ(surface_.calls.size(), 3U);
  EXPECT_EQ(surface_.calls[2].what, "generic");
  EXPECT_EQ(surface_.calls[2].inner, veneer->InnerUnit());
  EXPECT_EQ(window.Plan().content, Content::kGenericView);
}

TEST_F(WindowControllerTest, FromAHostThreadTheEditorIsRemovedOnTheMainQueueBeforeTheDelayedDisposal) {
  standin::Register(Variant::kPro);
  HostedVeneer veneer;
  const WindowController window(veneer.unit(), surface_, WindowController::FileReading::kInline);
  EXPECT_TRUE(surface_.calls.empty());
  OnWorker([&] { EXPECT_EQ(veneer.Initialize(), noErr); });
  RunMainLoop(0.2);
  ASSERT_EQ(surface_.calls.size(), 1U);
  const AudioUnit inner = surface_.calls[0].inner;
  EXPECT_EQ(inner, veneer->InnerUnit());

  OnWorker([&] { EXPECT_EQ(veneer.Uninitialize(), noErr); });
  EXPECT_EQ(surface_.calls.size(), 1U);  // the main thread's to do
  RunMainLoop(0.2);
  ASSERT_EQ(surface_.calls.size(), 2U);
  EXPECT_EQ(surface_.calls[1].what, "remove");
  EXPECT_TRUE(surface_.calls[1].innerOpen);
  RunMainLoop(1.2);
  EXPECT_EQ(standin::LiveCount(), 0U);
  EXPECT_EQ(surface_.calls.size(), 2U);
}

TEST_F(WindowControllerTest, TheStripFollowsWhereTheRendersGo) {
  const AudioComponent pro = standin::Register(Variant::kPro);
  KeepCompanionAlive();
  HostedVeneer veneer;
  Prepare(veneer);
  ASSERT_EQ(veneer.Initialize(), noErr);
  WindowController window(veneer.unit(), surface_, WindowController::FileReading::kInline);
  EXPECT_EQ(State(surface_), "Not playing. The companion application is running.");

  Render(veneer, 3);
  window.Refresh();
  EXPECT_EQ(State(surface_), "Steered by the companion application.");
  window.Refresh();  // nothing rendered since
  EXPECT_EQ(State(surface_), "Not playing. The companion application is running.");

  const UInt32 on = 1;
  const UInt32 off = 0;
  ASSERT_EQ(
      AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &on, sizeof on),
      noErr);
  Render(veneer, 2);
  window.Refresh();
  EXPECT_EQ(State(surface_), "Bypassed by the host: you hear the last block repeated (a buzz), not the product.");
  ASSERT_EQ(
      AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &off, sizeof off),
      noErr);

  standin::FaultsOf(pro).render.store(-1);
  Render(veneer, 2);
  window.Refresh();
  EXPECT_EQ(State(surface_), "The product fails to render: you hear the input unchanged.");
  standin::FaultsOf(pro).render.store(noErr);

  // The application goes: the link bypasses, and the strip says so.
  std::filesystem::remove(SupportFolder() / "plugin_state.txt");
  ASSERT_TRUE(AwaitLinkBypass(veneer, true));
  Render(veneer, 2);
  window.Refresh();
  EXPECT_EQ(State(surface_),
            "BYPASSED: the companion application is not running, so you hear the last block repeated (a buzz), not "
            "the product.");

  // Initialised again while bypassed, then the application is back: the files say it runs,
  // but Veneer stays bypassed, and the strip says what it really plays.
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  KeepCompanionAlive();
  ASSERT_EQ(veneer.Initialize(), noErr);
  RunMainLoop(0.05);
  Render(veneer, 2);
  window.Refresh();
  EXPECT_TRUE(veneer->AppLink().appBypass_);
  EXPECT_EQ(State(surface_),
            "BYPASSED although the companion application is running: you hear the last block repeated (a buzz), not "
            "the product. Quit the application and open it again to end the bypass.");
}

TEST_F(WindowControllerTest, OnItsWatchThreadTheSupportFolderIsReadWithoutTheMainThreadWaiting) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  KeepCompanionAlive();
  HostedVeneer veneer;
  ASSERT_EQ(veneer.Initialize(), noErr);
  WindowController window(veneer.unit(), surface_);
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (window.Facts().companion != veneerview::CompanionFiles::kRunning &&
         std::chrono::steady_clock::now() < giveUp) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    window.Refresh();
  }
  EXPECT_EQ(window.Facts().companion, veneerview::CompanionFiles::kRunning);
  EXPECT_EQ(window.Facts().creation, veneerview::Creation::kNoProduct);
}

}  // namespace
