#include "ShellFixture.h"

#include <CoreFoundation/CoreFoundation.h>

#include <fstream>

namespace shelltest {

AudioComponent RegisterVeneer() {
  static const AudioComponent component = harness::RegisterObservedVeneer('Vnr1', CFSTR("Tonvale: Veneer"));
  return component;
}

std::string ComponentName(AudioComponent component) {
  CFStringRef name = nullptr;
  if (AudioComponentCopyName(component, &name) != noErr || name == nullptr) {
    return "";
  }
  char text[256] = {};
  CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8);
  CFRelease(name);
  return text;
}

HostedVeneer::HostedVeneer() {
  EXPECT_EQ(AudioComponentInstanceNew(RegisterVeneer(), &unit_), noErr);
  veneer_ = TestVeneer::Find(unit_);
}

HostedVeneer::~HostedVeneer() { Dispose(); }

void HostedVeneer::Dispose() {
  if (unit_ != nullptr) {
    AudioComponentInstanceDispose(unit_);
    unit_ = nullptr;
    veneer_ = nullptr;
  }
}

OSStatus HostedVeneer::SetFormat(AudioUnitScope scope, UInt32 channels, Float64 sampleRate) const {
  const AudioStreamBasicDescription format = FloatFormat(sampleRate, channels);
  return AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat, scope, 0, &format, sizeof format);
}

Float64 HostedVeneer::Latency() const {
  Float64 latency = -1;
  UInt32 size = sizeof latency;
  EXPECT_EQ(AudioUnitGetProperty(unit_, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &latency, &size), noErr);
  return latency;
}

void ShellTest::SetUp() { home_ = std::make_unique<harness::TempHome>("veneer-home"); }

ShellTest::~ShellTest() = default;

std::vector<std::string> ShellTest::LogLines() const {
  std::vector<std::string> lines;
  std::ifstream file(SupportFolder() / "veneer_debug.log");
  std::string line;
  while (std::getline(file, line)) {
    // "[HH:MM:SS] " is 11 bytes.
    lines.push_back(line.size() >= 11 ? line.substr(11) : line);
  }
  return lines;
}

bool ShellTest::Logged(const std::string& message) const {
  for (const auto& line : LogLines()) {
    if (line == message) {
      return true;
    }
  }
  return false;
}

void ShellTest::RunMainLoop(double seconds) { CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false); }

}  // namespace shelltest
