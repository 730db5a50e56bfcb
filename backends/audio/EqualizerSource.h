#pragma once

#include "backends/media/PcmSource.h"

#include <array>
#include <atomic>
#include <memory>

// The band gains of the file player's "EQ Filter", in dB, shared between the player (which
// sets them from the user-interface thread) and the sources that filter with them (which read
// them on a job's worker). Every gain is zero to begin with.
class EqualizerGains {
public:
    static constexpr int BandCount = 11;

    void set(int band, double gain);
    double get(int band) const { return m_gains[size_t(band)].load(); }
    void reset();
    // Grows with every change, so a reader can tell that it has news.
    quint64 version() const { return m_version.load(); }

private:
    std::array<std::atomic<double>, BandCount> m_gains{};
    std::atomic<quint64> m_version{0};
};

// Another source through the "EQ Filter": eleven peaking bands (libavfilter's `equalizer`, one
// octave wide each) at the centre frequencies of FilgraphManager::EqBandFrequencies, with the
// gains of an EqualizerGains. A gain changed while the source is read is applied at the next
// read, without a gap. Bands at or above half the sample rate are left out.
//
// Frames keep the inner source's format; the filters compute in floating point.
class EqualizerSource final : public PcmSource, public Seekable {
public:
    // Raises Error when the filter graph cannot be built.
    EqualizerSource(std::unique_ptr<PcmSource> inner, std::shared_ptr<const EqualizerGains> gains);
    ~EqualizerSource() override;

    PcmFormat format() const override;
    qint64 expectedFrames() const override;
    qint64 read(qint16* buffer, qint64 maxFrames) override;
    void interrupt() override;
    // Seekable when the inner source is.
    Seekable* seekable() override;
    void seek(qint64 frame) override;

private:
    struct Graph;
    void build();
    void applyGains();

    std::unique_ptr<PcmSource> m_inner;
    std::shared_ptr<const EqualizerGains> m_gains;
    std::unique_ptr<Graph> m_graph;
};
