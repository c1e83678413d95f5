// The link thread's pass: the settings file in, manual changes out, the
// render diagnostics and the alive file the companion application reads.
#include <ctime>
#include <optional>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/SupportFile.h"
#include "shell/SupportFolder.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr std::time_t kDiagnosticsPeriodSeconds = 5;
constexpr std::time_t kAlivePeriodSeconds = 2;

// Shared by every instance's link thread: one diagnostics line per period in
// the process, and a count that any instance logged is not logged again.
std::atomic<std::time_t> gLastDiagTime{0};
std::atomic<uint64_t> gLastDiagCount{0};

}  // namespace

void Veneer::RunLinkCycle(std::time_t& lastAliveTime) {
  renderingThread_.ExpectNotHere("the link cycle");
  ApplyFileToInner();
  ReportManualChanges();

  std::time_t now = linkClock_();
  if (now - gLastDiagTime.load() >= kDiagnosticsPeriodSeconds) {
    gLastDiagTime.store(now);
    const uint64_t count = renderCount_.load();
    if (count != gLastDiagCount.load()) {
      gLastDiagCount.store(count);
      DebugLog(logtext::kRenderDiagnostics + std::to_string(count) + logtext::kRenderDiagnosticsSlow +
               std::to_string(slowRenderCount_.load()) + logtext::kRenderDiagnosticsLongest +
               std::to_string(static_cast<int32_t>(maxRenderMs_.load())) + "ms");
    }
  }

  now = linkClock_();
  if (now - lastAliveTime >= kAlivePeriodSeconds) {
    lastAliveTime = now;
    const std::optional<std::string> path = SupportFilePath(kAliveFileName);
    if (!path) {
      return;
    }
    const SupportFile alive(*path, SupportFile::Mode::kRewrite);
    if (!alive) {
      return;
    }
    const VariantInfo* variant = variant_.load();
    alive.Write("t=" + std::to_string(static_cast<long long>(lastAliveTime)) + "\n" +
                "variant=" + (variant != nullptr ? variant->name : "none") + "\n" +
                "inner=" + (innerUnit_.load() != nullptr ? "1" : "0") + "\n" +
                "classic=" + (classicMode_.load() > 0.5 ? "1" : "0") + "\n");
  }
}

}  // namespace veneer
