// Method functions: argument checks, the optional instance lock, the call into
// AUBase and the conversion of exceptions, in that order.
#include "ausdk/AUPlugInDispatch.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include "ausdk/AUBase.h"
#include "ausdk/AUUtility.h"

namespace ausdk {
namespace {

AUBase* AUI(void* self) {
  auto* acpi = static_cast<AudioComponentPlugInInstance*>(self);
  return static_cast<AUBase*>(reinterpret_cast<ComponentBase*>(&acpi->mInstanceStorage));
}

// Holds the unit's instance lock, when one is installed, for the call.
class InstanceLock {
 public:
  explicit InstanceLock(AUBase* unit) : mutex_(unit->GetMutex()) {
    if (mutex_ != nullptr) {
      mutex_->lock();
    }
  }
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;
  ~InstanceLock() {
    if (mutex_ != nullptr) {
      mutex_->unlock();
    }
  }

 private:
  AUMutex* mutex_;
};

template <typename Body>
OSStatus Locked(void* self, Body&& body) {
  return CatchExceptions([&] {
    AUBase* unit = AUI(self);
    const InstanceLock lock(unit);
    return body(unit);
  });
}

template <typename Body>
OSStatus Unlocked(void* self, Body&& body) {
  return CatchExceptions([&] { return body(AUI(self)); });
}

bool IsFinite(AudioUnitParameterValue value) { return std::isfinite(value); }

}  // namespace

OSStatus AUMethodInitialize(void* self) {
  return Locked(self, [](AUBase* unit) { return unit->DoInitialize(); });
}

OSStatus AUMethodUninitialize(void* self) {
  return Locked(self, [](AUBase* unit) {
    unit->DoCleanup();
    return OSStatus{noErr};
  });
}

OSStatus AUMethodGetPropertyInfo(void* self, AudioUnitPropertyID prop, AudioUnitScope scope, AudioUnitElement elem,
                                 UInt32* outDataSize, Boolean* outWritable) {
  return Locked(self, [&](AUBase* unit) {
    UInt32 dataSize = 0;
    bool writable = false;
    const OSStatus result = unit->DispatchGetPropertyInfo(prop, scope, elem, dataSize, writable);
    if (result == noErr) {
      if (outDataSize != nullptr) {
        *outDataSize = dataSize;
      }
      if (outWritable != nullptr) {
        *outWritable = static_cast<Boolean>(writable);
      }
    }
    return result;
  });
}

OSStatus AUMethodGetProperty(void* self, AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                             void* outData, UInt32* ioDataSize) {
  return Locked(self, [&](AUBase* unit) {
    if (ioDataSize == nullptr) {
      LogError("AudioUnitGetProperty: null size pointer");
      return OSStatus{kAudio_ParamError};
    }
    UInt32 actualSize = 0;
    bool writable = false;
    if (outData == nullptr) {
      const OSStatus result = unit->DispatchGetPropertyInfo(inID, inScope, inElement, actualSize, writable);
      *ioDataSize = actualSize;
      return result;
    }
    const UInt32 clientSize = *ioDataSize;
    if (clientSize == 0) {
      LogError("AudioUnitGetProperty: *ioDataSize == 0 on entry");
      return OSStatus{kAudio_ParamError};
    }
    OSStatus result = unit->DispatchGetPropertyInfo(inID, inScope, inElement, actualSize, writable);
    if (result != noErr) {
      return result;
    }
    // A client buffer smaller than the value gets its first bytes, through a
    // temporary of the full size.
    std::unique_ptr<std::byte[]> temporary;
    void* destination = outData;
    if (clientSize < actualSize) {
      temporary = std::make_unique<std::byte[]>(actualSize);  // zero-filled
      destination = temporary.get();
    }
    // Converted here, so that a throwing get also leaves the host a size of 0.
    result = CatchExceptions([&] { return unit->DispatchGetProperty(inID, inScope, inElement, destination); });
    if (result != noErr) {
      *ioDataSize = 0;
      return result;
    }
    if (temporary) {
      std::memcpy(outData, temporary.get(), clientSize);
    } else {
      *ioDataSize = actualSize;
    }
    return result;
  });
}

OSStatus AUMethodSetProperty(void* self, AudioUnitPropertyID inID, AudioUnitScope inScope, AudioUnitElement inElement,
                             const void* inData, UInt32 inDataSize) {
  return Locked(self, [&](AUBase* unit) {
    if (inData != nullptr && inDataSize != 0) {
      return unit->DispatchSetProperty(inID, inScope, inElement, inData, inDataSize);
    }
    if (inData == nullptr && inDataSize == 0) {
      return unit->DispatchRemovePropertyValue(inID, inScope, inElement);
    }
    if (inData == nullptr) {
      LogError("AudioUnitSetProperty: inData == NULL");
      return OSStatus{kAudio_ParamError};
    }
    LogError("AudioUnitSetProperty: inDataSize == 0");
    return OSStatus{kAudio_ParamError};
  });
}

OSStatus AUMethodAddPropertyListener(void* self, AudioUnitPropertyID prop, AudioUnitPropertyListenerProc proc,
                                     void* userData) {
  return Locked(self, [&](AUBase* unit) { return unit->AddPropertyListener(prop, proc, userData); });
}

OSStatus AUMethodRemovePropertyListener(void* self, AudioUnitPropertyID prop, AudioUnitPropertyListenerProc proc) {
  return Locked(self, [&](AUBase* unit) { return unit->RemovePropertyListener(prop, proc, nullptr, false); });
}

OSStatus AUMethodRemovePropertyListenerWithUserData(void* self, AudioUnitPropertyID prop,
                                                    AudioUnitPropertyListenerProc proc, void* userData) {
  return Locked(self, [&](AUBase* unit) { return unit->RemovePropertyListener(prop, proc, userData, true); });
}

OSStatus AUMethodAddRenderNotify(void* self, AURenderCallback proc, void* userData) {
  return Locked(self, [&](AUBase* unit) { return unit->SetRenderNotification(proc, userData); });
}

OSStatus AUMethodRemoveRenderNotify(void* self, AURenderCallback proc, void* userData) {
  return Locked(self, [&](AUBase* unit) { return unit->RemoveRenderNotification(proc, userData); });
}

OSStatus AUMethodGetParameter(void* self, AudioUnitParameterID param, AudioUnitScope scope, AudioUnitElement elem,
                              AudioUnitParameterValue* value) {
  return Unlocked(self, [&](AUBase* unit) {
    if (value == nullptr) {
      return OSStatus{kAudio_ParamError};
    }
    return unit->GetParameter(param, scope, elem, *value);
  });
}

OSStatus AUMethodSetParameter(void* self, AudioUnitParameterID param, AudioUnitScope scope, AudioUnitElement elem,
                              AudioUnitParameterValue value, UInt32 bufferOffset) {
  return Unlocked(self, [&](AUBase* unit) {
    if (!IsFinite(value)) {
      return OSStatus{kAudioUnitErr_InvalidParameterValue};
    }
    return unit->SetParameter(param, scope, elem, value, bufferOffset);
  });
}

OSStatus AUMethodScheduleParameters(void* self, const AudioUnitParameterEvent* events, UInt32 numEvents) {
  return Unlocked(self, [&](AUBase* unit) {
    if (events == nullptr && numEvents > 0) {
      return OSStatus{kAudio_ParamError};
    }
    // One bad value refuses the whole batch before anything is applied.
    for (UInt32 i = 0; i < numEvents; ++i) {
      const AudioUnitParameterEvent& event = events[i];
      if (event.eventType == kParameterEvent_Immediate) {
        if (!IsFinite(event.eventValues.immediate.value)) {
          return OSStatus{kAudioUnitErr_InvalidParameterValue};
        }
      } else if (event.eventType == kParameterEvent_Ramped) {
        if (!IsFinite(event.eventValues.ramp.startValue) || !IsFinite(event.eventValues.ramp.endValue)) {
          return OSStatus{kAudioUnitErr_InvalidParameterValue};
        }
      }
    }
    return unit->ScheduleParameter(events, numEvents);
  });
}

namespace {

// The host's action flags, or `local` when it passed none. The unit writes
// through the reference returned (the check misses that).
// NOLINTNEXTLINE(readability-non-const-parameter)
AudioUnitRenderActionFlags& FlagsOrLocal(AudioUnitRenderActionFlags* hostFlags, AudioUnitRenderActionFlags& local) {
  return hostFlags != nullptr ? *hostFlags : local;
}

}  // namespace

OSStatus AUMethodRender(void* self, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                        UInt32 inOutputBusNumber, UInt32 inNumberFrames, AudioBufferList* ioData) {
  return Unlocked(self, [&](AUBase* unit) {
    if (inTimeStamp == nullptr || ioData == nullptr) {
      return OSStatus{kAudio_ParamError};
    }
    AudioUnitRenderActionFlags localFlags = 0;
    AudioUnitRenderActionFlags& flags = FlagsOrLocal(ioActionFlags, localFlags);
    return unit->DoRender(flags, *inTimeStamp, inOutputBusNumber, inNumberFrames, *ioData);
  });
}

OSStatus AUMethodComplexRender(void* self, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                               UInt32 inOutputBusNumber, UInt32 inNumberOfPackets, UInt32* outNumberOfPackets,
                               AudioStreamPacketDescription* outPacketDescriptions, AudioBufferList* ioData,
                               void* outMetadata, UInt32* outMetadataByteSize) {
  return Unlocked(self, [&](AUBase* unit) {
    if (inTimeStamp == nullptr || ioData == nullptr) {
      return OSStatus{kAudio_ParamError};
    }
    AudioUnitRenderActionFlags localFlags = 0;
    AudioUnitRenderActionFlags& flags = FlagsOrLocal(ioActionFlags, localFlags);
    return unit->ComplexRender(flags, *inTimeStamp, inOutputBusNumber, inNumberOfPackets, outNumberOfPackets,
                               outPacketDescriptions, *ioData, outMetadata, outMetadataByteSize);
  });
}

OSStatus AUMethodReset(void* self, AudioUnitScope scope, AudioUnitElement elem) {
  return Locked(self, [&](AUBase* unit) { return unit->DoReset(scope, elem); });
}

OSStatus AUMethodProcess(void* self, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
                         UInt32 inNumberFrames, AudioBufferList* ioData) {
  return Unlocked(self, [&](AUBase* unit) {
    if (inTimeStamp == nullptr || ioData == nullptr) {
      return OSStatus{kAudio_ParamError};
    }
    AudioUnitRenderActionFlags localFlags = 0;
    AudioUnitRenderActionFlags& flags = FlagsOrLocal(ioActionFlags, localFlags);
    return unit->DoProcess(flags, *inTimeStamp, inNumberFrames, *ioData);
  });
}

OSStatus AUMethodProcessMultiple(void* self, AudioUnitRenderActionFlags* ioActionFlags,
                                 const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames,
                                 UInt32 inNumberInputBufferLists, const AudioBufferList** inInputBufferLists,
                                 UInt32 inNumberOutputBufferLists, AudioBufferList** ioOutputBufferLists) {
  return Unlocked(self, [&](AUBase* unit) {
    if (inTimeStamp == nullptr || (inNumberInputBufferLists > 0 && inInputBufferLists == nullptr) ||
        (inNumberOutputBufferLists > 0 && ioOutputBufferLists == nullptr)) {
      return OSStatus{kAudio_ParamError};
    }
    AudioUnitRenderActionFlags localFlags = 0;
    AudioUnitRenderActionFlags& flags = FlagsOrLocal(ioActionFlags, localFlags);
    return unit->DoProcessMultiple(flags, *inTimeStamp, inNumberFrames, inNumberInputBufferLists, inInputBufferLists,
                                   inNumberOutputBufferLists, ioOutputBufferLists);
  });
}

OSStatus AUMethodStart(void* self) {
  return Locked(self, [](AUBase* unit) { return unit->Start(); });
}

OSStatus AUMethodStop(void* self) {
  return Locked(self, [](AUBase* unit) { return unit->Stop(); });
}

OSStatus AUMethodMIDIEvent(void* self, UInt32 inStatus, UInt32 inData1, UInt32 inData2, UInt32 inOffsetSampleFrame) {
  return Unlocked(self, [&](AUBase* unit) { return unit->MIDIEvent(inStatus, inData1, inData2, inOffsetSampleFrame); });
}

OSStatus AUMethodSysEx(void* self, const UInt8* inData, UInt32 inLength) {
  return Unlocked(self, [&](AUBase* unit) { return unit->SysEx(inData, inLength); });
}

OSStatus AUMethodMIDIEventList(void* self, UInt32 inOffsetSampleFrame, const struct MIDIEventList* eventList) {
  return Unlocked(self, [&](AUBase* unit) {
    if (eventList == nullptr) {
      return OSStatus{kAudio_ParamError};
    }
    return unit->MIDIEventList(inOffsetSampleFrame, eventList);
  });
}

OSStatus AUMethodPrepareInstrument(void* /*self*/, MusicDeviceInstrumentID /*inInstrument*/) { return noErr; }

OSStatus AUMethodReleaseInstrument(void* /*self*/, MusicDeviceInstrumentID /*inInstrument*/) { return noErr; }

OSStatus AUMethodStartNote(void* self, MusicDeviceInstrumentID inInstrument, MusicDeviceGroupID inGroupID,
                           NoteInstanceID* outNoteInstanceID, UInt32 inOffsetSampleFrame,
                           const MusicDeviceNoteParams* inParams) {
  return Unlocked(self, [&](AUBase* unit) {
    if (inParams == nullptr) {
      return OSStatus{kAudio_ParamError};
    }
    return unit->StartNote(inInstrument, inGroupID, outNoteInstanceID, inOffsetSampleFrame, *inParams);
  });
}

OSStatus AUMethodStopNote(void* self, MusicDeviceGroupID inGroupID, NoteInstanceID inNoteInstanceID,
                          UInt32 inOffsetSampleFrame) {
  return Unlocked(self, [&](AUBase* unit) { return unit->StopNote(inGroupID, inNoteInstanceID, inOffsetSampleFrame); });
}

// ---- lookups ----

namespace {

// A method as the platform's generic type. The cast is not a constant
// expression, so the table below holds the functions that make it instead:
// their addresses are, and the table is then part of the image, never filled
// by code that runs while the module loads (a lookup before that would find
// it empty). constinit has the compiler refuse any other initialiser.
using MethodMaker = AudioComponentMethod (*)() noexcept;

template <auto Function>
AudioComponentMethod Method() noexcept {
  return reinterpret_cast<AudioComponentMethod>(Function);  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
}

// The dense range, selectors 1 to 18, indexed by selector - 1; 8, 12 and 13 are
// not served.
constinit const std::array<MethodMaker, 18> kBaseMethods = {
    &Method<AUMethodInitialize>,                          // 1
    &Method<AUMethodUninitialize>,                        // 2
    &Method<AUMethodGetPropertyInfo>,                     // 3
    &Method<AUMethodGetProperty>,                         // 4
    &Method<AUMethodSetProperty>,                         // 5
    &Method<AUMethodGetParameter>,                        // 6
    &Method<AUMethodSetParameter>,                        // 7
    nullptr,                                              // 8
    &Method<AUMethodReset>,                               // 9
    &Method<AUMethodAddPropertyListener>,                 // 10
    &Method<AUMethodRemovePropertyListener>,              // 11
    nullptr,                                              // 12
    nullptr,                                              // 13
    &Method<AUMethodRender>,                              // 14
    &Method<AUMethodAddRenderNotify>,                     // 15
    &Method<AUMethodRemoveRenderNotify>,                  // 16
    &Method<AUMethodScheduleParameters>,                  // 17
    &Method<AUMethodRemovePropertyListenerWithUserData>,  // 18
};
AudioComponentMethod BaseMethod(SInt16 selector) {
  if (selector >= 1 && selector <= 18) {
    if (const MethodMaker method = kBaseMethods[selector - 1]; method != nullptr) {
      return method();
    }
  }
  return nullptr;
}

AudioComponentMethod OutputMethod(SInt16 selector) {
  switch (selector) {
    case kAudioOutputUnitStartSelect:
      return Method<AUMethodStart>();
    case kAudioOutputUnitStopSelect:
      return Method<AUMethodStop>();
    default:
      return nullptr;
  }
}

AudioComponentMethod MIDIMethod(SInt16 selector) {
  switch (selector) {
    case kMusicDeviceMIDIEventSelect:
      return Method<AUMethodMIDIEvent>();
    case kMusicDeviceSysExSelect:
      return Method<AUMethodSysEx>();
    case kMusicDeviceMIDIEventListSelect:
      return Method<AUMethodMIDIEventList>();
    default:
      return nullptr;
  }
}

AudioComponentMethod MusicMethod(SInt16 selector) {
  switch (selector) {
    case kMusicDevicePrepareInstrumentSelect:
      return Method<AUMethodPrepareInstrument>();
    case kMusicDeviceReleaseInstrumentSelect:
      return Method<AUMethodReleaseInstrument>();
    case kMusicDeviceStartNoteSelect:
      return Method<AUMethodStartNote>();
    case kMusicDeviceStopNoteSelect:
      return Method<AUMethodStopNote>();
    default:
      return nullptr;
  }
}

AudioComponentMethod ProcessMethod(SInt16 selector) {
  return selector == kAudioUnitProcessSelect ? Method<AUMethodProcess>() : nullptr;
}

AudioComponentMethod ProcessMultipleMethod(SInt16 selector) {
  return selector == kAudioUnitProcessMultipleSelect ? Method<AUMethodProcessMultiple>() : nullptr;
}

AudioComponentMethod ComplexRenderMethod(SInt16 selector) {
  return selector == kAudioUnitComplexRenderSelect ? Method<AUMethodComplexRender>() : nullptr;
}

// The first table that serves the selector.
template <typename... Tables>
AudioComponentMethod FirstOf(SInt16 selector, Tables... tables) {
  AudioComponentMethod method = nullptr;
  ((method = method != nullptr ? method : tables(selector)), ...);
  return method;
}

}  // namespace

AudioComponentMethod AUBaseLookup::Lookup(SInt16 selector) { return BaseMethod(selector); }

AudioComponentMethod AUOutputLookup::Lookup(SInt16 selector) { return FirstOf(selector, BaseMethod, OutputMethod); }

AudioComponentMethod AUComplexOutputLookup::Lookup(SInt16 selector) {
  return FirstOf(selector, BaseMethod, OutputMethod, ComplexRenderMethod);
}

AudioComponentMethod AUBaseProcessLookup::Lookup(SInt16 selector) {
  return FirstOf(selector, BaseMethod, ProcessMethod);
}

AudioComponentMethod AUBaseProcessMultipleLookup::Lookup(SInt16 selector) {
  return FirstOf(selector, BaseMethod, ProcessMultipleMethod);
}

AudioComponentMethod AUBaseProcessAndMultipleLookup::Lookup(SInt16 selector) {
  return FirstOf(selector, BaseMethod, ProcessMethod, ProcessMultipleMethod);
}

AudioComponentMethod AUMIDILookup::Lookup(SInt16 selector) { return FirstOf(selector, BaseMethod, MIDIMethod); }

AudioComponentMethod AUMIDIProcessLookup::Lookup(SInt16 selector) {
  return FirstOf(selector, BaseMethod, MIDIMethod, ProcessMethod);
}

AudioComponentMethod AUMusicLookup::Lookup(SInt16 selector) {
  return FirstOf(selector, BaseMethod, MIDIMethod, MusicMethod);
}

}  // namespace ausdk
