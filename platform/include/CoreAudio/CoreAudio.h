/* Of the CoreAudio framework only its types and host-time functions exist here. */
#include <CoreAudio/HostTime.h>
#include <CoreAudioTypes/CoreAudioTypes.h>
