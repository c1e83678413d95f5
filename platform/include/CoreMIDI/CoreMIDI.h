#include <CoreMIDI/MIDIServices.h>
