#pragma once

// Private to backends/media: MP3 through libmp3lame itself.
//
// With one worker it is LAME's own stream, frame for frame. With several, one file is encoded on
// all of them at once: the audio is cut into blocks of about a hundred frames, and identically
// configured encoders take a block each. A block starts a few frames early, so that its encoder's
// filter bank and psychoacoustic model have settled when its first kept frame comes, and right
// before that frame the encoder's bit reservoir is flushed without a gap
// (lame_encode_flush_nogap), so that no kept frame leans on data of frames that are dropped.
// The frames before the kept ones are dropped; the kept ones are joined in order and repacked
// into one bit reservoir (Mp3Repacker). Frame n of the result covers the same samples as frame n
// of one encoder would, so the start and end padding are LAME's own.

#include <QString>
#include <QtGlobal>
#include <deque>
#include <memory>
#include <vector>

class LameEncoder {
public:
    struct Settings {
        int sampleRate = 44100; // one LAME writes without resampling
        int channels = 2;       // 1 or 2
        int bitRateKbps = 128;  // constant bit rate
        int vbrQuality = -1;    // 0 (best) to 9: LAME's variable bit rate instead
        int workers = 1; // encoders on threads of their own; 1: LAME's stream on the caller's
    };

    // Raises Error with LAME's reason when it refuses the settings.
    explicit LameEncoder(const Settings& settings);
    ~LameEncoder();
    LameEncoder(const LameEncoder&) = delete;
    LameEncoder& operator=(const LameEncoder&) = delete;

    // Interleaved 16-bit samples. With several workers this may wait while they are all busy.
    void write(const qint16* samples, qint64 frames);
    // No more samples.
    void finish();
    // Moves the next frame of the stream, whole, into frame; false when none is ready (with
    // wait: when all are out). Raises Error when an encoder failed.
    bool takeFrame(std::vector<uint8_t>& frame, bool wait);

    int samplesPerFrame() const { return m_samplesPerFrame; }
    // Samples a decoder drops before the audio: LAME's delay and the decoder's own 529.
    int startPadding() const { return m_encoderDelay + 529; }
    // Samples handed to write() so far.
    qint64 samplesIn() const { return m_samplesIn; }

    // Blocks of this many frames; a block starts this many frames early.
    static constexpr int kBlockFrames = 100;
    static constexpr int kWarmUpFrames = 4;

private:
    struct Lame;
    struct Block;
    struct Pool;

    void writePlain(const qint16* samples, int frames);
    void splitFrames();
    void submitBlocks(bool last);
    void collect(bool wait);

    Settings m_settings;
    int m_samplesPerFrame = 1152;
    int m_encoderDelay = 576;
    qint64 m_samplesIn = 0;
    bool m_finished = false;

    // One worker: LAME's output, cut into frames as they complete.
    std::unique_ptr<Lame> m_lame;
    std::vector<uint8_t> m_stream;
    std::deque<std::vector<uint8_t>> m_ready;

    // Several: the audio not yet given to a block, from sample m_pcmStart on.
    std::unique_ptr<Pool> m_pool;
    std::vector<qint16> m_pcm;
    qint64 m_pcmStart = 0;
    qint64 m_nextKeep = 0; // the first frame the next block keeps
    int m_blocksOut = 0;
    int m_blocksIn = 0;
};
