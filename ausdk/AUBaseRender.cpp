// AUBase on the render thread: the render and process entry points with their
// argument checks, the output buffer hand-over, render notifications, the last
// render error, input pulling and scheduled parameter events. Nothing here
// allocates or locks once the unit is initialized.
#include <mach/mach_time.h>

#include <algorithm>
#include <cfloat>
#include <cstdio>
#include <cstring>

#include "ausdk/AUBase.h"

namespace ausdk {
namespace {

// [render thread] Stores `timeStamp` as the current render time unless that sample time was
// rendered already; true when there is something to render.
bool TakeRenderTime(AudioTimeStamp& current, const AudioTimeStamp& timeStamp) {
  if (timeStamp.mSampleTime == current.mSampleTime) {
    return false;
  }
  current = timeStamp;
  return true;
}

// [render thread] The refusal of a buffer smaller than `expected` bytes: logged, then -50.
[[gnu::noinline, gnu::cold]] OSStatus RefuseBufferSize(const AudioStreamBasicDescription& format, UInt32 frames,
                                                       UInt32 expected, const char* listName, UInt32 index,
                                                       UInt32 size) {
  LogError("%u frames, %u bytes/frame, expected %u-byte buffer; %smBuffers[%u].mDataByteSize=%u; kAudio_ParamError",
           static_cast<unsigned>(frames), static_cast<unsigned>(format.mBytesPerFrame), static_cast<unsigned>(expected),
           listName, static_cast<unsigned>(index), static_cast<unsigned>(size));
  return kAudio_ParamError;
}

// [render thread] -50 (after logging) when a buffer with data is smaller than
// `frames` of `format`; `anyLonger` tells whether one holds more. Built into
// its callers: the render call checks its list every block.
[[gnu::always_inline]] inline OSStatus CheckBufferSizes(const AudioStreamBasicDescription& format, UInt32 frames,
                                                        const AudioBufferList& list, const char* listName,
                                                        bool& anyLonger) {
  const UInt32 expected = frames * format.mBytesPerFrame;
  anyLonger = false;
  for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
    const AudioBuffer& buffer = list.mBuffers[i];
    if (buffer.mData == nullptr) {
      continue;
    }
    if (buffer.mDataByteSize < expected) {
      return RefuseBufferSize(format, frames, expected, listName, i, buffer.mDataByteSize);
    }
    anyLonger = anyLonger || buffer.mDataByteSize != expected;
  }
  return noErr;
}

// The post-render notification's flags for a render that ended with `result`.
AudioUnitRenderActionFlags PostRenderFlags(AudioUnitRenderActionFlags flags, OSStatus result) {
  flags |= kAudioUnitRenderAction_PostRender;
  if (result != noErr) {
    flags |= kAudioUnitRenderAction_PostRenderError;
  }
  return flags;
}

// [render thread] The refusal of a render call for more frames than the slice
// allows, logged at most once a second.
[[gnu::noinline, gnu::cold]] OSStatus RefuseTooManyFrames(UInt64& lastMessageTime, double interval, UInt32 frames,
                                                          UInt32 maxFrames) {
  const UInt64 now = mach_absolute_time();
  if (static_cast<double>(now - lastMessageTime) > interval) {
    lastMessageTime = now;
    LogError("kAudioUnitErr_TooManyFramesToProcess : inFramesToProcess=%u, mMaxFramesPerSlice=%u",
             static_cast<unsigned>(frames), static_cast<unsigned>(maxFrames));
  }
  return kAudioUnitErr_TooManyFramesToProcess;
}

// [render thread] The refusal of a list with the wrong number of buffers: logged, then -50.
[[gnu::noinline, gnu::cold]] OSStatus RefuseBufferCount(UInt32 buffers, UInt32 streams) {
  LogError("ioData.mNumberBuffers=%u, ASBD::NumberChannelStreams(output.GetStreamFormat())=%u; kAudio_ParamError",
           static_cast<unsigned>(buffers), static_cast<unsigned>(streams));
  return kAudio_ParamError;
}

SInt64 EventStart(const AudioUnitParameterEvent& event) {
  // The immediate offset and the ramp start share one field, read as signed.
  return event.eventType == kParameterEvent_Ramped
             ? SInt64{event.eventValues.ramp.startBufferOffset}
             : SInt64{static_cast<SInt32>(event.eventValues.immediate.bufferOffset)};
}

SInt64 RampEnd(const AudioUnitParameterEvent& event) {
  return SInt64{event.eventValues.ramp.startBufferOffset} + SInt64{event.eventValues.ramp.durationInFrames};
}

}  // namespace

