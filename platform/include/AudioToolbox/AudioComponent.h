/* Audio components: registration, discovery and instances. */
#ifndef VENEER_PLATFORM_AUDIOCOMPONENT_H
#define VENEER_PLATFORM_AUDIOCOMPONENT_H

/* A system header, as the platform's are: its nullability marks (a clang
   extension, and all or nothing per header) are checked at the calls, not here. */
#if defined(__clang__)
#pragma clang system_header
#endif

#include <CoreAudioTypes/CoreAudioTypes.h>
#include <CoreFoundation/CFBase.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef AUDIOTOOLBOX_EXPORT
#ifdef __cplusplus
#define AUDIOTOOLBOX_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define AUDIOTOOLBOX_EXPORT extern __attribute__((visibility("default")))
#endif
#endif

typedef CF_OPTIONS(UInt32, AudioComponentFlags) {
  kAudioComponentFlag_Unsearchable = 1,
  kAudioComponentFlag_SandboxSafe = 2,
  kAudioComponentFlag_IsV3AudioUnit = 4,
  kAudioComponentFlag_RequiresAsyncInstantiation = 8,
  kAudioComponentFlag_CanLoadInProcess = 0x10
};

typedef CF_OPTIONS(UInt32, AudioComponentInstantiationOptions) {
  kAudioComponentInstantiation_LoadOutOfProcess = 1,
  kAudioComponentInstantiation_LoadInProcess = 2,
  /* An iOS option: refused here as on macOS. */
  kAudioComponentInstantiation_LoadedRemotely __attribute__((unavailable("not available on macOS"))) = 1U << 31
};

/* Identifies a component, or, in a search, which components match: a zero
   type, subtype or manufacturer matches any, and the flags are compared
   under componentFlagsMask. 20 bytes. */
struct AudioComponentDescription {
  OSType componentType;
  OSType componentSubType;
  OSType componentManufacturer;
  UInt32 componentFlags;
  UInt32 componentFlagsMask;
};
typedef struct AudioComponentDescription AudioComponentDescription;

typedef struct OpaqueAudioComponent* AudioComponent;
typedef struct ComponentInstanceRecord* AudioComponentInstance;

/* A component's method; callers cast it to the selector's own function type. */
typedef OSStatus (*AudioComponentMethod)(void* self, ...);

/* What a component's factory returns. The system calls Open once after the
   factory, Lookup for every call, and Close at disposal. */
struct AudioComponentPlugInInterface {
  OSStatus (*Open)(void* self, AudioComponentInstance mInstance);
  OSStatus (*Close)(void* self);
  AudioComponentMethod (*Lookup)(SInt16 selector);
  void* reserved;
};
typedef struct AudioComponentPlugInInterface AudioComponentPlugInInterface;

typedef AudioComponentPlugInInterface* (*AudioComponentFactoryFunction)(const AudioComponentDescription* inDesc);

/* clang-format off */
CF_ENUM(OSStatus) {
  kAudioComponentErr_InstanceTimedOut = -66754,
  kAudioComponentErr_InstanceInvalidated = -66749,
  kAudioComponentErr_DuplicateDescription = -66752,
  kAudioComponentErr_UnsupportedType = -66751,
  kAudioComponentErr_TooManyInstances = -66750,
  kAudioComponentErr_NotPermitted = -66748,
  kAudioComponentErr_InitializationTimedOut = -66747,
  kAudioComponentErr_InvalidFormat = -66746
};
/* clang-format on */

/* [any thread] */
AUDIOTOOLBOX_EXPORT AudioComponent _Nullable AudioComponentFindNext(AudioComponent _Nullable inComponent,
                                                                    const AudioComponentDescription* _Nonnull inDesc);
/* [any thread] */
AUDIOTOOLBOX_EXPORT UInt32 AudioComponentCount(const AudioComponentDescription* _Nonnull inDesc);
/* [any thread] The name is the caller's to release. */
AUDIOTOOLBOX_EXPORT OSStatus AudioComponentCopyName(AudioComponent _Nonnull inComponent,
                                                    CFStringRef _Nullable* _Nonnull outName);
/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioComponentGetDescription(AudioComponent _Nonnull inComponent,
                                                          AudioComponentDescription* _Nonnull outDesc);
/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioComponentGetVersion(AudioComponent _Nonnull inComponent, UInt32* _Nonnull outVersion);
/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioComponentInstanceNew(AudioComponent _Nonnull inComponent,
                                                       AudioComponentInstance _Nullable* _Nonnull outInstance);
/* [any thread] */
AUDIOTOOLBOX_EXPORT OSStatus AudioComponentInstanceDispose(AudioComponentInstance _Nullable inInstance);
/* [any thread] */
AUDIOTOOLBOX_EXPORT AudioComponent _Nullable AudioComponentInstanceGetComponent(
    AudioComponentInstance _Nonnull inInstance);
/* [any thread] */
AUDIOTOOLBOX_EXPORT Boolean AudioComponentInstanceCanDo(AudioComponentInstance _Nonnull inInstance,
                                                        SInt16 inSelectorID);
/* [any thread] Adds a component to this process's registry, after the ones already there. */
AUDIOTOOLBOX_EXPORT AudioComponent _Nullable AudioComponentRegister(const AudioComponentDescription* _Nonnull inDesc,
                                                                    CFStringRef _Nonnull inName, UInt32 inVersion,
                                                                    AudioComponentFactoryFunction _Nonnull inFactory);

#ifdef __cplusplus
}
#endif

#endif
