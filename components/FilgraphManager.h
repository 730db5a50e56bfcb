#pragma once

#include <QObject>
#include <QString>
#include <array>

// The playback graph of the file player: a file is rendered, then run, paused or stopped; it
// plays through the graph's "EQ Filter", an equaliser of eleven bands.
class FilgraphManager : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // The "EQ Filter": eleven peaking bands (0 to 10), each one octave wide, at these centre
    // frequencies in Hz; their gains are in dB. A band at or above half the sample rate the
    // graph runs at takes no part.
    static constexpr int EqBandCount = 11;
    static constexpr std::array<double, EqBandCount> EqBandFrequencies{
        16, 31.5, 63, 125, 250, 500, 1000, 2000, 4000, 8000, 16000};
    static constexpr double EqBandOctaves = 1.0;
    static constexpr bool EqBandInUse(int band, int sampleRate) {
        return EqBandFrequencies[size_t(band)] < sampleRate / 2.0;
    }

    enum class State { Stopped, Paused, Running };

    // Opens a file for playing, stopped at its start, with every band gain of the "EQ Filter"
    // set to zero. Raises Error when the file cannot be opened or decoded, or there is no audio
    // output.
    virtual void RenderFile(const QString& path) = 0;
    // Plays from the current position: the start after RenderFile or Stop, where it was after
    // Pause. Raises Error when nothing is rendered or the output refuses to start.
    virtual void Run() = 0;
    virtual void Pause() = 0;
    // Stops playback and rewinds, so the next Run plays from the start; harmless when nothing
    // plays or nothing is rendered.
    virtual void Stop() = 0;
    virtual State GetState() const = 0;

    // The rendered file's length and the playing position, in seconds; 0 before RenderFile.
    virtual double Duration() const = 0;
    virtual double CurrentPosition() const = 0;
    // Moves the position, playing or not. Raises Error when nothing is rendered or the file
    // cannot be moved in.
    virtual void setCurrentPosition(double seconds) = 0;

    // The gain of a band of the "EQ Filter"; it takes effect within a fraction of a second,
    // also while playing. An index outside 0 to 10 raises IndexError.
    virtual double BandGain(int band) const = 0;
    virtual void setBandGain(int band, double gain) = 0;
    // The sample rate the "EQ Filter" runs at, for drawing its response.
    virtual int SampleRate() const = 0;

Q_SIGNALS:
    // Playback broke after Run returned (e.g. the file turned out damaged); playback stopped.
    void Failed(const QString& message);
    // The file played to its end: stopped, back at the start.
    void Complete();
    // A band gain changed (setBandGain, or RenderFile setting them to zero).
    void EqualizerChanged();
};