// ---- render notifications ----

OSStatus AUBase::SetRenderNotification(AURenderCallback inProc, void* inRefCon) {
  if (inProc == nullptr) {
    return kAudio_ParamError;
  }
  mRenderCallbacksTouched.store(true, std::memory_order_release);
  mRenderCallbacks.Add(RenderCallback{inProc, inRefCon});
  return noErr;
}

OSStatus AUBase::RemoveRenderNotification(AURenderCallback inProc, void* inRefCon) {
  mRenderCallbacks.Remove(RenderCallback{inProc, inRefCon});
  return noErr;
}

void AUBase::CallRenderNotifications(AudioUnitRenderActionFlags flags, const AudioTimeStamp& inTimeStamp,
                                     UInt32 inBusNumber, UInt32 inFramesToProcess, AudioBufferList& ioData) {
  for (const RenderCallback& callback : mRenderCallbacks) {
    callback.mRenderNotify(callback.mRenderNotifyRefCon, &flags, &inTimeStamp, inBusNumber, inFramesToProcess, &ioData);
  }
}

// ---- render errors ----

void AUBase::NoteRenderError(OSStatus err) {
  if (err == noErr) {
    return;
  }
  // Only the first error is kept until the host reads it.
  OSStatus expected = noErr;
  if (mLastRenderError.compare_exchange_strong(expected, err, std::memory_order_acq_rel)) {
    PropertyChanged(kAudioUnitProperty_LastRenderError, kAudioUnitScope_Global, 0);
  }
}

OSStatus AUBase::RenderErrorExit(OSStatus err, AudioUnitRenderActionFlags& ioActionFlags,
                                 const AudioTimeStamp& inTimeStamp, UInt32 inBusNumber, UInt32 inFramesToProcess,
                                 AudioBufferList& ioData) {
  LogError("  from %s, render err: %d", mLogString.c_str(), static_cast<int>(err));
  NoteRenderError(err);
  if (mRenderCallbacksTouched.load(std::memory_order_acquire)) {
    // Notifications added since the last render count here too, a refused first render included.
    mRenderCallbacks.Update();
    CallRenderNotifications(PostRenderFlags(ioActionFlags, err), inTimeStamp, inBusNumber, inFramesToProcess, ioData);
  }
  mParamEventList.clear();
  return err;
}

[[gnu::always_inline]] OSStatus AUBase::CheckRenderBuffers(const AudioStreamBasicDescription& format,
                                                           UInt32 inFramesToProcess, AudioBufferList& ioData,
                                                           const char* listName) {
  // Every size is checked before any is cut down, so a refused list is left as it came.
  bool anyLonger = false;
  if (const OSStatus result = CheckBufferSizes(format, inFramesToProcess, ioData, listName, anyLonger);
      result != noErr) {
    return result;
  }
  // Longer buffers are cut down, so nothing past the expected size is read or written.
  if (anyLonger) {
    const UInt32 expected = inFramesToProcess * format.mBytesPerFrame;
    for (UInt32 i = 0; i < ioData.mNumberBuffers; ++i) {
      if (ioData.mBuffers[i].mData != nullptr) {
        ioData.mBuffers[i].mDataByteSize = expected;
      }
    }
  }
  return noErr;
}

// ---- render ----

