// The properties the shell answers itself, its channel layouts, the view bundle
// and its MIDI entry points, as a host and the custom view use them.
#include <AudioToolbox/AudioUnit.h>
#include <AudioToolbox/MusicDevice.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreMIDI/CoreMIDI.h>
#include <gtest/gtest.h>
#include <libproc.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "ParameterModelHarness.h"
#include "ShellFixture.h"
#include "shell/LogTexts.h"
#include "standin/StandIn.h"

namespace logtext = veneer::logtext;

namespace {

using shelltest::HostedVeneer;
using standin::Variant;
using ShellPropertiesTest = parametertest::InnerUnitTest;

constexpr AudioUnitPropertyID kInnerUnitProperty = veneer::Veneer::kInnerUnitProperty;

struct Info {
  OSStatus status;
  UInt32 size;
  bool writable;
};

Info InfoOf(const HostedVeneer& veneer, AudioUnitPropertyID id, AudioUnitScope scope = kAudioUnitScope_Global,
            AudioUnitElement element = 0) {
  UInt32 size = 0;
  Boolean writable = false;
  const OSStatus status = AudioUnitGetPropertyInfo(veneer.unit(), id, scope, element, &size, &writable);
  return {status, size, writable != 0};
}

template <typename T>
OSStatus Get(const HostedVeneer& veneer, AudioUnitPropertyID id, T& value,
             AudioUnitScope scope = kAudioUnitScope_Global, AudioUnitElement element = 0) {
  UInt32 size = sizeof value;
  return AudioUnitGetProperty(veneer.unit(), id, scope, element, &value, &size);
}

UInt32 Bypass(const HostedVeneer& veneer) {
  UInt32 value = 99;
  EXPECT_EQ(Get(veneer, kAudioUnitProperty_BypassEffect, value), noErr);
  return value;
}

std::string Text(CFStringRef string) {
  char text[1024] = {};
  return string != nullptr && CFStringGetCString(string, text, sizeof text, kCFStringEncodingUTF8) ? text : "";
}

void CountCall(void* refCon, AudioUnit /*unit*/, AudioUnitPropertyID /*id*/, AudioUnitScope /*scope*/,
               AudioUnitElement /*element*/) {
  ++*static_cast<int*>(refCon);
}

TEST_F(ShellPropertiesTest, InnerUnitIsHandedToTheView) {
  HostedVeneer veneer;
  // Any scope and element; read-only, the size of a handle.
  for (const AudioUnitScope scope : {kAudioUnitScope_Global, kAudioUnitScope_Input, kAudioUnitScope_Output}) {
    const Info info = InfoOf(veneer, kInnerUnitProperty, scope, 5);
    EXPECT_EQ(info.status, noErr);
    EXPECT_EQ(info.size, sizeof(AudioUnit));
    EXPECT_FALSE(info.writable);
  }

  // Before the inner unit exists: a null handle, and no error.
  auto handle = reinterpret_cast<AudioUnit>(0x1);
  EXPECT_EQ(Get(veneer, kInnerUnitProperty, handle), noErr);
  EXPECT_EQ(handle, nullptr);

  ASSERT_NE(Load(veneer, Variant::kPro), nullptr);
  EXPECT_EQ(Get(veneer, kInnerUnitProperty, handle, kAudioUnitScope_Output, 3), noErr);
  EXPECT_EQ(handle, veneer->InnerUnit());
  EXPECT_NE(standin::Find(handle), nullptr);

  EXPECT_EQ(AudioUnitSetProperty(veneer.unit(), kInnerUnitProperty, kAudioUnitScope_Global, 0, &handle, sizeof handle),
            kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(veneer->InnerUnit(), handle);
}

TEST_F(ShellPropertiesTest, BypassIsTheHostsSwitch) {
  HostedVeneer veneer;
  const Info info = InfoOf(veneer, kAudioUnitProperty_BypassEffect, kAudioUnitScope_Input, 2);
  EXPECT_EQ(info.status, noErr);
  EXPECT_EQ(info.size, sizeof(UInt32));
  EXPECT_TRUE(info.writable);
  EXPECT_EQ(Bypass(veneer), 0U);
  int notified = 0;
  ASSERT_EQ(AudioUnitAddPropertyListener(veneer.unit(), kAudioUnitProperty_BypassEffect, CountCall, &notified), noErr);

  const UInt16 shortValue = 1;
  EXPECT_EQ(AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &shortValue,
                                 sizeof shortValue),
            kAudioUnitErr_InvalidPropertyValue);
  EXPECT_FALSE(veneer->HostBypass());
  EXPECT_EQ(Bypass(veneer), 0U);

  const UInt32 seven = 7;
  EXPECT_EQ(AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &seven,
                                 sizeof seven),
            noErr);
  EXPECT_TRUE(veneer->HostBypass());
  EXPECT_EQ(Bypass(veneer), 1U);
  EXPECT_TRUE(Logged(std::string(logtext::kHostBypassSet) + "on"));

  const UInt32 off = 0;
  EXPECT_EQ(
      AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Output, 1, &off, sizeof off),
      noErr);
  EXPECT_EQ(Bypass(veneer), 0U);
  EXPECT_TRUE(Logged(std::string(logtext::kHostBypassSet) + "off"));
  EXPECT_EQ(notified, 0);  // the host that set it already knows
}

