// Code a Mac refuses, each case beside its correct form. ctest compiles one
// case at a time (-DPROBE_<name>) with -fsyntax-only and the warnings as
// errors against our headers: with -DREFUSED it must fail, without it must
// compile, so a broken include path or a typo cannot pass the refused side.
#ifdef REFUSED
#define PICK(accepted, refused) refused
#else
#define PICK(accepted, refused) accepted
#endif

#if defined(PROBE_int_as_cf_enum)
#include <CoreFoundation/CFNumber.h>
CFNumberType probe = PICK(kCFNumberSInt64Type, 4);

#elif defined(PROBE_int_as_os_log_type)
#include <os/log.h>
os_log_type_t probe = PICK(OS_LOG_TYPE_ERROR, 0x10);

#elif defined(PROBE_long_pointer_to_sint64)
#include <MacTypes.h>
SInt64 value = 0;
PICK(long long, long) * probe = &value;

#elif defined(PROBE_lu_for_uint64)
#include <MacTypes.h>
#include <cstdio>
void Probe(UInt64 value) { std::printf(PICK("%llu", "%lu"), value); }

#elif defined(PROBE_lu_for_host_time)
#include <mach/mach_time.h>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
void Probe() {
  const std::uint64_t now = mach_absolute_time();  // right on both systems
  std::printf(PICK("%llu %" PRIu64, "%lu %" PRIu64), mach_absolute_time(), now);
}

#elif defined(PROBE_main_queue_from_queue)
#include <dispatch/dispatch.h>
void Probe() {
  PICK(dispatch_queue_main_t, dispatch_queue_t) queue = dispatch_get_main_queue();
  dispatch_queue_main_t main = queue;
  dispatch_queue_t any = main;
  dispatch_async_f(any, nullptr, nullptr);
}

#elif defined(PROBE_mixed_format_flag_enums)
#include <CoreAudioTypes/CoreAudioTypes.h>
AudioFormatFlags probe =
    PICK(static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked), kAudioFormatFlagsNativeFloatPacked) |
    kAudioFormatFlagIsNonInterleaved;

#elif defined(PROBE_midi_event_list_without_coremidi)
#include <AudioToolbox/MusicDevice.h>
#ifndef REFUSED
#include <CoreMIDI/CoreMIDI.h>
#endif
OSStatus Probe(MusicDeviceComponent unit) {
  MIDIEventList list{};
  return MusicDeviceMIDIEventList(unit, 0, &list);
}

#elif defined(PROBE_cfshow_without_cfstring)
#include <CoreFoundation/CFBase.h>
#ifndef REFUSED
#include <CoreFoundation/CFString.h>
#endif
void Probe() { CFShow(kCFNull); }

#elif defined(PROBE_discrete_in_order_with_count)
#include <CoreAudioTypes/CoreAudioTypes.h>
AudioChannelLayoutTag probe =
    PICK(kAudioChannelLayoutTag_DiscreteInOrder | 2, kAudioChannelLayoutTag_DiscreteInOrderWithCount(2));

#elif defined(PROBE_music_device_instrument_procs)
#include <AudioToolbox/MusicDevice.h>
PICK(MusicDeviceStartNoteProc, MusicDevicePrepareInstrumentProc) probe = nullptr;

#elif defined(PROBE_music_device_event_list_proc)
#include <AudioToolbox/MusicDevice.h>
PICK(MusicDeviceSysExProc, MusicDeviceMIDIEventListProc) probe = nullptr;

#elif defined(PROBE_offline_rendering_protocol)
#include <AudioToolbox/AudioUnitProperties.h>
AudioUnitPropertyID probe = PICK(kAudioUnitProperty_OfflineRender, kAudioUnitProperty_OfflineRenderingProtocol);

#elif defined(PROBE_loaded_remotely)
#include <AudioToolbox/AudioComponent.h>
AudioComponentInstantiationOptions probe =
    PICK(kAudioComponentInstantiation_LoadInProcess, kAudioComponentInstantiation_LoadedRemotely);

#else
#error "no probe selected"
#endif