// Both halves of DoRender are built into it, its only caller: one frame and no
// argument shuffling for the block's fixed cost.
[[gnu::always_inline]] OSStatus AUBase::CheckRenderCall(UInt32 inBusNumber, UInt32 inFramesToProcess,
                                                        AudioBufferList& ioData, AUOutputElement*& outOutput) {
  if (!IsInitialized()) {
    return kAudioUnitErr_Uninitialized;
  }
  if (inFramesToProcess > mMaxFramesPerSlice) {
    return RefuseTooManyFrames(mLastTimeMessagePrinted, mHostTimeFrequency, inFramesToProcess, mMaxFramesPerSlice);
  }
  if (mUsesFixedBlockSize && inFramesToProcess != mMaxFramesPerSlice) {
    return kAudio_ParamError;
  }
  AUElement* element = mScopes[kAudioUnitScope_Output].GetElement(inBusNumber);
  if (element == nullptr) {
    return kAudioUnitErr_InvalidElement;  // outOutput stays null: no error exit for this one
  }
  auto& output = static_cast<AUOutputElement&>(*element);
  outOutput = &output;
  const AudioStreamBasicDescription& format = output.GetStreamFormat();
  const UInt32 streams = AUBufferList::NumberChannelStreams(format);
  if (ioData.mNumberBuffers != streams) {
    return RefuseBufferCount(ioData.mNumberBuffers, streams);
  }
  return CheckRenderBuffers(format, inFramesToProcess, ioData, "ioData.");
}

OSStatus AUBase::DoRender(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                          UInt32 inBusNumber, UInt32 inFramesToProcess, AudioBufferList& ioData) {
  OSStatus result = noErr;
  try {
    AUOutputElement* output = nullptr;
    if (const OSStatus refused = CheckRenderCall(inBusNumber, inFramesToProcess, ioData, output); refused != noErr) {
      if (output == nullptr && refused == kAudioUnitErr_InvalidElement) {
        return refused;
      }
      return RenderErrorExit(refused, ioActionFlags, inTimeStamp, inBusNumber, inFramesToProcess, ioData);
    }

    if (mWantsRenderThreadID) {
      mRenderThreadID.store(std::this_thread::get_id(), std::memory_order_release);
    }

    if (mRenderCallbacksTouched.load(std::memory_order_acquire)) {
      return RenderNotifying(ioActionFlags, inTimeStamp, inBusNumber, *output, inFramesToProcess, ioData);
    }
    result = DoRenderBus(ioActionFlags, inTimeStamp, inBusNumber, *output, inFramesToProcess, ioData);
    NoteRenderError(result);
    // Scheduled events belong to one render cycle.
    mParamEventList.clear();
    return result;
  } catch (const AUException& e) {
    result = e.mError;
  } catch (const OSStatus& err) {
    result = err;
  } catch (...) {
    result = -1;
  }
  return RenderErrorExit(result, ioActionFlags, inTimeStamp, inBusNumber, inFramesToProcess, ioData);
}

// Apart from DoRender, whose every block would otherwise keep all its
// arguments alive for the notifications after the render.
[[gnu::noinline]] OSStatus AUBase::RenderNotifying(AudioUnitRenderActionFlags& ioActionFlags,
                                                   const AudioTimeStamp& inTimeStamp, UInt32 inBusNumber,
                                                   AUOutputElement& output, UInt32 inFramesToProcess,
                                                   AudioBufferList& ioData) {
  mRenderCallbacks.Update();
  CallRenderNotifications(ioActionFlags | kAudioUnitRenderAction_PreRender, inTimeStamp, inBusNumber, inFramesToProcess,
                          ioData);
  const OSStatus result = DoRenderBus(ioActionFlags, inTimeStamp, inBusNumber, output, inFramesToProcess, ioData);
  NoteRenderError(result);
  CallRenderNotifications(PostRenderFlags(ioActionFlags, result), inTimeStamp, inBusNumber, inFramesToProcess, ioData);
  mParamEventList.clear();
  return result;
}

