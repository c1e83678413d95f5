/* Of the CoreAudio framework only its types and host-time functions exist here. */
#include <CoreAudioTypes/CoreAudioTypes.h>
#include <CoreAudio/HostTime.h>
