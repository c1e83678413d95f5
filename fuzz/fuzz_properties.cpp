// Property calls on an initialised Veneer that holds an inner unit, with the
// companion's settings file fresh so the link does not bypass: set, get, get
// info and remove with any id (leaning on the known ones, the shell's private
// 'vniu' and 'latc', and the 1000s), scope, element, size and bytes, then one
// rendered block. Every get buffer is exactly the size given, so a write past
// it shows under ASan.
//
// Payloads that carry pointers would make any Audio Unit follow garbage, so
// for those ids the harness passes real ones instead of raw bytes:
//   ClassInfo, ClassInfoFromDocument    a real property list, another CF type, or null
//   ContextName, ElementName, NickName  a real string, a number (wrong type), or null
//   PresentPreset                       the name as for the names above
//   MakeConnection                      a real stand-in unit as the source, or null
//   SetRenderCallback                   the harness's input callback, or null
//   HostCallbacks                       the harness's transport callbacks, or null
//   FastDispatch, ParameterInfo, ParameterValueStrings, FactoryPresets, CocoaUI,
//   ParameterStringFromValue, ParameterIDName, ParameterClumpName,
//   ParameterValueFromString, IconLocation, AUHostIdentifier,
//   MIDIOutputCallbackInfo, MIDIOutputCallback, InputSamplesInOutput,
//   RequestViewController, RenderContextObserver, 'vniu'
//                                       all zero (null pointers), as the shell takes none of them
// A get of a property that hands out CF objects asks for at least the whole
// value and releases them: a shorter buffer loses the references (see
// findings/README.md).
#include <AudioToolbox/AudioUnit.h>

#include <cstdlib>
#include <vector>

#include "FuzzSupport.h"
#include "HostSide.h"
#include "shell/Veneer.h"

