// The stand-in products, driven through the component API as a host would.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "AudioFormats.h"
#include "standin/StandIn.h"

namespace {

using standin::Variant;

struct ProductRow {
  Variant variant;
  AudioComponentDescription description;
  const char* name;
  AudioUnitParameterID scaleParameter;
  const char* scaleName;
};

// The outside products as they are installed.
const ProductRow kProducts[] = {
    {Variant::kPro, {'aumf', 'AT81', 'VST ', 0, 0}, "Auto-Tune Pro", 162, "Modern Scale"},
    {Variant::kAdvanced, {'aumf', 'Advn', 'Antr', 0, 0}, "AutoTune Advanced", 0x43DEDEBA, "Scale"},
    {Variant::k2026, {'aufx', 'Core', 'Antr', 0, 0}, "AutoTune 2026", 0x43DEDEBA, "Scale"},
    {Variant::kArtist, {'aumf', 'ATxL', 'VST ', 0, 0}, "Auto-Tune Artist", 2, "Scale"},
    {Variant::kEfx, {'aufx', 'Vefx', 'Antr', 0, 0}, "Auto-Tune EFX+", 7, "Auto-Tune Scale"},
};

std::string ToString(CFStringRef string) {
  char buffer[256] = {};
  CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8);
  return buffer;
}

// Channel c of the input carries the value c + 1.
OSStatus ChannelIndexInput(void* /*refCon*/, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* /*time*/,
                           UInt32 /*bus*/, UInt32 frames, AudioBufferList* ioData) {
  for (UInt32 c = 0; c < ioData->mNumberBuffers; ++c) {
    std::fill_n(static_cast<float*>(ioData->mBuffers[c].mData), frames, static_cast<float>(c + 1));
  }
  return noErr;
}

// An instance of one stand-in, owned by the test.
class Host {
 public:
  explicit Host(AudioComponent component) : status_(AudioComponentInstanceNew(component, &unit_)) {}
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() {
    if (unit_ != nullptr) {
      AudioComponentInstanceDispose(unit_);
    }
  }
  [[nodiscard]] AudioUnit unit() const { return unit_; }
  [[nodiscard]] OSStatus status() const { return status_; }

  OSStatus SetFormats(UInt32 channels) {
    const AudioStreamBasicDescription format = testsupport::FloatFormat(48000.0, channels);
    for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output}) {
      if (const OSStatus s =
              AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat, scope, 0, &format, sizeof format);
          s != noErr) {
        return s;
      }
    }
    return noErr;
  }
  OSStatus SetInput() {
    const AURenderCallbackStruct callback{ChannelIndexInput, this};
    return AudioUnitSetProperty(unit_, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                                sizeof callback);
  }
  // Renders `frames` into `channels` host buffers, filled with -9 first.
  OSStatus Render(UInt32 channels, UInt32 frames, std::vector<std::vector<float>>& out) {
    out.assign(channels, std::vector<float>(frames, -9.0F));
    std::vector<std::byte> storage(sizeof(AudioBufferList) + sizeof(AudioBuffer) * channels);
    auto* list = reinterpret_cast<AudioBufferList*>(storage.data());
    list->mNumberBuffers = channels;
    for (UInt32 c = 0; c < channels; ++c) {
      list->mBuffers[c] = {1, frames * 4, out[c].data()};
    }
    AudioUnitRenderActionFlags flags = 0;
    AudioTimeStamp time{};
    time.mSampleTime = sampleTime_;
    time.mFlags = kAudioTimeStampSampleTimeValid;
    sampleTime_ += frames;
    return AudioUnitRender(unit_, &flags, &time, 0, frames, list);
  }
  // Formats, input callback and initialisation, as a host sets a unit up.
  OSStatus Prepare(UInt32 channels) {
    OSStatus s = SetFormats(channels);
    s = s != noErr ? s : SetInput();
    return s != noErr ? s : AudioUnitInitialize(unit_);
  }

 private:
  AudioUnit unit_ = nullptr;
  OSStatus status_;
  Float64 sampleTime_ = 0;
};

