// The embedded demo input: a short sung phrase, synthesised, slightly off pitch,
// so that a pitch-correction unit has something to do.
#pragma once

#include "AudioStream.h"

namespace host {

// [main thread] `seconds` of mono audio at `sampleRate`: glottal pulses through
// vowel formants, notes a little sharp or flat, with vibrato and breath. The
// same every time.
Audio MakeVoiceLikeSignal(double sampleRate, double seconds);

}  // namespace host
