/* The framework path that older sources include. */
#include <CoreAudioTypes/CoreAudioTypes.h>