OSStatus ParameterInfo(AudioUnit unit, AudioUnitParameterID id, AudioUnitParameterInfo& info) {
  UInt32 size = sizeof info;
  return AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, id, &info, &size);
}

// The name as a host reads it: the string object when flagged, else the fixed field.
std::string NameOf(AudioUnitParameterInfo& info) {
  if ((info.flags & kAudioUnitParameterFlag_HasCFNameString) == 0) {
    return info.name;
  }
  std::string name = ToString(info.cfNameString);
  if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0) {
    CFRelease(info.cfNameString);
  }
  return name;
}

// Every installed component that matches `description`, in the registry's order.
std::vector<AudioComponent> Installed(const AudioComponentDescription& description) {
  std::vector<AudioComponent> found;
  for (AudioComponent c = AudioComponentFindNext(nullptr, &description); c != nullptr;
       c = AudioComponentFindNext(c, &description)) {
    found.push_back(c);
  }
  return found;
}

TEST(StandInRegistration, EachVariantIsFoundByItsProductDescription) {
  for (const ProductRow& row : kProducts) {
    SCOPED_TRACE(row.name);
    const AudioComponentDescription d = standin::DescriptionOf(row.variant);
    EXPECT_EQ(d.componentType, row.description.componentType);
    EXPECT_EQ(d.componentSubType, row.description.componentSubType);
    EXPECT_EQ(d.componentManufacturer, row.description.componentManufacturer);
    EXPECT_STREQ(standin::NameOf(row.variant), row.name);
    std::vector<AudioComponent> expected = Installed(row.description);
    AudioComponent component = standin::Register(row.variant);
    ASSERT_NE(component, nullptr);
    expected.push_back(component);
    EXPECT_EQ(Installed(row.description), expected);
    UInt32 version = 0;
    EXPECT_EQ(AudioComponentGetVersion(component, &version), noErr);
    EXPECT_EQ(version, 0x00010000U);
    CFStringRef name = nullptr;
    ASSERT_EQ(AudioComponentCopyName(component, &name), noErr);
    EXPECT_EQ(ToString(name), std::string("Stand-in: ") + row.name);
    CFRelease(name);

    AudioUnit handle = nullptr;
    ASSERT_EQ(AudioComponentInstanceNew(component, &handle), noErr);
    ASSERT_NE(standin::Find(handle), nullptr);
    EXPECT_EQ(standin::Find(handle)->GetVariant(), row.variant);
    AudioComponentInstanceDispose(handle);
    EXPECT_EQ(standin::Find(handle), nullptr);
  }
}

TEST(StandInRegistration, CopiesOfOneProductStandSideBySideWithTheirOwnVersionsAndFaults) {
  const AudioComponentDescription d = standin::DescriptionOf(Variant::k2026);
  std::vector<AudioComponent> expected = Installed(d);
  AudioComponent older = standin::Register(Variant::k2026, 0x00010203, "Antares: AutoTune 2026 (old)");
  AudioComponent newer = standin::Register(Variant::k2026, 0x00010A00);
  expected.insert(expected.end(), {older, newer});
  EXPECT_EQ(Installed(d), expected);
  UInt32 version = 0;
  AudioComponentGetVersion(newer, &version);
  EXPECT_EQ(version, 0x00010A00U);
  CFStringRef name = nullptr;
  ASSERT_EQ(AudioComponentCopyName(older, &name), noErr);
  EXPECT_EQ(ToString(name), "Antares: AutoTune 2026 (old)");
  CFRelease(name);

  standin::FaultsOf(older).instanceNew = kAudio_MemFullError;
  AudioUnit unit = nullptr;
  EXPECT_EQ(AudioComponentInstanceNew(older, &unit), kAudio_MemFullError);
  EXPECT_EQ(unit, nullptr);
  Host fine(newer);
  EXPECT_EQ(fine.status(), noErr);
  standin::FaultsOf(older).Clear();
  Host now(older);
  EXPECT_EQ(now.status(), noErr);
}

