#pragma once

#include "backends/media/PcmSource.h"

#include <QMap>
#include <QString>
#include <memory>
#include <optional>

// PCM frames decoded from any file libavformat opens (WAV, MP3, WMA ...).
//
// By default the frames keep the file's sample rate and channel count; given a wanted format,
// they are resampled and up- or down-mixed to it (e.g. PcmFormat::cdAudio() for burning). The
// constructor opens the file and its decoder, so a file that cannot be decoded (missing, not a
// regular file, not audio, truncated) raises Error at once, naming the file and the reason.
//
// Users: the converters (read to the end), the burner (cdAudio, read on the fly), the players
// (read in small pieces, seek()).
class FileSource final : public PcmSource, public Seekable {
public:
    explicit FileSource(const QString& path, std::optional<PcmFormat> wanted = std::nullopt);
    ~FileSource() override;

    PcmFormat format() const override;
    // From the file's header, at the output rate; -1 when the file states no length.
    qint64 expectedFrames() const override;
    // The header's length is the exact count read() delivers: raw PCM (a WAV) at the output
    // rate. A compressed file's header also counts its encoder's delay and padding, which the
    // decoder drops, and resampling rounds: only decoding the file counts those.
    bool lengthIsExact() const;
    // Raises Error on a read error or, at the end, when a file whose header states its length
    // ends clearly early (truncated: more than a few of the codec's frames missing) or holds no
    // decodable audio at all.
    qint64 read(qint16* buffer, qint64 maxFrames) override;
    void interrupt() override;
    Seekable* seekable() override { return this; }
    void seek(qint64 frame) override;

    QString path() const;
    double durationSeconds() const; // 0 when the file does not say
    QString codecName() const;      // e.g. "mp3", "wmav2", "pcm_s16le"
    QMap<QString, QString> tags() const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
