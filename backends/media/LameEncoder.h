#pragma once

// Private to backends/media: MP3 through libmp3lame itself.
//
// With one worker it is LAME's own stream, frame for frame. With several, one file is encoded on
// all of them at once: the audio is cut into blocks of a few hundred frames, taken by
// identically configured encoders in turn. Each block starts some frames early, so that its
// encoder's filter bank, psychoacoustic model and bit reservoir have settled when its first kept
// frame comes, and ends a few frames late; each ends with lame_encode_flush_nogap. The frames are
// joined in order and repacked into one bit reservoir (Mp3Repacker). Where two blocks meet, both
// have encoded the same few frames; the seam goes at the first of them where the joined stream has
// at least the reservoir the next block's encoder counted on, so that every later frame fits as
// it was encoded. Where none has, the block's frames may still fit; when one of them (or of
// those the next seam may take) does not, the block is encoded again with its encoder's
// reservoir emptied right before the seam, which always fits. Frame n of the result covers the
// same samples as frame n of one encoder, so the start and end padding are LAME's own; blocks go
// to the encoders in a fixed order, so the same audio always gives the same bytes.

#include <QString>
#include <QtGlobal>
#include <deque>
#include <memory>
#include <vector>

class LameEncoder {
public:
    // Blocks of this many frames (13.4 s at 44.1 kHz): each block also encodes its warm-up and
    // seam frames, 6 % more work at 512 frames against 12 % at 256 (CPU time of a 10-minute file
    // 3.84 s against 4.03 s; lame itself 3.92 s), for about 3 MB more audio held per encoder.
    // A block starts this many frames early: its encoder's reservoir, empty after the last block
    // it did, takes that long to fill as the one encoder's would have (shorter warm-ups leave the
    // first kept frames short of bits, measured up to 1.3 dB worse around seams at 12 frames and
    // 128 kbit/s); and it ends as many frames late as the seam may move.
    static constexpr int kBlockFrames = 512;
    static constexpr int kWarmUpFrames = 28;
    static constexpr int kSeamFrames = 4;
    // The end of the stream is shared out in blocks no shorter than this.
    static constexpr int kMinTailFrames = 32;
    // More encoders than this only cost memory: each holds a block or two of audio.
    static constexpr int kMaxWorkers = 8;

    struct Settings {
        int sampleRate = 44100; // one LAME writes without resampling
        int channels = 2;       // 1 or 2
        int bitRateKbps = 128;  // constant bit rate
        int vbrQuality = -1;    // 0 (best) to 9: LAME's variable bit rate instead
        int workers = 1; // encoders, their blocks tasks of the compute pool; 1: LAME's stream
                         // on the caller's thread
        // The cut (see below); the tests make them small to have many seams in little audio.
        int blockFrames = kBlockFrames;
        int warmUpFrames = kWarmUpFrames;
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

    // Blocks encoded again because no seam fitted; for the tests.
    int blocksEncodedAgain() const { return m_encodedAgain; }

private:
    struct Lame;
    struct Block;
    struct Pool;

    void splitFrames();
    void submitBlocks(bool last);
    void collect(bool wait);
    void join(Block& block);

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
    std::vector<std::vector<qint16>> m_spareBuffers;
    qint64 m_pcmStart = 0;
    qint64 m_nextKeep = 0; // the first frame the next block keeps
    int m_blocksOut = 0;
    int m_blocksIn = 0;
    int m_encodedAgain = 0;
};