[[gnu::always_inline]] OSStatus AUBase::DoRenderBus(AudioUnitRenderActionFlags& ioActionFlags,
                                                    const AudioTimeStamp& inTimeStamp, UInt32 inBusNumber,
                                                    AUOutputElement& theOutput, UInt32 inNumberFrames,
                                                    AudioBufferList& ioData) {
  AUBufferList& ownList = theOutput.IOBuffer();
  const bool callerHasData = ioData.mNumberBuffers > 0 && ioData.mBuffers[0].mData != nullptr;
  // With several outputs an allocating element keeps its own memory, so that
  // rendering one bus does not leave the others pointing at the caller's.
  const bool useCallerBuffers =
      callerHasData && !(theOutput.WillAllocateBuffer() && mScopes[kAudioUnitScope_Output].GetNumberOfElements() >= 2);
  if (useCallerBuffers) {
    if (ownList.SetBufferListOrError(ioData) != noErr) {
      return -1;
    }
  } else {
    if (!theOutput.WillAllocateBuffer()) {
      return kAudioUnitErr_InvalidPropertyValue;
    }
    AudioBufferList* prepared = nullptr;
    const OSStatus status = theOutput.PrepareBufferOrError(inNumberFrames, prepared);
    if (status != noErr) {
      return status;
    }
  }

  const OSStatus result = RenderBus(ioActionFlags, inTimeStamp, inBusNumber, inNumberFrames);
  if (result != noErr) {
    if (useCallerBuffers) {
      ownList.InvalidateBufferList();
    }
    return result;
  }

  const AudioBufferList* rendered = ownList.GetBufferList();
  if (!callerHasData) {
    if (!ownList.IsValid()) {
      return -1;
    }
    // The caller gets pointers to this unit's memory, not copies of the samples.
    const UInt32 count = std::min(ioData.mNumberBuffers, rendered->mNumberBuffers);
    for (UInt32 i = 0; i < count; ++i) {
      ioData.mBuffers[i] = rendered->mBuffers[i];
    }
    return noErr;
  }

  for (UInt32 i = 0; i < ioData.mNumberBuffers; ++i) {
    AudioBuffer& destination = ioData.mBuffers[i];
    const AudioBuffer& source = rendered->mBuffers[i];
    if (source.mDataByteSize > 0 && (source.mData == nullptr || destination.mData == nullptr)) {
      ownList.InvalidateBufferList();
      return -1;
    }
    if (source.mData != destination.mData) {
      std::memmove(destination.mData, source.mData, source.mDataByteSize);
    }
    destination.mDataByteSize = source.mDataByteSize;
  }
  // No later pull may see the caller's memory.
  ownList.InvalidateBufferList();
  return noErr;
}

OSStatus AUBase::RenderBus(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                           UInt32 /*inBusNumber*/, UInt32 inNumberFrames) {
  // A second pull for the same sample time renders nothing.
  if (!TakeRenderTime(mCurrentRenderTime, inTimeStamp)) {
    return noErr;
  }
  return Render(ioActionFlags, inTimeStamp, inNumberFrames);
}

OSStatus AUBase::Render(AudioUnitRenderActionFlags& /*ioActionFlags*/, const AudioTimeStamp& /*inTimeStamp*/,
                        UInt32 /*inNumberFrames*/) {
  return noErr;
}

OSStatus AUBase::ComplexRender(AudioUnitRenderActionFlags& /*ioActionFlags*/, const AudioTimeStamp& /*inTimeStamp*/,
                               UInt32 /*inOutputBusNumber*/, UInt32 /*inNumberOfPackets*/,
                               UInt32* /*outNumberOfPackets*/, AudioStreamPacketDescription* /*outPacketDescriptions*/,
                               AudioBufferList& /*ioData*/, void* /*outMetadata*/, UInt32* /*outMetadataByteSize*/) {
  return kAudio_UnimplementedError;
}

void AUBase::ResetRenderTime() {
  mCurrentRenderTime = AudioTimeStamp{};
  // The most negative finite time, so that the first time stamp always differs.
  mCurrentRenderTime.mSampleTime = -DBL_MAX;
}

// ---- render thread identity ----

void AUBase::SetWantsRenderThreadID(bool wantsID) {
  mWantsRenderThreadID = wantsID;
  if (!wantsID) {
    mRenderThreadID.store(std::thread::id{}, std::memory_order_release);
  }
}

