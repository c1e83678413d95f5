#include "TestSignal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace host {

namespace {

// A two-pole resonator: one vowel formant.
class Formant {
 public:
  Formant(double centreHz, double bandwidthHz, double sampleRate) {
    const double r = std::exp(-std::numbers::pi * bandwidthHz / sampleRate);
    a1_ = 2.0 * r * std::cos(2.0 * std::numbers::pi * centreHz / sampleRate);
    a2_ = -r * r;
    gain_ = 1.0 - r;
  }
  double Process(double input) {
    const double output = gain_ * input + a1_ * y1_ + a2_ * y2_;
    y2_ = y1_;
    y1_ = output;
    return output;
  }

 private:
  double a1_ = 0, a2_ = 0, gain_ = 0, y1_ = 0, y2_ = 0;
};

struct Note {
  double midi;   // the intended note
  double cents;  // how far the singer misses it
};

// A short phrase in A minor, sung a little out of tune.
constexpr std::array<Note, 8> kPhrase{
    {{57, 28}, {60, -35}, {64, 18}, {62, -22}, {60, 40}, {59, -30}, {57, 15}, {64, -45}}};

double HzOf(const Note& note) { return 440.0 * std::pow(2.0, (note.midi + note.cents / 100.0 - 69.0) / 12.0); }

}  // namespace

Audio MakeVoiceLikeSignal(double sampleRate, double seconds) {
  const auto frames = static_cast<std::size_t>(std::max(0.0, seconds * sampleRate));
  Audio audio;
  audio.sampleRate = sampleRate;
  audio.channels.assign(1, std::vector<float>(frames));
  std::vector<float>& out = audio.channels.front();

  // Vowel "ah": three formants.
  std::array<Formant, 3> formants{Formant(730, 90, sampleRate), Formant(1090, 110, sampleRate),
                                  Formant(2440, 170, sampleRate)};
  constexpr std::array<double, 3> kFormantGains{1.0, 0.6, 0.25};
  std::mt19937 random(20261122);
  std::normal_distribution<double> breath(0.0, 1.0);

  const double noteSeconds = seconds / static_cast<double>(kPhrase.size());
  double phase = 0;
  double peak = 0;
  for (std::size_t i = 0; i < frames; ++i) {
    const double t = static_cast<double>(i) / sampleRate;
    const auto index = std::min(kPhrase.size() - 1, static_cast<std::size_t>(t / noteSeconds));
    const double inNote = t - static_cast<double>(index) * noteSeconds;
    // Vibrato grows in after the onset, as singers do.
    const double vibrato = 0.012 * std::min(1.0, inNote / 0.25) * std::sin(2.0 * std::numbers::pi * 5.5 * t);
    phase += HzOf(kPhrase[index]) * (1.0 + vibrato) / sampleRate;
    phase -= std::floor(phase);
    // Glottal pulse: a slow rise and a sharp closure.
    const double pulse = phase < 0.6 ? std::sin(std::numbers::pi * phase / 0.6) : 0.0;
    const double excitation = pulse - 0.38 + 0.02 * breath(random);
    double voiced = 0;
    for (std::size_t f = 0; f < formants.size(); ++f) {
      voiced += kFormantGains[f] * formants[f].Process(excitation);
    }
    // Each note swells and fades, with a short gap between syllables.
    const double envelope = std::min({1.0, inNote / 0.04, std::max(0.0, (noteSeconds - inNote - 0.03) / 0.08)});
    out[i] = static_cast<float>(voiced * envelope);
    peak = std::max(peak, std::fabs(voiced * envelope));
  }
  // Peaks at -6 dBFS.
  if (peak > 0) {
    const auto scale = static_cast<float>(0.5 / peak);
    std::transform(out.begin(), out.end(), out.begin(), [scale](float s) { return s * scale; });
  }
  return audio;
}

}  // namespace host