TEST(StandInParameters, EachProductPublishesItsParametersAndItsScaleName) {
  for (const ProductRow& row : kProducts) {
    SCOPED_TRACE(row.name);
    Host host(standin::Register(row.variant));
    UInt32 size = 0;
    ASSERT_EQ(AudioUnitGetPropertyInfo(host.unit(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, &size,
                                       nullptr),
              noErr);
    std::vector<AudioUnitParameterID> ids(size / sizeof(AudioUnitParameterID));
    ASSERT_EQ(AudioUnitGetProperty(host.unit(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, ids.data(),
                                   &size),
              noErr);
    EXPECT_EQ(ids.size(), standin::ParametersOf(row.variant).size());
    EXPECT_NE(std::find(ids.begin(), ids.end(), row.scaleParameter), ids.end());
    for (const AudioUnitParameterID id : ids) {
      AudioUnitParameterInfo info{};
      ASSERT_EQ(ParameterInfo(host.unit(), id, info), noErr) << id;
      EXPECT_LT(info.minValue, info.maxValue);
      EXPECT_GE(info.defaultValue, info.minValue);
      EXPECT_LE(info.defaultValue, info.maxValue);
      AudioUnitParameterValue value = -1.0F;
      EXPECT_EQ(AudioUnitGetParameter(host.unit(), id, kAudioUnitScope_Global, 0, &value), noErr);
      EXPECT_EQ(value, info.defaultValue);
      EXPECT_STREQ(info.name, NameOf(info).c_str());
      if (id == row.scaleParameter) {
        EXPECT_EQ(std::string(info.name), row.scaleName);
      }
    }
    AudioUnitParameterInfo info{};
    EXPECT_EQ(ParameterInfo(host.unit(), 0xFFFFFFFE, info), kAudioUnitErr_InvalidParameter);
    EXPECT_EQ(AudioUnitSetParameter(host.unit(), 0xFFFFFFFE, kAudioUnitScope_Global, 0, 1.0F, 0),
              kAudioUnitErr_InvalidParameter);
  }
}

TEST(StandInParameters, WritesThroughTheApiAreRecordedInOrderButAUserTurningAKnobIsNot) {
  Host host(standin::Register(Variant::kPro));
  standin::Unit* unit = standin::Find(host.unit());
  ASSERT_NE(unit, nullptr);
  EXPECT_EQ(AudioUnitSetParameter(host.unit(), 162, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
  EXPECT_EQ(AudioUnitSetParameter(host.unit(), 1, kAudioUnitScope_Global, 0, 0.25F, 0), noErr);
  EXPECT_EQ(AudioUnitSetParameter(host.unit(), 999, kAudioUnitScope_Global, 0, 3.0F, 0),
            kAudioUnitErr_InvalidParameter);
  const std::vector<standin::ParameterWrite> expected{{162, kAudioUnitScope_Global, 0, 0.5F},
                                                      {1, kAudioUnitScope_Global, 0, 0.25F},
                                                      {999, kAudioUnitScope_Global, 0, 3.0F}};
  EXPECT_EQ(unit->Writes(), expected);

  EXPECT_EQ(unit->SetParameterAsUser(4, 0.125F), noErr);
  EXPECT_EQ(unit->SetParameterAsUser(999, 0.125F), kAudioUnitErr_InvalidParameter);
  AudioUnitParameterValue value = 0;
  AudioUnitGetParameter(host.unit(), 4, kAudioUnitScope_Global, 0, &value);
  EXPECT_EQ(value, 0.125F);
  EXPECT_EQ(unit->Writes().size(), 3U);
  unit->ClearWrites();
  EXPECT_TRUE(unit->Writes().empty());
}

TEST(StandInParameters, WritesFromSeveralThreadsAreAllRecorded) {
  Host host(standin::Register(Variant::kEfx));
  ASSERT_EQ(host.Prepare(2), noErr);
  standin::Unit* unit = standin::Find(host.unit());
  constexpr int kWrites = 500;
  auto writer = [&](AudioUnitParameterID id) {
    for (int i = 0; i < kWrites; ++i) {
      AudioUnitSetParameter(host.unit(), id, kAudioUnitScope_Global, 0, static_cast<float>(i), 0);
    }
  };
  std::thread link(writer, 6);
  std::thread user([&] {
    for (int i = 0; i < kWrites; ++i) {
      unit->SetParameterAsUser(12, 0.5F);
    }
  });
  std::thread render([&] {
    std::vector<std::vector<float>> out;
    for (int i = 0; i < 50; ++i) {
      host.Render(2, 64, out);
    }
  });
  writer(7);
  link.join();
  user.join();
  render.join();
  const auto writes = unit->Writes();
  EXPECT_EQ(writes.size(), 2U * kWrites);
  EXPECT_EQ(std::count_if(writes.begin(), writes.end(), [](const auto& w) { return w.id == 6; }), kWrites);
  EXPECT_EQ(unit->RenderCount(), 50U);
}

TEST(StandInProcessing, MonoOrStereoOutputIsTheInputTimesTheGainPerChannel) {
  for (const UInt32 channels : {1U, 2U}) {
    SCOPED_TRACE(channels);
    Host host(standin::Register(Variant::kArtist));
    standin::Unit* unit = standin::Find(host.unit());
    const UInt32 maxFrames = 4096;
    ASSERT_EQ(AudioUnitSetProperty(host.unit(), kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                                   &maxFrames, sizeof maxFrames),
              noErr);
    EXPECT_EQ(host.SetFormats(3), kAudioUnitErr_FormatNotSupported);
    EXPECT_FALSE(unit->IsInitialized());
    ASSERT_EQ(host.Prepare(channels), noErr);
    EXPECT_TRUE(unit->IsInitialized());
    EXPECT_EQ(unit->InitializeCount(), 1);
    EXPECT_EQ(unit->StreamFormatOf(kAudioUnitScope_Input).mChannelsPerFrame, channels);
    EXPECT_EQ(unit->StreamFormatOf(kAudioUnitScope_Output).mSampleRate, 48000.0);
    EXPECT_EQ(unit->InputCallback().inputProc, &ChannelIndexInput);
    EXPECT_EQ(unit->InputCallback().inputProcRefCon, &host);

    std::vector<std::vector<float>> out;
    ASSERT_EQ(host.Render(channels, 4096, out), noErr);
    for (UInt32 c = 0; c < channels; ++c) {
      EXPECT_TRUE(std::all_of(out[c].begin(), out[c].end(), [&](float v) { return v == (c + 1) * standin::kGain; }));
    }
    EXPECT_EQ(unit->RenderCount(), 1U);
  }
}

TEST(StandInFaults, ChosenPropertySetsFailAndOthersPass) {
  AudioComponent component = standin::Register(Variant::kAdvanced);
  standin::Faults& faults = standin::FaultsOf(component);
  faults.FailSetProperty(kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, -50);
  faults.FailSetProperty(kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, -51);
  faults.FailSetProperty(kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, -52);
  Host host(component);
  standin::Unit* unit = standin::Find(host.unit());
  const UInt32 channelsBefore = unit->StreamFormatOf(kAudioUnitScope_Input).mChannelsPerFrame;
  const AudioStreamBasicDescription format = testsupport::FloatFormat(48000.0, channelsBefore == 1 ? 2 : 1);
  EXPECT_EQ(AudioUnitSetProperty(host.unit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &format,
                                 sizeof format),
            -50);
  EXPECT_EQ(unit->StreamFormatOf(kAudioUnitScope_Input).mChannelsPerFrame, channelsBefore);
  EXPECT_EQ(AudioUnitSetProperty(host.unit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &format,
                                 sizeof format),
            noErr);
  EXPECT_EQ(unit->StreamFormatOf(kAudioUnitScope_Output).mChannelsPerFrame, format.mChannelsPerFrame);
  EXPECT_EQ(host.SetInput(), -51);
  EXPECT_EQ(unit->InputCallback().inputProc, nullptr);
  const UInt32 frames = 4096;
  EXPECT_EQ(AudioUnitSetProperty(host.unit(), kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                                 &frames, sizeof frames),
            -52);

  faults.FailSetProperty(kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, noErr);
  EXPECT_EQ(host.SetInput(), noErr);
  faults.Clear();
  EXPECT_EQ(host.SetFormats(2), noErr);
}

TEST(StandInFaults, LatencyIsReportedInSecondsOrItsGetFails) {
  AudioComponent component = standin::Register(Variant::kPro);
  Host host(component);
  standin::FaultsOf(component).latencySeconds = 112.0 / 48000.0;
  Float64 latency = 0;
  UInt32 size = sizeof latency;
  ASSERT_EQ(AudioUnitGetProperty(host.unit(), kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &latency, &size),
            noErr);
  EXPECT_DOUBLE_EQ(latency, 112.0 / 48000.0);
  standin::FaultsOf(component).latencyGet = kAudioUnitErr_InvalidProperty;
  EXPECT_EQ(AudioUnitGetProperty(host.unit(), kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &latency, &size),
            kAudioUnitErr_InvalidProperty);
}

TEST(StandInFaults, InitializeFailureLeavesTheUnitUninitialisedExceptAlreadyInitialised) {
  AudioComponent component = standin::Register(Variant::kEfx);
  standin::FaultsOf(component).initialize = kAudioUnitErr_FailedInitialization;
  Host failing(component);
  ASSERT_EQ(failing.SetFormats(1), noErr);
  ASSERT_EQ(failing.SetInput(), noErr);
  EXPECT_EQ(AudioUnitInitialize(failing.unit()), kAudioUnitErr_FailedInitialization);
  EXPECT_FALSE(standin::Find(failing.unit())->IsInitialized());
  std::vector<std::vector<float>> out;
  EXPECT_EQ(failing.Render(1, 64, out), kAudioUnitErr_Uninitialized);

  standin::FaultsOf(component).initialize = kAudioUnitErr_Initialized;
  Host usable(component);
  EXPECT_EQ(usable.Prepare(1), kAudioUnitErr_Initialized);
  EXPECT_TRUE(standin::Find(usable.unit())->IsInitialized());
  ASSERT_EQ(usable.Render(1, 64, out), noErr);
  EXPECT_EQ(out[0][63], standin::kGain);
}

TEST(StandInFaults, ScaleParameterInfoFailsOrReportsAnotherName) {
  AudioComponent component = standin::Register(Variant::kPro);
  standin::Faults& faults = standin::FaultsOf(component);
  Host host(component);
  AudioUnitParameterInfo info{};
  faults.scaleInfo = kAudioUnitErr_InvalidParameter;
  EXPECT_EQ(ParameterInfo(host.unit(), 162, info), kAudioUnitErr_InvalidParameter);
  ASSERT_EQ(ParameterInfo(host.unit(), 1, info), noErr);
  EXPECT_EQ(NameOf(info), "Legacy Scale");

  faults.scaleInfo = noErr;
  faults.SetScaleName("Scale Mode");
  ASSERT_EQ(ParameterInfo(host.unit(), 162, info), noErr);
  EXPECT_EQ(NameOf(info), "Scale Mode");
  EXPECT_STREQ(info.name, "Scale Mode");

  faults.SetScaleName("");
  faults.namesAsStringObjects = false;
  ASSERT_EQ(ParameterInfo(host.unit(), 162, info), noErr);
  EXPECT_EQ(info.flags & kAudioUnitParameterFlag_HasCFNameString, 0U);
  EXPECT_EQ(info.cfNameString, nullptr);
  EXPECT_STREQ(info.name, "Modern Scale");
}

TEST(StandInFaults, RenderFailsWithTheChosenStatusOrTakesLonger) {
  AudioComponent component = standin::Register(Variant::kAdvanced);
  Host host(component);
  ASSERT_EQ(host.Prepare(2), noErr);
  standin::Unit* unit = standin::Find(host.unit());
  std::vector<std::vector<float>> out;
  standin::FaultsOf(component).render = -4242;
  EXPECT_EQ(host.Render(2, 128, out), -4242);
  EXPECT_EQ(unit->RenderCount(), 1U);

  standin::FaultsOf(component).render = noErr;
  standin::FaultsOf(component).renderDelayMs = 30;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(host.Render(2, 128, out), noErr);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
  EXPECT_EQ(out[1][0], 2 * standin::kGain);
  EXPECT_EQ(unit->RenderCount(), 2U);
}

}  // namespace
