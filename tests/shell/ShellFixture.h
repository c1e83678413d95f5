// What the shell's tests share: a temporary HOME with the support folder, the
// debug log's lines, and Veneer registered as a host finds it.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "harness/ObservedVeneer.h"
#include "harness/TempHome.h"
#include "tools/veneer-host/StreamFormat.h"

namespace shelltest {

// Veneer as registered for the tests: a test can look at the fields behind an instance handle.
using TestVeneer = harness::ObservedVeneer;

// Registers Veneer (the exported factory) under a test description.
AudioComponent RegisterVeneer();

// The name a component is registered under ("" when it has none).
std::string ComponentName(AudioComponent component);

// A Veneer instance opened as a host opens it, disposed at the end.
class HostedVeneer {
 public:
  HostedVeneer();
  HostedVeneer(const HostedVeneer&) = delete;
  HostedVeneer& operator=(const HostedVeneer&) = delete;
  ~HostedVeneer();

  [[nodiscard]] AudioUnit unit() const { return unit_; }
  TestVeneer* operator->() const { return veneer_; }
  [[nodiscard]] TestVeneer* get() const { return veneer_; }
  OSStatus Initialize() const { return AudioUnitInitialize(unit_); }
  OSStatus Uninitialize() const { return AudioUnitUninitialize(unit_); }
  OSStatus SetFormat(AudioUnitScope scope, UInt32 channels, Float64 sampleRate) const;
  [[nodiscard]] Float64 Latency() const;
  void Dispose();

 private:
  AudioUnit unit_ = nullptr;
  TestVeneer* veneer_ = nullptr;
};

using host::FloatFormat;

// Runs `work` on a thread other than the main one and waits for it.
template <typename Work>
void OnWorker(Work&& work) {
  std::thread(std::forward<Work>(work)).join();
}

class ShellTest : public ::testing::Test {
 protected:
  void SetUp() override;
  // HOME is restored only here, after the derived fixture's members (an open
  // Veneer and its link thread, which reads HOME) are gone.
  ~ShellTest() override;

  [[nodiscard]] std::filesystem::path SupportFolder() const { return home_->SupportFolder(); }
  [[nodiscard]] const std::filesystem::path& Home() const { return home_->Path(); }
  void WriteSupportFile(const std::string& name, const std::string& text) const { home_->WriteSupportFile(name, text); }
  // A fresh settings file without settings: the link thread of an initialised
  // instance then stays quiet in the debug log.
  void KeepCompanionAlive() const { WriteSupportFile("plugin_state.txt", "appRunning=1\n"); }
  // The debug log's messages, without their "[HH:MM:SS] " stamps.
  [[nodiscard]] std::vector<std::string> LogLines() const;
  [[nodiscard]] bool Logged(const std::string& message) const;
  // Runs the main queue's work for `seconds`.
  static void RunMainLoop(double seconds);

  std::unique_ptr<harness::TempHome> home_;
};

}  // namespace shelltest