namespace {

using fuzzing::Absent;
using fuzzing::Bytes;
using fuzzing::CF;

constexpr int kMostOperations = 24;
constexpr AudioUnitPropertyID kLatencyNotice = 0x6C617463;  // 'latc', which the link thread sets on its own unit
constexpr UInt32 kPointer = sizeof(void*);

enum class Payload { kRaw, kPropertyList, kString, kConnection, kRenderCallback, kHostCallbacks, kPreset, kZeroed };

Payload PayloadOf(AudioUnitPropertyID id) {
  switch (id) {
    case kAudioUnitProperty_ClassInfo:
    case kAudioUnitProperty_ClassInfoFromDocument:
      return Payload::kPropertyList;
    case kAudioUnitProperty_ContextName:
    case kAudioUnitProperty_ElementName:
    case kAudioUnitProperty_NickName:
      return Payload::kString;
    case kAudioUnitProperty_MakeConnection:
      return Payload::kConnection;
    case kAudioUnitProperty_SetRenderCallback:
      return Payload::kRenderCallback;
    case kAudioUnitProperty_HostCallbacks:
      return Payload::kHostCallbacks;
    case kAudioUnitProperty_PresentPreset:
      return Payload::kPreset;
    case kAudioUnitProperty_FastDispatch:
    case kAudioUnitProperty_ParameterInfo:
    case kAudioUnitProperty_ParameterValueStrings:
    case kAudioUnitProperty_FactoryPresets:
    case kAudioUnitProperty_CocoaUI:
    case kAudioUnitProperty_ParameterStringFromValue:
    case kAudioUnitProperty_ParameterIDName:
    case kAudioUnitProperty_ParameterClumpName:
    case kAudioUnitProperty_ParameterValueFromString:
    case kAudioUnitProperty_IconLocation:
    case kAudioUnitProperty_AUHostIdentifier:
    case kAudioUnitProperty_MIDIOutputCallbackInfo:
    case kAudioUnitProperty_MIDIOutputCallback:
    case kAudioUnitProperty_InputSamplesInOutput:
    case kAudioUnitProperty_RequestViewController:
    case kAudioUnitProperty_RenderContextObserver:
    case veneer::Veneer::kInnerUnitProperty:
      return Payload::kZeroed;
    default:
      return Payload::kRaw;
  }
}

// Where a successful get leaves references for the caller to release.
std::vector<UInt32> ReturnedReferences(AudioUnitPropertyID id) {
  switch (id) {
    case kAudioUnitProperty_ClassInfo:
    case kAudioUnitProperty_ClassInfoFromDocument:
    case kAudioUnitProperty_ParameterValueStrings:
    case kAudioUnitProperty_FactoryPresets:
    case kAudioUnitProperty_ContextName:
    case kAudioUnitProperty_ElementName:
    case kAudioUnitProperty_NickName:
    case kAudioUnitProperty_IconLocation:
    case kAudioUnitProperty_MIDIOutputCallbackInfo:
      return {0};
    case kAudioUnitProperty_CocoaUI:
      return {0, kPointer};
    case kAudioUnitProperty_PresentPreset:
    case kAudioUnitProperty_ParameterIDName:
    case kAudioUnitProperty_ParameterClumpName:
      return {kPointer};
    case kAudioUnitProperty_ParameterStringFromValue:
      return {2 * kPointer};
    default:
      return {};
  }
}

// VENEER_FUZZ_SHORT_OBJECT_GETS=1 lets gets of those properties be short too,
// to reproduce findings/properties-short-object-get-leak.
bool ShortObjectGets() {
  static const bool allowed = std::getenv("VENEER_FUZZ_SHORT_OBJECT_GETS") != nullptr;
  return allowed;
}

bool HandsOutObjects(AudioUnitPropertyID id) {
  return id == kAudioUnitProperty_ParameterInfo || !ReturnedReferences(id).empty();
}

void ReleaseAt(const std::vector<uint8_t>& buffer, size_t offset) {
  CFTypeRef ref = nullptr;
  if (offset + sizeof ref <= buffer.size()) {
    std::memcpy(&ref, buffer.data() + offset, sizeof ref);
    if (ref != nullptr) {
      CFRelease(ref);
    }
  }
}

void ReleaseReturned(AudioUnitPropertyID id, const std::vector<uint8_t>& buffer) {
  if (id == kAudioUnitProperty_ParameterInfo && buffer.size() >= sizeof(AudioUnitParameterInfo)) {
    AudioUnitParameterInfo info;
    std::memcpy(&info, buffer.data(), sizeof info);
    if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0) {
      ReleaseAt(buffer, offsetof(AudioUnitParameterInfo, cfNameString));
      if (info.unit == kAudioUnitParameterUnit_CustomUnit) {
        ReleaseAt(buffer, offsetof(AudioUnitParameterInfo, unitName));
      }
    }
    return;
  }
  for (const UInt32 offset : ReturnedReferences(id)) {
    ReleaseAt(buffer, offset);
  }
}

AudioUnitPropertyID TakePropertyId(Bytes& in) {
  switch (in.Below(8)) {
    case 5:
      return in.Flag() ? veneer::Veneer::kInnerUnitProperty : kLatencyNotice;
    case 6:
      return 1000 + in.Below(64);
    case 7:
      return in.Take<UInt32>();
    default:
      return in.Below(63);
  }
}

void OnPropertyChanged(void* /*refCon*/, AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                       AudioUnitElement element) {
  UInt32 size = 0;
  AudioUnitGetPropertyInfo(unit, id, scope, element, &size, nullptr);
}