bool AUBase::InRenderThread() const {
  return mRenderThreadID.load(std::memory_order_acquire) == std::this_thread::get_id();
}

// ---- input ----

OSStatus AUBase::SetInputCallback(UInt32 inPropertyID, AudioUnitElement inElement, AURenderCallback inProc,
                                  void* inRefCon) {
  AUInputElement* input = Input(inElement);
  input->SetInputCallback(inProc, inRefCon);
  PropertyChanged(inPropertyID, kAudioUnitScope_Input, inElement);
  return noErr;
}

OSStatus AUBase::SetConnection(const AudioUnitConnection& inConnection) {
  AUInputElement* input = Input(inConnection.destInputNumber);
  if (inConnection.sourceAudioUnit != nullptr) {
    // The destination input takes the source output's format.
    AudioStreamBasicDescription sourceFormat{};
    UInt32 size = sizeof sourceFormat;
    OSStatus result =
        AudioUnitGetProperty(inConnection.sourceAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output,
                             inConnection.sourceOutputNumber, &sourceFormat, &size);
    if (result != noErr) {
      return result;
    }
    result = DispatchSetProperty(kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, inConnection.destInputNumber,
                                 &sourceFormat, sizeof sourceFormat);
    if (result != noErr) {
      return result;
    }
  }
  input->SetConnection(inConnection);
  PropertyChanged(kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, inConnection.destInputNumber);
  return noErr;
}

OSStatus AUBase::PullInput(UInt32 inBusNumber, AudioUnitRenderActionFlags& ioActionFlags,
                           const AudioTimeStamp& inTimeStamp, UInt32 inNumberFrames) {
  return Input(inBusNumber)->PullInput(ioActionFlags, inTimeStamp, inBusNumber, inNumberFrames);
}

// ---- scheduled parameters ----

OSStatus AUBase::ScheduleParameter(const AudioUnitParameterEvent* inParameterEvent, UInt32 inNumEvents) {
  const bool canSchedule = CanScheduleParameters();
  for (UInt32 i = 0; i < inNumEvents; ++i) {
    const AudioUnitParameterEvent& event = inParameterEvent[i];
    if (event.eventType == kParameterEvent_Immediate) {
      SetParameter(event.parameter, event.scope, event.element, event.eventValues.immediate.value,
                   event.eventValues.immediate.bufferOffset);
    }
    if (canSchedule) {
      mParamEventList.push_back(event);
    }
  }
  return noErr;
}

OSStatus AUBase::ProcessForScheduledParams(ParameterEventList& inParamList, UInt32 inFramesToProcess,
                                           void* inUserData) {
  std::sort(
      inParamList.begin(), inParamList.end(),
      [](const AudioUnitParameterEvent& a, const AudioUnitParameterEvent& b) { return EventStart(a) < EventStart(b); });

  const auto total = SInt64{inFramesToProcess};
  SInt64 sliceStart = 0;
  while (sliceStart < total) {
    // The slice ends at the next event start, or earlier at a ramp's end.
    SInt64 sliceEnd = total;
    for (const AudioUnitParameterEvent& event : inParamList) {
      const SInt64 start = EventStart(event);
      if (start > sliceStart && start < sliceEnd) {
        sliceEnd = start;
        break;  // sorted: later events start no earlier
      }
      if (event.eventType == kParameterEvent_Ramped) {
        const SInt64 end = RampEnd(event);
        if (end > sliceStart && end < sliceEnd) {
          sliceEnd = end;
        }
      }
    }

    const auto sliceFrames = static_cast<UInt32>(sliceEnd - sliceStart);
    for (const AudioUnitParameterEvent& event : inParamList) {
      const bool applies = event.eventType == kParameterEvent_Ramped
                               ? EventStart(event) < sliceEnd && RampEnd(event) > sliceStart
                               : EventStart(event) <= sliceStart;
      if (!applies) {
        continue;
      }
      AUScope* scope = event.scope < kNumScopes ? &mScopes[event.scope] : GetScopeExtended(event.scope);
      AUElement* element = scope != nullptr ? scope->GetElement(event.element) : nullptr;
      if (element != nullptr) {
        element->SetScheduledEvent(event.parameter, event, static_cast<UInt32>(sliceStart), sliceFrames);
      }
    }

    const OSStatus result =
        ProcessScheduledSlice(inUserData, static_cast<UInt32>(sliceStart), sliceFrames, inFramesToProcess);
    if (result != noErr) {
      return result;
    }
    sliceStart = sliceEnd;
  }
  return noErr;
}

