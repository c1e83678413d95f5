/* The AudioUnit framework's umbrella, which the platform keeps for older sources. */
#include <AudioToolbox/AudioUnit.h>
