// A host's calls from the input on one or two instances (Veneer, now and then
// a stand-in product): open, initialise and uninitialise (on the main thread
// or another), stream formats with any rate, 0-8 channels and any flags,
// maximum frames, renders of any frame count (0 and above the maximum
// included) into buffers sized for the format, from a source that may reshape
// the list it is given (buffer counts, data pointers, byte sizes, failures, a
// late answer), parameters with any id, scope and value, scheduled parameters,
// bypass, reset, MIDI, the input callback or a connection, the companion's
// files, the main run loop, and close. Whatever is open is closed at the end
// of each input.
#include <AudioToolbox/AudioUnit.h>
#include <AudioToolbox/MusicDevice.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "HostSide.h"

namespace {

using fuzzing::Bytes;

constexpr int kMostOperations = 40;
// The largest slice a host asks for here; larger ones only measure the allocator.
constexpr UInt32 kMostFrames = 20000;
// Veneer cleaned up on a thread other than the main one disposes its inner unit
// a second later, on the main queue; after this long none is pending.
constexpr auto kDelayedDisposal = std::chrono::milliseconds(1500);
std::chrono::steady_clock::time_point gLastCleanupElsewhere;
size_t gCleanupsElsewhere = 0;  // in this input
// Products of Veneer instances closed without ever being initialised: a format change
// created them and only a clean-up releases them, so they stay open for good.
size_t gKeptByNeverInitialised = 0;

struct Slot {
  AudioUnit unit = nullptr;
  fuzzing::HostInput input{fuzzing::kTrackChannels, fuzzing::kTrackFrames, 48000.0};
  Float64 sampleTime = 0;
  bool connected = false;  // slot 0 only: its input is slot 1's output
  bool initialised = false;
};

std::string SettingsText(Bytes& in) {
  static constexpr const char* kKeys[] = {
      "key",      "scale",          "correctionMode",   "retune",   "transpose", "classicMode", "inputType", "humanize",
      "flexTune", "naturalVibrato", "vibratoAmplitude", "tracking", "formant",   "throat",      "wetDry",    "0",
      "47"};
  std::string text = "seq=" + std::to_string(in.Take<int16_t>()) + "\nappRunning=1\n";
  for (const char* key : kKeys) {
    if (in.Flag()) {
      char line[64];
      std::snprintf(line, sizeof line, "%s=%g\n", key, static_cast<double>(fuzzing::TakeValue(in)));
      text += line;
    }
  }
  return text;
}

class Sequence {
 public:
  Sequence(AudioComponent veneer, Bytes& in) : veneer_(veneer), in_(in) {}
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;
  ~Sequence() {
    Close(slots_[0]);
    Close(slots_[1]);
  }

  void Step() {
    Slot& slot = slots_[in_.Below(2)];
    const uint32_t op = in_.Below(20);
    if (op == 0) {
      Open(slot);
      return;
    }
    if (op >= 15) {
      Elsewhere(op);
      return;
    }
    if (slot.unit == nullptr) {
      return;
    }
    AudioUnit unit = slot.unit;
    switch (op) {
      case 1:
        slot.initialised |= AudioUnitInitialize(unit) == noErr;
        break;
      case 2: {
        OSStatus status = noErr;
        fuzzing::OnOtherThread([unit, &status] { status = AudioUnitInitialize(unit); });
        slot.initialised |= status == noErr;
        break;
      }
      case 3:
        AudioUnitUninitialize(unit);
        break;
      case 4:
        fuzzing::OnOtherThread([unit] { AudioUnitUninitialize(unit); });
        gLastCleanupElsewhere = std::chrono::steady_clock::now();
        ++gCleanupsElsewhere;
        break;
      case 5:
        SetFormat(unit);
        break;
      case 6: {
        static constexpr UInt32 kSlices[] = {512, 0, 1, 64, 1024, 1156, 4096, 4097, 8192, kMostFrames};
        const UInt32 frames = in_.Below(4) == 3 ? in_.Below(kMostFrames + 1) : kSlices[in_.Below(std::size(kSlices))];
        AudioUnitSetProperty(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &frames,
                             sizeof frames);
        break;
      }
      case 7:
        Render(slot, false);
        break;
      case 8:
        Render(slot, true);
        break;
      case 9:
      case 10:
        Parameter(unit, op == 9);
        break;
      case 11: {
        const UInt32 values[] = {1, 0, in_.Take<UInt32>()};
        const UInt32 value = values[in_.Below(3)];
        std::vector<uint8_t> payload(in_.Below(8) == 7 ? 8 : sizeof value);
        std::memcpy(payload.data(), &value, sizeof value);
        AudioUnitSetProperty(unit, kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, payload.data(),
                             static_cast<UInt32>(payload.size()));
        break;
      }
      case 12:
        AudioUnitReset(unit, in_.Below(5), in_.Below(3));
        break;
      case 13:
        MusicDeviceMIDIEvent(unit, in_.Take<uint8_t>(), in_.Take<uint8_t>(), in_.Take<uint8_t>(), in_.Below(1024));
        break;
      default:
        Input(slot);
    }
  }

