/* The MIDI event-list types that the music-device interface passes; the
   CoreMIDI services themselves are not part of this platform layer. */
#ifndef VENEER_PLATFORM_MIDISERVICES_H
#define VENEER_PLATFORM_MIDISERVICES_H

#include <CoreFoundation/CFBase.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef UInt64 MIDITimeStamp;

typedef CF_ENUM(SInt32, MIDIProtocolID) { kMIDIProtocol_1_0 = 1, kMIDIProtocol_2_0 = 2 };

#pragma pack(push, 4)
/* Up to 64 universal MIDI packet words at one time: 268 bytes. */
struct MIDIEventPacket {
  MIDITimeStamp timeStamp;
  UInt32 wordCount;
  UInt32 words[64];
};
typedef struct MIDIEventPacket MIDIEventPacket;

/* A variable-length list of event packets. */
struct MIDIEventList {
  MIDIProtocolID protocol;
  UInt32 numPackets;
  MIDIEventPacket packet[1];
};
typedef struct MIDIEventList MIDIEventList;

/* Classic MIDI 1.0 byte packets. */
struct MIDIPacket {
  MIDITimeStamp timeStamp;
  UInt16 length;
  Byte data[256];
};
typedef struct MIDIPacket MIDIPacket;

struct MIDIPacketList {
  UInt32 numPackets;
  MIDIPacket packet[1];
};
typedef struct MIDIPacketList MIDIPacketList;
#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif
