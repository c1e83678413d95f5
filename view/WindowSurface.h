// The window itself, as the controller drives it: AppKit views on macOS, a
// record of calls in the tests and in veneer-host.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <string>

#include "WindowPlan.h"

namespace veneerview {

class WindowSurface {
 public:
  WindowSurface() = default;
  WindowSurface(const WindowSurface&) = delete;
  WindowSurface& operator=(const WindowSurface&) = delete;
  virtual ~WindowSurface() = default;

  // [main thread] Embeds the product's own view of `inner`, made by the factory
  // class in the offered bundle. False when the bundle, the class or the view
  // would not do; the controller then embeds the generic view instead.
  virtual bool EmbedProductView(AudioUnit inner, const CocoaViewOffer& offer) = 0;
  // [main thread] Embeds the platform's generic view of `inner`'s parameters.
  virtual void EmbedGenericView(AudioUnit inner) = 0;
  // [main thread] Removes what is embedded. The inner unit is still open: it
  // goes only after this returns.
  virtual void RemoveEmbedded() = 0;
  // [main thread] The status line; `wholeWindow` when nothing is embedded.
  virtual void ShowStatus(const std::string& text, bool wholeWindow) = 0;
};

}  // namespace veneerview
