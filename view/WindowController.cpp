#include "WindowController.h"

#include <dispatch/dispatch.h>
#include <pthread.h>

#include <ctime>

#include "UnitFacts.h"

namespace veneerview {

WindowController::WindowController(AudioUnit veneer, WindowSurface& surface, FileReading reading)
    : veneer_(veneer), surface_(surface), renders_(veneer), token_(std::make_shared<Token>()) {
  token_->self = this;
  if (reading == FileReading::kOnWatchThread) {
    supportWatch_ = std::make_unique<SupportWatch>();
  }
  AudioUnitAddPropertyListener(veneer_, kInnerUnitProperty, &InnerUnitAnnounced, this);
  Refresh();
}

WindowController::~WindowController() {
  TearDown();
  AudioUnitRemovePropertyListenerWithUserData(veneer_, kInnerUnitProperty, &InnerUnitAnnounced, this);
  token_->self = nullptr;
}

void WindowController::InnerUnitAnnounced(void* refCon, AudioUnit /*unit*/, AudioUnitPropertyID /*id*/,
                                          AudioUnitScope /*scope*/, AudioUnitElement /*element*/) {
  auto* self = static_cast<WindowController*>(refCon);
  if (pthread_main_np() == 0) {
    // A host thread let the inner unit go: it is disposed on the main queue
    // a second later, so work posted now runs before that.
    self->PostRefresh();
    return;
  }
  // On the main thread the unit may be disposed as soon as this returns.
  if (InnerUnitOf(self->veneer_) != self->embedded_) {
    self->TearDown();
  }
  // The rest (a new unit's facts and views) need not happen inside the host's call.
  self->PostRefresh();
}

void WindowController::PostRefresh() {
  auto* posted = new std::shared_ptr<Token>(token_);
  dispatch_async_f(dispatch_get_main_queue(), posted, [](void* context) {
    const std::unique_ptr<std::shared_ptr<Token>> token(static_cast<std::shared_ptr<Token>*>(context));
    if (WindowController* self = (*token)->self; self != nullptr) {
      self->Refresh();
    }
  });
}

void WindowController::TearDown() {
  if (embedded_ == nullptr) {
    return;
  }
  surface_.RemoveEmbedded();
  renders_.WatchInner(nullptr);
  embedded_ = nullptr;
  shown_.content = Content::kStatus;
  shown_.inner = nullptr;
  shown_.productView = {};
}

void WindowController::Refresh() {
  WindowFacts facts;
  facts.inner = InnerUnitOf(veneer_);
  if (facts.inner != embedded_) {
    TearDown();
  }
  if (facts.inner != nullptr) {
    facts.product = ProductFactsOf(veneer_, facts.inner);
  }
  facts.hostBypass = HostBypassOf(veneer_);
  facts.playing = renders_.Sample();
  const SupportFacts files = supportWatch_
                                 ? supportWatch_->Latest({facts_.companion, facts_.creation, facts_.creationDetail})
                                 : ReadSupportFacts(std::time(nullptr));
  facts.companion = files.companion;
  facts.creation = files.creation;
  facts.creationDetail = files.creationDetail;

  WindowPlan plan = PlanWindow(facts);
  if (plan.inner != nullptr && embedded_ == nullptr) {
    renders_.WatchInner(plan.inner);
    if (plan.content == Content::kProductView && !surface_.EmbedProductView(plan.inner, plan.productView)) {
      plan.content = Content::kGenericView;  // the product's bundle or class would not do
      plan.productView = {};
    }
    if (plan.content == Content::kGenericView) {
      surface_.EmbedGenericView(plan.inner);
    }
    embedded_ = plan.inner;
  } else if (plan.inner != nullptr) {
    plan.content = shown_.content;  // what is embedded stays, a failed product view included
    plan.productView = shown_.productView;
  }
  surface_.ShowStatus(plan.strip, plan.content == Content::kStatus);
  facts_ = std::move(facts);
  shown_ = std::move(plan);
}

}  // namespace veneerview