 private:
  void Open(Slot& slot) {
    if (slot.unit != nullptr) {
      return;
    }
    const AudioComponent component =
        in_.Below(4) == 3
            ? fuzzing::StandInComponent(standin::kAllVariants[in_.Below(std::size(standin::kAllVariants))])
            : veneer_;
    if (AudioComponentInstanceNew(component, &slot.unit) != noErr) {
      slot.unit = nullptr;
      return;
    }
    slot.input.SetMode(fuzzing::HostInput::Mode::kFull);
    const AURenderCallbackStruct callback = slot.input.Callback();
    AudioUnitSetProperty(slot.unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                         sizeof callback);
  }

  void Close(Slot& slot) {
    if (slot.unit == nullptr) {
      return;
    }
    if (&slot == &slots_[1]) {
      Disconnect();
    }
    AudioUnit inner = nullptr;
    UInt32 size = sizeof inner;
    if (!slot.initialised &&
        AudioUnitGetProperty(slot.unit, 0x766E6975 /* 'vniu' */, kAudioUnitScope_Global, 0, &inner, &size) == noErr &&
        inner != nullptr) {
      ++gKeptByNeverInitialised;
    }
    AudioComponentInstanceDispose(slot.unit);
    slot = Slot{};
  }

  void Disconnect() {
    if (slots_[0].connected) {
      const AudioUnitConnection none{nullptr, 0, 0};
      AudioUnitSetProperty(slots_[0].unit, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, 0, &none,
                           sizeof none);
      slots_[0].connected = false;
    }
  }

