// What Veneer's window shows, decided from what can be observed of Veneer and
// its inner unit: the product's own editor, the generic view of its
// parameters, or only a status; and the status strip's one line.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <optional>
#include <string>

namespace veneerview {

// The inner unit's own Cocoa view, as its view property offers it.
struct CocoaViewOffer {
  std::string bundlePath;  // file-system path of the view bundle
  std::string factoryClass;
  bool operator==(const CocoaViewOffer&) const = default;
};

// What the inner unit is.
struct ProductFacts {
  int variantIndex = -1;  // Veneer's read-back of the product row; -1 unknown
  std::string componentName;
  UInt32 componentVersion = 0;
  std::optional<CocoaViewOffer> cocoaView;
};

// What Veneer's renders did since the last look.
enum class Playing {
  kIdle,            // no render
  kThroughProduct,  // the inner unit rendered the last block
  kAroundProduct,   // Veneer rendered without the inner unit: bypassed
  kProductFailing,  // the inner unit was asked and failed: the host hears its input
};

// The companion application as its files show it.
enum class CompanionFiles { kUnknown, kRunning, kQuit, kGone };

// Why there is no inner unit, as the debug log tells it.
enum class Creation { kStarting, kNoProduct, kFailed };

struct WindowFacts {
  AudioUnit inner = nullptr;  // Veneer's 'vniu'
  ProductFacts product;       // when there is an inner unit
  bool hostBypass = false;
  Playing playing = Playing::kIdle;
  CompanionFiles companion = CompanionFiles::kUnknown;
  Creation creation = Creation::kStarting;  // when there is none
  std::string creationDetail;               // the log line that says why creation failed
};

enum class Content { kStatus, kProductView, kGenericView };

struct WindowPlan {
  Content content = Content::kStatus;
  AudioUnit inner = nullptr;   // the unit whose view is embedded
  CocoaViewOffer productView;  // for kProductView
  std::string strip;           // the status line (the whole window for kStatus)
  bool operator==(const WindowPlan&) const = default;
};

// [any thread]
WindowPlan PlanWindow(const WindowFacts& facts);
// [any thread] The status strip's line.
std::string StripText(const WindowFacts& facts);
// [any thread] A component version (0xMMMMmmbb) as "major.minor.bugfix".
std::string VersionText(UInt32 version);
// [any thread] "status", "product view", "generic view".
const char* ContentName(Content content);

}  // namespace veneerview
