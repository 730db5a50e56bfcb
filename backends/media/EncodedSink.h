#pragma once

#include "backends/media/PcmSink.h"
#include "components/OverwriteRule.h"

#include <QMap>
#include <QString>
#include <memory>

// What an EncodedSink writes.
enum class OutputCodec {
    Mp3Lame,  // MP3, libmp3lame, constant bit rate, LAME's default quality (that of `lame`)
    Mp3Shine, // MP3, libshine (fixed point, fast); 44.1 or 48 kHz only
    Wma,      // WMA version 2 (wmav2) in an ASF file
    Wav,      // 16-bit PCM in a WAV file
    Wav8,     // 8-bit PCM in a WAV file (a recording captured at 8 bits)
};

// Encodes PCM into a file through libavcodec and libavformat, written through OutputFile: the
// file appears complete under its name at commit(), or not at all, and an older file of that
// name stays as it was until then (and after, unless the overwrite rule lets it be replaced).
//
// write() takes interleaved 16-bit PCM in the format given to the constructor; the sink converts
// it once to what the encoder wants (planar or float samples; for MP3 and WMA at most two
// channels; for shine a supported sample rate). Not thread-safe: one thread writes, but it
// need not be the thread that created the sink.
class EncodedSink final : public PcmSink {
public:
    struct Options {
        OutputCodec codec = OutputCodec::Wav;
        // Bits per second for MP3 and WMA; MP3 uses the nearest rate the format allows, WMA at
        // least 24000 (the encoder's floor, see WAEnc.h).
        qint64 bitRate = 128000;
        // Tags for the container, with FFmpeg's generic keys: title, artist, album ...
        QMap<QString, QString> tags;
        // The cores the encoder may use; 0: every core. MP3 (LAME): one file on that many
        // encoders, its blocks joined into one stream. WMA: two threads of its own, the bytes the
        // same either way. 1: one encoder on the writing thread, as a recording wants, or a batch
        // that converts files side by side.
        int cores = 0;
        // What is done about a file already at the path (see OutputFile): by default it is
        // refused with OutputExistsError.
        OverwriteRule overwrite = {};
        // MP3 (LAME) only: 0 (best) to 9 for LAME's variable bit rate instead of bitRate.
        int vbrQuality = -1;
    };

    // Opens the encoder and creates the output file. Raises Error ("Cannot write <path>:
    // <why>") when the folder is missing or not writable, when the path may not be written
    // over, or when the encoder refuses the settings.
    EncodedSink(const QString& path, const Options& options, PcmFormat input);
    ~EncodedSink() override;

    PcmFormat format() const override;
    // Raises Error naming the file and the reason, e.g. "No space left on device".
    void write(const qint16* buffer, qint64 frames) override;
    // Writes what the encoder has made so far to the file and flushes it to the disk, so that a
    // crash keeps it (a recording does this every second). Raises Error as write() does.
    void flush();
    // Drains the encoder, completes the container and flushes the file to the disk.
    void finish() override;
    // Puts the file in place.
    void commit() override;

    QString path() const;
    // The open file being written, until commit() or a failure closes it; -1 then.
    int fd() const;
    // The hidden temporary file while it has a name (see OutputFile); empty when unnamed.
    QString temporaryPath() const;
    // What the file will hold: the encoder's rate and channels, and its bit rate.
    PcmFormat encodedFormat() const;
    qint64 bitRate() const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