// One input's Veneer, its host and the objects its payloads point at.
class Session {
 public:
  Session(AudioComponent veneer, Bytes& in) : in_(in) {
    if (AudioComponentInstanceNew(veneer, &unit_) != noErr) {
      fuzzing::Fail("Veneer did not open");
    }
    for (const AudioUnitPropertyID id : {kAudioUnitProperty_StreamFormat, kAudioUnitProperty_MaximumFramesPerSlice,
                                         kAudioUnitProperty_PresentPreset, kAudioUnitProperty_LastRenderError}) {
      AudioUnitAddPropertyListener(unit_, id, OnPropertyChanged, nullptr);
    }
    const AudioStreamBasicDescription format{
        .mSampleRate = 48000.0,
        .mFormatID = kAudioFormatLinearPCM,
        .mFormatFlags =
            static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked) | kAudioFormatFlagIsNonInterleaved,
        .mBytesPerPacket = 4,
        .mFramesPerPacket = 1,
        .mBytesPerFrame = 4,
        .mChannelsPerFrame = in.Flag() ? 1U : 2U,
        .mBitsPerChannel = 32,
        .mReserved = 0};
    for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output}) {
      AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat, scope, 0, &format, sizeof format);
    }
    const AURenderCallbackStruct callback = input_.Callback();
    AudioUnitSetProperty(unit_, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                         sizeof callback);
    if (AudioUnitInitialize(unit_) != noErr) {
      fuzzing::Fail("Veneer did not initialise");
    }
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    AudioComponentInstanceDispose(unit_);
    if (source_ != nullptr) {
      AudioComponentInstanceDispose(source_);
    }
  }

  void Operate() {
    const AudioUnitPropertyID id = TakePropertyId(in_);
    const AudioUnitScope scope = in_.Below(4) != 3 ? in_.Below(9) : in_.Take<UInt32>();
    const AudioUnitElement element = in_.Below(4) != 3 ? in_.Below(3) : in_.Take<UInt32>();
    UInt32 natural = kPointer;
    AudioUnitGetPropertyInfo(unit_, id, scope, element, &natural, nullptr);
    switch (in_.Below(4)) {
      case 0:
        Set(id, scope, element, natural);
        break;
      case 1:
        Get(id, scope, element, natural);
        break;
      case 2: {
        UInt32 size = 0;
        Boolean writable = false;
        AudioUnitGetPropertyInfo(unit_, id, scope, element, in_.Flag() ? &size : nullptr,
                                 in_.Flag() ? &writable : nullptr);
        break;
      }
      default:
        AudioUnitSetProperty(unit_, id, scope, element, nullptr, 0);
    }
  }

  void Render() {
    const UInt32 frames = in_.Below(4) == 3 ? in_.Below(5000) : 512;
    input_.SetMode(static_cast<fuzzing::HostInput::Mode>(in_.Below(fuzzing::HostInput::kModes)));
    fuzzing::RenderBlock(unit_, 0, frames, 0.0, in_.Flag());
  }

 private:
  UInt32 TakeSize(UInt32 natural) {
    switch (in_.Below(4)) {
      case 2:
        return in_.Below(65);
      case 3:
        return in_.Take<uint16_t>() % 4097;
      default:
        return natural;
    }
  }

  // A string, a number where a string belongs, or null; kept until the call is done.
  CFTypeRef Name() {
    switch (in_.Below(4)) {
      case 2:
        return nullptr;
      case 3:
        return Keep(fuzzing::CreateInt(1));
      default:
        return Keep(fuzzing::CreateText(in_.TakeSpan(in_.Below(24))));
    }
  }

  CFTypeRef PropertyList() {
    switch (in_.Below(5)) {
      case 0: {
        CFPropertyListRef own = nullptr;
        UInt32 size = sizeof own;
        AudioUnitGetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &own, &size);
        return Keep(own);
      }
      case 1:
        return Keep(
            CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
      case 2:
        return Name();
      case 3:
        return nullptr;
      default: {
        const auto bytes = in_.TakeSpan(in_.Below(64));
        return Keep(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
      }
    }
  }

  AudioUnit Source() {
    if (source_ == nullptr) {
      AudioComponentInstanceNew(fuzzing::StandInComponent(standin::Variant::kPro), &source_);
      AudioUnitInitialize(source_);
    }
    return source_;
  }

  CFTypeRef Keep(CFTypeRef ref) {
    kept_.emplace_back(ref);
    return ref;
  }

  // Writes `value` at `offset`; when it does not fit, what does is zeroed, so no part of a pointer is left.
  template <typename T>
  static void Write(std::vector<uint8_t>& payload, size_t offset, const T& value) {
    if (offset + sizeof value <= payload.size()) {
      std::memcpy(payload.data() + offset, &value, sizeof value);
    } else if (offset < payload.size()) {
      std::fill(payload.begin() + static_cast<std::ptrdiff_t>(offset), payload.end(), 0);
    }
  }

  void Set(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32 natural) {
    const Payload kind = PayloadOf(id);
    UInt32 size = kind == Payload::kHostCallbacks ? kPointer * in_.Below(7) : TakeSize(natural);
    std::vector<uint8_t> payload(size);
    if (kind == Payload::kRaw || kind == Payload::kConnection || kind == Payload::kPreset) {
      const auto bytes = in_.TakeSpan(size);
      std::copy(bytes.begin(), bytes.end(), payload.begin());
    }
    switch (kind) {
      case Payload::kPropertyList:
        Write(payload, 0, PropertyList());
        break;
      case Payload::kString:
        Write(payload, 0, Name());
        break;
      case Payload::kConnection:
        Write(payload, 0, in_.Flag() ? Source() : AudioUnit{nullptr});
        break;
      case Payload::kRenderCallback:
        Write(payload, 0, in_.Flag() ? input_.Callback() : AURenderCallbackStruct{nullptr, &input_});
        break;
      case Payload::kHostCallbacks: {
        const HostCallbackInfo info = fuzzing::HostCallbacks(in_.Take<uint8_t>(), in_.Flag() ? &input_ : nullptr);
        if (size > 0) {
          std::memcpy(payload.data(), &info, std::min<size_t>(size, sizeof info));
        }
        break;
      }
      case Payload::kPreset:
        Write(payload, offsetof(AUPreset, presetName), Name());
        break;
      default:
        break;
    }
    static uint8_t empty = 0;
    const void* data = size > 0 ? payload.data() : (in_.Flag() ? &empty : nullptr);
    AudioUnitSetProperty(unit_, id, scope, element, data, size);
    kept_.clear();
  }

  void Get(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32 natural) {
    switch (in_.Below(8)) {
      case 6: {
        UInt32 size = 0;
        AudioUnitGetProperty(unit_, id, scope, element, Absent<void>(), &size);
        return;
      }
      case 7: {
        uint8_t scratch[8] = {};
        AudioUnitGetProperty(unit_, id, scope, element, scratch, Absent<UInt32>());
        return;
      }
      default:
        break;
    }
    UInt32 size = TakeSize(natural);
    if (HandsOutObjects(id) && !ShortObjectGets()) {
      size = std::max(size, natural);
    }
    std::vector<uint8_t> buffer(size);
    if (PayloadOf(id) == Payload::kRaw) {
      const auto bytes = in_.TakeSpan(size);
      std::copy(bytes.begin(), bytes.end(), buffer.begin());
    } else if (id == kAudioUnitProperty_ParameterClumpName || id == kAudioUnitProperty_ParameterIDName) {
      Write(buffer, 0, in_.Take<AudioUnitParameterID>());
      Write(buffer, sizeof(AudioUnitParameterID), in_.Take<SInt32>());
    }
    static uint8_t empty = 0;
    UInt32 ioSize = size;
    const OSStatus status = AudioUnitGetProperty(unit_, id, scope, element, size > 0 ? buffer.data() : &empty, &ioSize);
    if (status != noErr) {
      return;
    }
    if (ioSize > size) {
      fuzzing::Fail("a get reported more bytes than the buffer given");
    }
    if (size >= natural) {
      ReleaseReturned(id, buffer);
    }
  }

  Bytes& in_;
  AudioUnit unit_ = nullptr;
  AudioUnit source_ = nullptr;
  fuzzing::HostInput input_{fuzzing::kTrackChannels, fuzzing::kTrackFrames, 48000.0};
  std::vector<CF> kept_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AudioComponent veneer = fuzzing::SetUpProcess();
  static const bool settingsWritten = [] {
    fuzzing::WriteSupportFile("plugin_state.txt", "seq=1\nappRunning=1\nkey=9\nscale=1\nretune=0.25\n");
    return true;
  }();
  static_cast<void>(settingsWritten);

  Bytes in(data, size);
  {
    Session session(veneer, in);
    for (int i = 0; i < kMostOperations && !in.Empty(); ++i) {
      session.Operate();
    }
    session.Render();
  }
  // Work the instances posted to the main queue that is due runs now, not in the next input.
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
  fuzzing::CheckProductsClosed();
  return 0;
}
