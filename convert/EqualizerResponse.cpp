#include "convert/EqualizerResponse.h"

#include <cmath>
#include <complex>

namespace EqualizerResponse {

namespace {

// One band's gain (as a factor) at the angular frequency w, in radians per sample.
double bandMagnitude(double centre, double gain, int sampleRate, double w) {
    const double a = std::pow(10.0, gain / 40);
    const double w0 = 2 * M_PI * centre / sampleRate;
    const double alpha =
        std::sin(w0) *
        std::sinh(std::log(2.0) / 2 * FilgraphManager::EqBandOctaves * w0 / std::sin(w0));
    const double c = -2 * std::cos(w0);
    const std::complex<double> z1 = std::polar(1.0, -w), z2 = std::polar(1.0, -2 * w);
    const std::complex<double> numerator = (1 + alpha * a) + c * z1 + (1 - alpha * a) * z2;
    const std::complex<double> denominator = (1 + alpha / a) + c * z1 + (1 - alpha / a) * z2;
    return std::abs(numerator / denominator);
}

} // namespace

double at(const Gains& gains, double frequency, int sampleRate) {
    const double w = 2 * M_PI * frequency / sampleRate;
    double db = 0;
    for (int band = 0; band < FilgraphManager::EqBandCount; ++band)
        if (FilgraphManager::EqBandInUse(band, sampleRate) && gains[size_t(band)] != 0)
            db += 20 * std::log10(bandMagnitude(FilgraphManager::EqBandFrequencies[size_t(band)],
                                                gains[size_t(band)], sampleRate, w));
    return db;
}

} // namespace EqualizerResponse
