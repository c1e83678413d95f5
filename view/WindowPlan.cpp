#include "WindowPlan.h"

#include <cstddef>

#include "VariantNames.h"

namespace veneerview {
namespace {

constexpr const char* kReplayed = "you hear the last block repeated (a buzz), not the product";

// "Auto-Tune Pro 11.2.1 (Antares: Auto-Tune Pro)": the product Veneer took it for,
// then the component's own name when that says something else.
std::string ProductText(const ProductFacts& product) {
  const bool known =
      product.variantIndex >= 0 && static_cast<std::size_t>(product.variantIndex) < companion::kVariantNames.size();
  const std::string variant =
      known ? std::string(companion::kVariantNames[static_cast<std::size_t>(product.variantIndex)]) : std::string();
  std::string text = known ? variant : product.componentName.empty() ? "An unknown product" : product.componentName;
  if (product.componentVersion != 0) {
    text += " " + VersionText(product.componentVersion);
  }
  if (known && !product.componentName.empty() && product.componentName != variant) {
    text += " (" + product.componentName + ")";
  }
  return text;
}

std::string ProductList() {
  std::string list;
  for (std::size_t i = 0; i < companion::kVariantNames.size(); ++i) {
    if (i > 0) {
      list += i + 1 == companion::kVariantNames.size() ? " or " : ", ";
    }
    list += companion::kVariantNames[i];
  }
  return list;
}

std::string WithoutProduct(const WindowFacts& facts) {
  switch (facts.creation) {
    case Creation::kNoProduct:
      return "No supported product is installed. Veneer needs one of " + ProductList() +
             "; until one is installed it plays the last block it took from the host, repeated.";
    case Creation::kFailed:
      return "The product could not be started" + (facts.creationDetail.empty() ? "" : ": " + facts.creationDetail) +
             ". Veneer plays the last block it took from the host, repeated.";
    case Creation::kStarting:
      break;
  }
  return "Starting the product...";
}

std::string CompanionGoneNote(CompanionFiles companion) {
  return companion == CompanionFiles::kQuit ? "the companion application has quit"
                                            : "the companion application is not running";
}

std::string LinkState(const WindowFacts& facts) {
  if (facts.hostBypass) {
    return std::string("Bypassed by the host: ") + kReplayed + ".";
  }
  const bool companionRunning = facts.companion == CompanionFiles::kRunning;
  switch (facts.playing) {
    case Playing::kThroughProduct:
      if (companionRunning) {
        return "Steered by the companion application.";
      }
      if (facts.companion == CompanionFiles::kUnknown) {
        return "Playing through the product.";
      }
      return "Playing through the product, but " + CompanionGoneNote(facts.companion) +
             ": Veneer bypasses it within seconds.";
    case Playing::kAroundProduct:
      if (companionRunning) {
        // The link sets its bypass again only after the application has been gone and back.
        return std::string("BYPASSED although the companion application is running: ") + kReplayed +
               ". Quit the application and open it again to end the bypass.";
      }
      return "BYPASSED: " + CompanionGoneNote(facts.companion) + ", so " + kReplayed + ".";
    case Playing::kProductFailing:
      return "The product fails to render: you hear the input unchanged.";
    case Playing::kIdle:
      break;
  }
  switch (facts.companion) {
    case CompanionFiles::kRunning:
      return "Not playing. The companion application is running.";
    case CompanionFiles::kQuit:
    case CompanionFiles::kGone: {
      std::string note = CompanionGoneNote(facts.companion);
      note[0] = 'T';  // starts the sentence
      return "Not playing. " + note +
             ": while it is gone Veneer bypasses the product and plays the last block repeated.";
    }
    case CompanionFiles::kUnknown:
      break;
  }
  return "Not playing.";
}

}  // namespace

std::string VersionText(UInt32 version) {
  return std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 0xFFU) + "." +
         std::to_string(version & 0xFFU);
}

std::string StripText(const WindowFacts& facts) {
  if (facts.inner == nullptr) {
    return WithoutProduct(facts);
  }
  return ProductText(facts.product) + " - " + LinkState(facts);
}

WindowPlan PlanWindow(const WindowFacts& facts) {
  WindowPlan plan;
  plan.strip = StripText(facts);
  if (facts.inner == nullptr) {
    return plan;
  }
  plan.inner = facts.inner;
  if (facts.product.cocoaView) {
    plan.content = Content::kProductView;
    plan.productView = *facts.product.cocoaView;
  } else {
    plan.content = Content::kGenericView;
  }
  return plan;
}

const char* ContentName(Content content) {
  switch (content) {
    case Content::kProductView:
      return "product view";
    case Content::kGenericView:
      return "generic view";
    case Content::kStatus:
      break;
  }
  return "status";
}

}  // namespace veneerview