// ---- in-place processing ----

OSStatus AUBase::ProcessBufferLists(AudioUnitRenderActionFlags& /*ioActionFlags*/, const AudioBufferList& /*inBuffer*/,
                                    AudioBufferList& /*outBuffer*/, UInt32 /*inFramesToProcess*/) {
  return kAudio_UnimplementedError;
}

OSStatus AUBase::ProcessMultipleBufferLists(AudioUnitRenderActionFlags& /*ioActionFlags*/, UInt32 /*inFramesToProcess*/,
                                            UInt32 /*inNumberInputBufferLists*/,
                                            const AudioBufferList** /*inInputBufferLists*/,
                                            UInt32 /*inNumberOutputBufferLists*/,
                                            AudioBufferList** /*ioOutputBufferLists*/) {
  return kAudio_UnimplementedError;
}

OSStatus AUBase::DoProcess(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                           UInt32 inFramesToProcess, AudioBufferList& ioData) {
  const auto errorExit = [this](OSStatus err) {
    LogError("  from %s, process err: %d", mLogString.c_str(), static_cast<int>(err));
    NoteRenderError(err);
    return err;
  };
  try {
    if ((ioActionFlags & kAudioUnitRenderAction_DoNotCheckRenderArgs) == 0) {
      if (!IsInitialized()) {
        return errorExit(kAudioUnitErr_Uninitialized);
      }
      if (inFramesToProcess > mMaxFramesPerSlice) {
        return errorExit(kAudioUnitErr_TooManyFramesToProcess);
      }
      if (mUsesFixedBlockSize && inFramesToProcess != mMaxFramesPerSlice) {
        return errorExit(kAudio_ParamError);
      }
      AUElement* element = mScopes[kAudioUnitScope_Input].GetElement(0);
      if (element == nullptr) {
        return kAudioUnitErr_InvalidElement;
      }
      const AudioStreamBasicDescription& format = static_cast<AUInputElement&>(*element).GetStreamFormat();
      const UInt32 streams = AUBufferList::NumberChannelStreams(format);
      if (ioData.mNumberBuffers != streams) {
        LogError("ioData.mNumberBuffers=%u, ASBD::NumberChannelStreams(input.GetStreamFormat())=%u; kAudio_ParamError",
                 static_cast<unsigned>(ioData.mNumberBuffers), static_cast<unsigned>(streams));
        return errorExit(kAudio_ParamError);
      }
      const OSStatus sizes = CheckRenderBuffers(format, inFramesToProcess, ioData, "ioData.");
      if (sizes != noErr) {
        return errorExit(sizes);
      }
    }

    if (mWantsRenderThreadID) {
      mRenderThreadID.store(std::this_thread::get_id(), std::memory_order_release);
    }
    if (!TakeRenderTime(mCurrentRenderTime, inTimeStamp)) {
      return noErr;
    }
    return ProcessBufferLists(ioActionFlags, ioData, ioData, inFramesToProcess);
  } catch (const AUException& e) {
    return errorExit(e.mError);
  } catch (const OSStatus& err) {
    return errorExit(err);
  } catch (...) {
    return errorExit(-1);
  }
}

