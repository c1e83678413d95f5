// The inner unit: ensuring one exists (creation moved to the main queue when
// the host calls from elsewhere), creating and configuring it, and following
// the host's stream format.
#include <dispatch/dispatch.h>
#include <dlfcn.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "shell/DebugLog.h"
#include "shell/LogTexts.h"
#include "shell/Veneer.h"

namespace veneer {
namespace {

constexpr UInt32 kInnerMaxFrames = 4096;
constexpr UInt32 kLargestChannelCount = 2;

std::string Status(OSStatus status) { return std::to_string(status); }

// "（耗时 <ms>ms）"
std::string Elapsed(long long ms) { return logtext::kElapsed + std::to_string(ms) + logtext::kElapsedEnd; }

// A rate truncated to a whole number; printed rather than cast, since a host may
// set rates no integer type holds.
std::string WholeNumber(Float64 value) {
  char text[400];
  std::snprintf(text, sizeof text, "%.0f", std::trunc(value));
  return text;
}

// The scale parameter's name as the inner unit reports it.
std::string ParameterName(AudioUnitParameterInfo& info) {
  if ((info.flags & kAudioUnitParameterFlag_HasCFNameString) != 0 && info.cfNameString != nullptr) {
    char name[128] = {};
    if (!CFStringGetCString(info.cfNameString, name, sizeof name, kCFStringEncodingUTF8)) {
      name[0] = '\0';
    }
    if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0) {
      CFRelease(info.cfNameString);
    }
    return name;
  }
  return {info.name, strnlen(info.name, sizeof info.name)};
}

OSStatus SetFormat(AudioUnit unit, AudioUnitScope scope, const AudioStreamBasicDescription& format) {
  return AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, scope, 0, &format, sizeof format);
}

}  // namespace

OSStatus Veneer::EnsureInnerUnit() {
  std::unique_lock lock(innerMutex_);
  if (innerUnit_.load() != nullptr || cleanedUp_.load()) {
    return noErr;
  }
  if (pthread_main_np() != 0) {
    const OSStatus status = CreateInnerUnit();
    lock.unlock();  // a listener may call back into the instance
    if (status == noErr) {
      AnnounceInnerUnit();
    }
    return status;
  }
  if (createPending_) {
    return noErr;  // one pending creation at a time
  }
  createPending_ = true;
  DebugLog(ThreadTag() + std::string(logtext::kCreateOnMainThread));
  // The posted work may run after this instance was closed: it reaches the
  // instance only through the token, which the destructor clears.
  auto* context = new std::shared_ptr<LifeToken>(lifeToken_);
  dispatch_async_f(dispatch_get_main_queue(), context, [](void* raw) {
    const std::unique_ptr<std::shared_ptr<LifeToken>> token(static_cast<std::shared_ptr<LifeToken>*>(raw));
    RunGuarded("main queue: inner unit creation", [&token] {
      const std::lock_guard alive((*token)->mutex);
      if ((*token)->self != nullptr) {
        (*token)->self->CreateInnerUnitOnMainThread();
      }
    });
  });
  return noErr;
}

void Veneer::CreateInnerUnitOnMainThread() {
  ExpectMainThread("CreateInnerUnitOnMainThread");
  std::unique_lock lock(innerMutex_);
  createPending_ = false;
  if (cleanedUp_.load() || innerUnit_.load() != nullptr) {
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  const OSStatus status = CreateInnerUnit();
  const auto ms =
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - start).count() / 1000000;
  if (status == noErr) {
    if (hostFormatValid_) {
      AudioUnit inner = innerUnit_.load();
      SetFormat(inner, kAudioUnitScope_Input, hostFormat_);
      SetFormat(inner, kAudioUnitScope_Output, hostFormat_);
      DebugLog(logtext::kCreatedWithFormat + Elapsed(ms));
    } else {
      DebugLog(logtext::kCreated + Elapsed(ms));
    }
  } else {
    DebugLog(logtext::kCreateFailed + Status(status) + Elapsed(ms));
  }
  lock.unlock();  // a listener may call back into the instance
  if (status == noErr) {
    AnnounceInnerUnit();
  }
}

