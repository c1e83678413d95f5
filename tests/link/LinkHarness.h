// A Veneer with an inner unit and no link thread, so a test can drive the
// link's steps itself, one at a time.
#pragma once

#include <sys/time.h>

#include <ctime>
#include <memory>
#include <string>

#include "ShellFixture.h"
#include "standin/StandIn.h"

namespace linktest {

class LinkTest : public shelltest::ShellTest {
 protected:
  // Opens Veneer and creates its inner unit of `variant` through a format change
  // (before any initialise), so no link thread runs.
  standin::Unit* OpenWithInner(standin::Variant variant, UInt32 channels = 2, Float64 sampleRate = 48000.0) {
    standin::Register(variant);
    veneer_ = std::make_unique<shelltest::HostedVeneer>();
    EXPECT_EQ(veneer_->SetFormat(kAudioUnitScope_Output, channels, sampleRate), noErr);
    standin::Unit* inner = standin::Find((*veneer_)->InnerUnit());
    if (inner != nullptr) {
      inner->ClearWrites();
    }
    return inner;
  }

  void WriteSettings(const std::string& text) const { WriteSupportFile("plugin_state.txt", text); }

  // Sets the settings file's modification time `age` seconds into the past (negative: the future).
  void AgeSettings(long age) const {
    const std::string path = (SupportFolder() / "plugin_state.txt").string();
    const std::time_t when = std::time(nullptr) - age;
    const timeval times[2] = {{when, 0}, {when, 0}};
    utimes(path.c_str(), times);
  }

  // The debug log's lines written since the last call.
  std::vector<std::string> NewLines() {
    auto lines = LogLines();
    std::vector<std::string> fresh(lines.begin() + static_cast<long>(std::min(seen_, lines.size())), lines.end());
    seen_ = lines.size();
    return fresh;
  }

  std::unique_ptr<shelltest::HostedVeneer> veneer_;

 private:
  size_t seen_ = 0;
};

}  // namespace linktest
