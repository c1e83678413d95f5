#include "ShellFixture.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>

#include "ausdk/AUPlugInDispatch.h"

namespace shelltest {
namespace {

std::mutex gLiveMutex;
std::map<AudioUnit, TestVeneer*>& Live() {
  static std::map<AudioUnit, TestVeneer*> live;
  return live;
}

}  // namespace

TestVeneer::TestVeneer(AudioComponentInstance instance) : Veneer(instance) {
  const std::lock_guard lock(gLiveMutex);
  Live()[instance] = this;
}

TestVeneer::~TestVeneer() {
  const std::lock_guard lock(gLiveMutex);
  Live().erase(GetComponentInstance());
}

TestVeneer* TestVeneer::Find(AudioUnit handle) {
  const std::lock_guard lock(gLiveMutex);
  const auto it = Live().find(handle);
  return it == Live().end() ? nullptr : it->second;
}

AudioComponent RegisterVeneer() {
  static AudioComponent component = ausdk::APFactory<ausdk::AUMIDILookup, TestVeneer>::Register(
      {kAudioUnitType_Effect, 'Vnr1', 'Tnvl', 0, 0}, CFSTR("Tonvale: Veneer"), 0x00010000);
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

void ShellTest::SetUp() {
  if (const char* home = std::getenv("HOME"); home != nullptr) {
    hadHome_ = true;
    savedHome_ = home;
  }
  char pattern[] = "/tmp/veneer-home-XXXXXX";
  home_ = mkdtemp(pattern);
  std::filesystem::create_directories(SupportFolder());
  setenv("HOME", home_.c_str(), 1);
}

ShellTest::~ShellTest() {
  if (hadHome_) {
    setenv("HOME", savedHome_.c_str(), 1);
  } else {
    unsetenv("HOME");
  }
  std::error_code ignored;
  std::filesystem::remove_all(home_, ignored);
}

void ShellTest::WriteSupportFile(const std::string& name, const std::string& text) const {
  std::ofstream(SupportFolder() / name, std::ios::binary) << text;
}

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
