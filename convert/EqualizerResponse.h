#pragma once

#include "components/FilgraphManager.h"

#include <array>

// What the player's "EQ Filter" does to a tone: its bands are peaking biquads designed the way
// libavfilter's `equalizer` designs them (the audio EQ cookbook's peaking filter, bandwidth in
// octaves), so the curve drawn is the response of the filter that plays.
namespace EqualizerResponse {

using Gains = std::array<double, FilgraphManager::EqBandCount>;

// The level change in dB at a frequency, every band in use at the sample rate together.
double at(const Gains& gains, double frequency, int sampleRate);

} // namespace EqualizerResponse