  void SetFormat(AudioUnit unit) {
    const AudioUnitScope scopes[] = {kAudioUnitScope_Input, kAudioUnitScope_Output, kAudioUnitScope_Global,
                                     in_.Take<UInt32>()};
    const AudioUnitScope scope = scopes[in_.Below(4)];
    const AudioUnitElement element = in_.Below(4) == 3 ? 1 : 0;
    const Float64 rate = fuzzing::TakeSampleRate(in_);
    if (in_.Below(4) == 3) {
      AudioUnitSetProperty(unit, kAudioUnitProperty_SampleRate, scope, element, &rate, sizeof rate);
      return;
    }
    const UInt32 channels = in_.Below(9);
    UInt32 flags = static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked) | kAudioFormatFlagIsNonInterleaved;
    switch (in_.Below(4)) {
      case 2:
        flags = kAudioFormatFlagsNativeFloatPacked;
        break;
      case 3:
        flags = in_.Take<UInt32>();
        break;
      default:
        break;
    }
    UInt32 bytesPerFrame = (flags & kAudioFormatFlagIsNonInterleaved) != 0 ? 4 : 4 * channels;
    if (in_.Below(8) == 7) {
      bytesPerFrame = in_.Take<UInt32>();
    }
    const AudioStreamBasicDescription format{
        .mSampleRate = rate,
        .mFormatID = in_.Below(8) == 7 ? in_.Take<UInt32>() : kAudioFormatLinearPCM,
        .mFormatFlags = flags,
        .mBytesPerPacket = bytesPerFrame,
        .mFramesPerPacket = 1,
        .mBytesPerFrame = bytesPerFrame,
        .mChannelsPerFrame = channels,
        .mBitsPerChannel = 32,
        .mReserved = 0};
    AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, scope, element, &format, sizeof format);
  }

  void Render(Slot& slot, bool onOtherThread) {
    UInt32 maxFrames = 0;
    UInt32 size = sizeof maxFrames;
    AudioUnitGetProperty(slot.unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &maxFrames,
                         &size);
    maxFrames = std::min(maxFrames, kMostFrames);
    const UInt32 choices[] = {512, maxFrames, 0, 1, maxFrames + 1, 64, in_.Below(kMostFrames + 2)};
    const UInt32 frames = choices[in_.Below(std::size(choices))];
    const UInt32 bus = in_.Below(8) == 7 ? 1 : 0;
    const bool lendNothing = in_.Flag();
    slot.input.SetMode(static_cast<fuzzing::HostInput::Mode>(in_.Below(fuzzing::HostInput::kModes)));
    if (in_.Below(4) == 3) {
      slot.input.SetReshape(TakeReshape());
    } else {
      slot.input.ClearReshape();
    }
    // A host renders each time once; now and then it repeats one.
    if (in_.Below(8) != 7) {
      slot.sampleTime += frames;
    }
    AudioUnit unit = slot.unit;
    const Float64 time = slot.sampleTime;
    const auto render = [=] { fuzzing::RenderBlock(unit, bus, frames, time, lendNothing); };
    if (onOtherThread) {
      fuzzing::OnOtherThread(render);
    } else {
      render();
    }
  }

  // What the source does to the list besides filling it: fewer or more
  // buffers, memory of its own, byte sizes of zero or above the block, a
  // failure after all that, or no answer before a later pull.
  fuzzing::HostInput::Reshape TakeReshape() {
    fuzzing::HostInput::Reshape reshape;
    static constexpr int32_t kCountChanges[] = {0, -1, -2, 1, 2, 1000, INT32_MIN};
    reshape.bufferCountChange = kCountChanges[in_.Below(std::size(kCountChanges))];
    reshape.foreignData = in_.Flag();
    switch (in_.Below(5)) {
      case 1:
        reshape.reportedBytes = 0;
        break;
      case 2:
        reshape.reportedBytes = fuzzing::kTrackFrames * 4 * 4;
        break;
      case 3:
        reshape.reportedBytes = UINT32_MAX;
        break;
      case 4:
        reshape.reportedBytes = in_.Take<UInt32>();
        break;
      default:
        break;
    }
    reshape.failAfter = in_.Below(4) == 3;
    reshape.answerFromPull = in_.Below(4) == 3 ? in_.Below(4) : 0;
    return reshape;
  }

  void Parameter(AudioUnit unit, bool set) {
    const AudioUnitParameterID id = fuzzing::TakeParameterId(in_);
    const AudioUnitScope scope = in_.Below(8) == 7 ? in_.Take<UInt32>() : in_.Below(4);
    const AudioUnitElement element = in_.Below(8) == 7 ? in_.Take<UInt32>() : 0;
    if (!set) {
      AudioUnitParameterValue value = 0;
      AudioUnitGetParameter(unit, id, scope, element, in_.Below(8) == 7 ? nullptr : &value);
      return;
    }
    if (in_.Below(4) != 3) {
      AudioUnitSetParameter(unit, id, scope, element, fuzzing::TakeValue(in_),
                            in_.Below(8) == 7 ? in_.Take<UInt32>() : 0);
      return;
    }
    std::vector<AudioUnitParameterEvent> events(in_.Below(5));
    for (AudioUnitParameterEvent& event : events) {
      event.scope = scope;
      event.element = element;
      event.parameter = id;
      event.eventType = in_.Flag() ? kParameterEvent_Ramped : kParameterEvent_Immediate;
      event.eventValues.ramp = {in_.Take<SInt32>(), in_.Take<UInt32>(), fuzzing::TakeValue(in_),
                                fuzzing::TakeValue(in_)};
    }
    AudioUnitScheduleParameters(unit, events.empty() ? nullptr : events.data(), static_cast<UInt32>(events.size()));
  }

  void Input(Slot& slot) {
    switch (in_.Below(4)) {
      case 0: {
        const AURenderCallbackStruct callback = slot.input.Callback();
        AudioUnitSetProperty(slot.unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                             sizeof callback);
        break;
      }
      case 1: {
        const AURenderCallbackStruct none{nullptr, nullptr};
        AudioUnitSetProperty(slot.unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &none,
                             sizeof none);
        break;
      }
      case 2:
        // Only slot 1 feeds slot 0, so no cycle forms.
        if (slots_[0].unit != nullptr && slots_[1].unit != nullptr) {
          const AudioUnitConnection connection{slots_[1].unit, in_.Below(2), in_.Below(2)};
          slots_[0].connected =
              AudioUnitSetProperty(slots_[0].unit, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input,
                                   connection.destInputNumber, &connection, sizeof connection) == noErr ||
              slots_[0].connected;
        }
        break;
      default:
        Disconnect();
    }
  }

  // The operations that belong to no instance: the companion's files and the main run loop.
  void Elsewhere(uint32_t op) {
    switch (op) {
      case 15:
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
        break;
      case 16:
        switch (in_.Below(4)) {
          case 0:
            fuzzing::WriteSupportFile("plugin_state.txt", SettingsText(in_));
            break;
          case 1:
            fuzzing::WriteSupportFile("plugin_state.txt", "seq=1\nappRunning=1\n", fuzzing::Age::kStale);
            break;
          case 2:
            fuzzing::WriteSupportFile("plugin_state.txt", "seq=1\nappRunning=0\n");
            break;
          default:
            fuzzing::RemoveSupportFile("plugin_state.txt");
        }
        break;
      case 17: {
        static constexpr const char* kNames[] = {"Auto-Tune Pro",
                                                 "AutoTune Advanced",
                                                 "AutoTune 2026",
                                                 "Auto-Tune Artist",
                                                 "Auto-Tune EFX+",
                                                 "Auto-Tune",
                                                 ""};
        const char* file = in_.Flag() ? "force_variant.txt" : "prefer_variant.txt";
        if (in_.Below(4) == 3) {
          fuzzing::RemoveSupportFile(file);
        } else {
          fuzzing::WriteSupportFile(file, std::string("use ") + kNames[in_.Below(std::size(kNames))] + "\n");
        }
        break;
      }
      case 18:
        Close(slots_[in_.Below(2)]);
        break;
      default:
        Close(slots_[0]);
        Close(slots_[1]);
    }
  }

  AudioComponent veneer_;
  Bytes& in_;
  Slot slots_[2];
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AudioComponent veneer = fuzzing::SetUpProcess();
  // Each input starts from a live companion and no chosen variant.
  fuzzing::WriteSupportFile("plugin_state.txt", "appRunning=1\n");
  fuzzing::RemoveSupportFile("force_variant.txt");
  fuzzing::RemoveSupportFile("prefer_variant.txt");

  const size_t openBefore = fuzzing::OpenProducts();
  gCleanupsElsewhere = 0;

  Bytes in(data, size);
  {
    Sequence sequence(veneer, in);
    for (int i = 0; i < kMostOperations && !in.Empty(); ++i) {
      sequence.Step();
    }
  }
  // Work the instances posted to the main queue that is due runs now, not in the next input.
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
  // Products may stay open only while their disposal is pending: none once those are all due, else
  // no more than before plus one per cleanup elsewhere in this input (earlier ones only go away).
  fuzzing::CheckProductsClosed(gKeptByNeverInitialised +
                               (std::chrono::steady_clock::now() - gLastCleanupElsewhere > kDelayedDisposal
                                    ? 0
                                    : openBefore + gCleanupsElsewhere));
  return 0;
}