OSStatus AUBase::DoProcessMultiple(AudioUnitRenderActionFlags& ioActionFlags, const AudioTimeStamp& inTimeStamp,
                                   UInt32 inFramesToProcess, UInt32 inNumberInputBufferLists,
                                   const AudioBufferList** inInputBufferLists, UInt32 inNumberOutputBufferLists,
                                   AudioBufferList** ioOutputBufferLists) {
  const auto errorExit = [this](OSStatus err) {
    LogError("  from %s, processmultiple err: %d", mLogString.c_str(), static_cast<int>(err));
    NoteRenderError(err);
    return err;
  };
  try {
    if ((ioActionFlags & kAudioUnitRenderAction_DoNotCheckRenderArgs) == 0) {
      if (!IsInitialized()) {
        return errorExit(kAudioUnitErr_Uninitialized);
      }
      if (inFramesToProcess > mMaxFramesPerSlice) {
        return errorExit(kAudioUnitErr_TooManyFramesToProcess);
      }
      if (mUsesFixedBlockSize && inFramesToProcess != mMaxFramesPerSlice) {
        return errorExit(kAudio_ParamError);
      }
      char listName[48];
      for (UInt32 i = 0; i < inNumberInputBufferLists; ++i) {
        const AudioBufferList* list = inInputBufferLists[i];
        if (list == nullptr) {
          continue;
        }
        AUElement* element = mScopes[kAudioUnitScope_Input].GetElement(i);
        if (element == nullptr) {
          return errorExit(kAudioUnitErr_InvalidElement);
        }
        const AudioStreamBasicDescription& format = static_cast<AUInputElement&>(*element).GetStreamFormat();
        const UInt32 streams = AUBufferList::NumberChannelStreams(format);
        if (list->mNumberBuffers != streams) {
          LogError(
              "inInputBufferLists[%u]->mNumberBuffers=%u, ASBD::NumberChannelStreams(input.GetStreamFormat())=%u; "
              "kAudio_ParamError",
              static_cast<unsigned>(i), static_cast<unsigned>(list->mNumberBuffers), static_cast<unsigned>(streams));
          return errorExit(kAudio_ParamError);
        }
        std::snprintf(listName, sizeof listName, "inInputBufferLists[%u].", static_cast<unsigned>(i));
        bool anyLonger = false;  // input lists are read, never cut
        const OSStatus sizes = CheckBufferSizes(format, inFramesToProcess, *list, listName, anyLonger);
        if (sizes != noErr) {
          return errorExit(sizes);
        }
      }
      for (UInt32 i = 0; i < inNumberOutputBufferLists; ++i) {
        AudioBufferList* list = ioOutputBufferLists[i];
        if (list == nullptr) {
          continue;
        }
        AUElement* element = mScopes[kAudioUnitScope_Output].GetElement(i);
        if (element == nullptr) {
          return errorExit(kAudioUnitErr_InvalidElement);
        }
        const AudioStreamBasicDescription& format = static_cast<AUOutputElement&>(*element).GetStreamFormat();
        const UInt32 streams = AUBufferList::NumberChannelStreams(format);
        if (list->mNumberBuffers != streams) {
          LogError(
              "ioOutputBufferLists[%u]->mNumberBuffers=%u, ASBD::NumberChannelStreams(output.GetStreamFormat())=%u; "
              "kAudio_ParamError",
              static_cast<unsigned>(i), static_cast<unsigned>(list->mNumberBuffers), static_cast<unsigned>(streams));
          return errorExit(kAudio_ParamError);
        }
        std::snprintf(listName, sizeof listName, "ioOutputBufferLists[%u]->", static_cast<unsigned>(i));
        const OSStatus sizes = CheckRenderBuffers(format, inFramesToProcess, *list, listName);
        if (sizes != noErr) {
          return errorExit(sizes);
        }
      }
    }

    if (mWantsRenderThreadID) {
      mRenderThreadID.store(std::this_thread::get_id(), std::memory_order_release);
    }
    if (!TakeRenderTime(mCurrentRenderTime, inTimeStamp)) {
      return noErr;
    }
    return ProcessMultipleBufferLists(ioActionFlags, inFramesToProcess, inNumberInputBufferLists, inInputBufferLists,
                                      inNumberOutputBufferLists, ioOutputBufferLists);
  } catch (const AUException& e) {
    return errorExit(e.mError);
  } catch (const OSStatus& err) {
    return errorExit(err);
  } catch (...) {
    return errorExit(-1);
  }
}

}  // namespace ausdk