TEST_F(ShellPropertiesTest, NullDataIsRefused) {
  HostedVeneer veneer;
  for (const AudioUnitPropertyID id : std::initializer_list<AudioUnitPropertyID>{
           kInnerUnitProperty, kAudioUnitProperty_CocoaUI, kAudioUnitProperty_BypassEffect}) {
    EXPECT_EQ(veneer->GetProperty(id, kAudioUnitScope_Global, 0, nullptr), kAudioUnitErr_InvalidPropertyValue) << id;
  }
  EXPECT_EQ(veneer->SetProperty(kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, nullptr, sizeof(UInt32)),
            kAudioUnitErr_InvalidPropertyValue);
  EXPECT_FALSE(veneer->HostBypass());
  EXPECT_FALSE(Logged(std::string(logtext::kHostBypassSet) + "off"));
}

TEST_F(ShellPropertiesTest, ViewLiesBesideTheExecutable) {
  HostedVeneer veneer;
  const Info info = InfoOf(veneer, kAudioUnitProperty_CocoaUI);
  EXPECT_EQ(info.status, noErr);
  EXPECT_EQ(info.size, sizeof(AudioUnitCocoaViewInfo));
  EXPECT_FALSE(info.writable);

  AudioUnitCocoaViewInfo view{};
  ASSERT_EQ(Get(veneer, kAudioUnitProperty_CocoaUI, view), noErr);
  ASSERT_NE(view.mCocoaAUViewBundleLocation, nullptr);
  EXPECT_EQ(Text(view.mCocoaAUViewClass[0]), "VeneerCocoaUIViewFactory");

  // No bundle carries the identifier here: the URL is formed from this executable's path.
  const std::string url = Text(CFURLGetString(view.mCocoaAUViewBundleLocation));
  const std::string suffix = "/Resources/VeneerCocoaUI.bundle/";
  ASSERT_GE(url.size(), suffix.size());
  EXPECT_EQ(url.substr(url.size() - suffix.size()), suffix);
  EXPECT_TRUE(CFURLHasDirectoryPath(view.mCocoaAUViewBundleLocation));
  char path[4096] = {};
  ASSERT_TRUE(CFURLGetFileSystemRepresentation(view.mCocoaAUViewBundleLocation, true, reinterpret_cast<UInt8*>(path),
                                               sizeof path));
  char executable[PROC_PIDPATHINFO_MAXSIZE] = {};
  ASSERT_GT(proc_pidpath(getpid(), executable, sizeof executable), 0);
  EXPECT_EQ(std::filesystem::weakly_canonical(path),
            std::filesystem::canonical(executable).parent_path().parent_path() / "Resources" / "VeneerCocoaUI.bundle");

  // The host owns both.
  CFRelease(view.mCocoaAUViewBundleLocation);
  CFRelease(view.mCocoaAUViewClass[0]);

  EXPECT_EQ(
      AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, &view, sizeof view),
      kAudioUnitErr_InvalidProperty);
}

TEST_F(ShellPropertiesTest, ChannelLayoutsAreMonoAndStereo) {
  HostedVeneer veneer;
  const Info info = InfoOf(veneer, kAudioUnitProperty_SupportedNumChannels);
  EXPECT_EQ(info.status, noErr);
  EXPECT_EQ(info.size, 2 * sizeof(AUChannelInfo));
  AUChannelInfo layouts[2] = {};
  ASSERT_EQ(Get(veneer, kAudioUnitProperty_SupportedNumChannels, layouts), noErr);
  EXPECT_EQ(layouts[0].inChannels, 1);
  EXPECT_EQ(layouts[0].outChannels, 1);
  EXPECT_EQ(layouts[1].inChannels, 2);
  EXPECT_EQ(layouts[1].outChannels, 2);
  EXPECT_EQ(veneer->SupportedNumChannels(nullptr), 2U);
}

TEST_F(ShellPropertiesTest, OtherPropertiesGoToTheFramework) {
  HostedVeneer veneer;
  constexpr AudioUnitPropertyID kUnknown = 0x7A7A7A7A;
  EXPECT_EQ(InfoOf(veneer, kUnknown).status, kAudioUnitErr_InvalidProperty);
  UInt32 value = 0;
  EXPECT_EQ(Get(veneer, kUnknown, value), kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(AudioUnitSetProperty(veneer.unit(), kUnknown, kAudioUnitScope_Global, 0, &value, sizeof value),
            kAudioUnitErr_InvalidProperty);
}

TEST_F(ShellPropertiesTest, MidiIsAcceptedAndDropped) {
  HostedVeneer veneer;
  standin::Unit* inner = Load(veneer, Variant::kPro);
  ASSERT_NE(inner, nullptr);

  EXPECT_EQ(MusicDeviceMIDIEvent(veneer.unit(), 0x90, 60, 100, 0), noErr);  // note-on
  EXPECT_EQ(MusicDeviceMIDIEvent(veneer.unit(), 0xB0, 7, 127, 16), noErr);  // a controller
  const UInt8 sysEx[] = {0xF0, 0x7E, 0x7F, 0x09, 0x01, 0xF7};
  EXPECT_EQ(MusicDeviceSysEx(veneer.unit(), sysEx, sizeof sysEx), noErr);
  MIDIEventList list{};
  EXPECT_EQ(MusicDeviceMIDIEventList(veneer.unit(), 0, &list), noErr);

  // Nothing reached the inner unit.
  EXPECT_TRUE(inner->Writes().empty());
  EXPECT_EQ(inner->RenderCount(), 0U);
  float value = 0.0F;
  ASSERT_EQ(veneer->GetInnerParam(4, value), noErr);
  EXPECT_EQ(value, 0.686F);
}

}  // namespace