OSStatus Veneer::CreateInnerUnit() {
  ExpectMainThread("CreateInnerUnit");
  if (Dl_info image{}; dladdr(static_cast<const void*>(&kVariants), &image) != 0 && image.dli_fname != nullptr) {
    DebugLog(std::string(logtext::kComponentPath) + image.dli_fname);
  }

  const VariantInfo* variant = variant_.load();
  AudioComponent component = DiscoverInnerComponent(variant);
  if (component == nullptr) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  variant_.store(variant);

  const AURenderCallbackStruct callback{InnerInputProc, this};
  if (gRetiredInner.load() != nullptr && gRetiredVariant.load() == variant) {
    AudioUnit inner = gRetiredInner.exchange(nullptr);
    innerUnit_.store(inner);
    AudioUnitSetProperty(inner, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                         sizeof callback);
    AudioUnitSetProperty(inner, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &kInnerMaxFrames,
                         sizeof kInnerMaxFrames);
    if (hostFormatValid_) {
      SetFormat(inner, kAudioUnitScope_Input, hostFormat_);
      SetFormat(inner, kAudioUnitScope_Output, hostFormat_);
    }
    DebugLog(std::string(logtext::kReusingRetired) + variant->name);
    return noErr;
  }

  AudioUnit inner = nullptr;
  if (const OSStatus status = AudioComponentInstanceNew(component, &inner); status != noErr) {
    DebugLog(logtext::kCreateFailedInstanceNew + Status(status));
    return status;
  }
  innerUnit_.store(inner);

  // Formats, input callback, slice size and initialise; any failure disposes the instance.
  const auto configure = [&]() -> OSStatus {
    const AudioStreamBasicDescription format = Output(0)->GetStreamFormat();
    if (const OSStatus status = SetFormat(inner, kAudioUnitScope_Input, format); status != noErr) {
      DebugLog(logtext::kCreateFailedInputFormat + Status(status));
      return status;
    }
    if (const OSStatus status = SetFormat(inner, kAudioUnitScope_Output, format); status != noErr) {
      DebugLog(logtext::kCreateFailedOutputFormat + Status(status));
      return status;
    }
    if (const OSStatus status = AudioUnitSetProperty(inner, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input,
                                                     0, &callback, sizeof callback);
        status != noErr) {
      DebugLog(logtext::kCreateFailedRenderCallback + Status(status));
      return status;
    }
    if (const OSStatus status =
            AudioUnitSetProperty(inner, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                                 &kInnerMaxFrames, sizeof kInnerMaxFrames);
        status != noErr) {
      DebugLog(logtext::kCreateFailedMaximumFrames + Status(status));
      return status;
    }
    if (const OSStatus status = AudioUnitInitialize(inner); status != noErr) {
      DebugLog(logtext::kCreateFailedInitialize + Status(status));
      if (status != kAudioUnitErr_Initialized) {
        return status;
      }
    }
    return noErr;
  };
  if (const OSStatus status = configure(); status != noErr) {
    DebugLog(logtext::kCreateFailedAfterInitialize + Status(status));
    DebugLog(logtext::kCreateFailedReleasing + Status(status));
    AudioComponentInstanceDispose(inner);
    innerUnit_.store(nullptr);
    return status;
  }

  // A known starting state, only where the product has the parameter.
  const auto force = [&](AudioUnitParameterID id, AudioUnitParameterValue value) {
    if (id != kNoParam) {
      AudioUnitSetParameter(inner, id, kAudioUnitScope_Global, 0, value, 0);
    }
  };
  force(variant->correctionModeParam, 0.0F);
  force(variant->classicModeParam, 0.0F);
  force(variant->forceOneParam, 1.0F);
  force(variant->forceZeroParam, 0.0F);
  if (variant->correctionModeParam != kNoParam) {
    AudioUnitParameterValue value = 0;
    if (AudioUnitGetParameter(inner, variant->correctionModeParam, kAudioUnitScope_Global, 0, &value) == noErr) {
      DebugLog(logtext::kCorrectionModeForced + std::to_string(value));
    }
  }

  // Does the product's scale parameter still carry the name we expect?
  keyModeAccepted_.store(true);
  if (variant->scaleParam != kNoParam) {
    AudioUnitParameterInfo info{};
    UInt32 size = sizeof info;
    if (AudioUnitGetProperty(inner, kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, variant->scaleParam,
                             &info, &size) != noErr) {
      keyModeAccepted_.store(false);
      DebugLog(logtext::kScaleCheckUnreadable + std::to_string(variant->scaleParam));
    } else if (const std::string name = ParameterName(info); name == variant->scaleParamName) {
      DebugLog(logtext::kScaleCheckPassed + std::to_string(variant->scaleParam) + " = " + name);
    } else {
      keyModeAccepted_.store(false);
      DebugLog(logtext::kScaleCheckMismatch + std::string(variant->scaleParamName) +
               logtext::kScaleCheckMismatchActual + name + logtext::kScaleCheckMismatchEnd);
    }
  }

  Float64 innerLatency = 0;
  UInt32 size = sizeof innerLatency;
  if (AudioUnitGetProperty(inner, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &innerLatency, &size) ==
      noErr) {
    // What the product reports is not used: the shell's own figures are.
    latencySeconds_.store(LatencyFor(Output(0)->GetStreamFormat().mSampleRate));
  }
  return noErr;
}

OSStatus Veneer::ChangeStreamFormat(AudioUnitScope inScope, AudioUnitElement inElement,
                                    const AudioStreamBasicDescription& inPrevFormat,
                                    const AudioStreamBasicDescription& inNewFormat) {
  if (inNewFormat.mChannelsPerFrame > kLargestChannelCount) {
    return kAudioUnitErr_FormatNotSupported;
  }
  const OSStatus baseStatus = AUBase::ChangeStreamFormat(inScope, inElement, inPrevFormat, inNewFormat);
  if (inScope == kAudioUnitScope_Output) {
    const std::lock_guard lock(innerMutex_);
    hostFormat_ = inNewFormat;
    hostFormatValid_ = true;
  }
  DebugLog(ThreadTag() + std::string(logtext::kFormatChange) + std::to_string(inScope) +
           " ch=" + std::to_string(inNewFormat.mChannelsPerFrame) + " rate=" + WholeNumber(inNewFormat.mSampleRate) +
           " baseErr=" + Status(baseStatus));
  if (baseStatus != noErr) {
    return baseStatus;
  }
  if (const OSStatus ensured = EnsureInnerUnit(); ensured != noErr) {
    DebugLog(logtext::kFormatChangeEnsureFailed + Status(ensured));
  }
  AudioUnit inner = innerUnit_.load();
  if (inner != nullptr && inScope == kAudioUnitScope_Output) {
    latencySeconds_.store(LatencyFor(inNewFormat.mSampleRate));
    SetFormat(inner, kAudioUnitScope_Input, inNewFormat);
    SetFormat(inner, kAudioUnitScope_Output, inNewFormat);
    DebugLog(logtext::kFormatChanged);
  }
  return noErr;
}

}  // namespace veneer
