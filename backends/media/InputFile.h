#pragma once

// Private to backends/media: opening a file with libavformat and finding its audio stream,
// with error texts that name the file and say what is wrong with it.

#include "backends/media/Ffmpeg.h"

#include <QMap>
#include <QString>
#include <atomic>

namespace media {

struct InputFile {
    ffmpeg::InputContext format;
    AVStream* stream = nullptr; // the audio stream we use; owned by format
    const AVCodec* decoder = nullptr;
    qint64 sizeBytes = 0;
};

// "Cannot read <path>: <reason>" and "Cannot write <path>: <reason>".
QString readError(const QString& path, const QString& reason);
QString writeError(const QString& path, const QString& reason);

// Opens path and picks its best audio stream. Anything but a regular file (a named pipe, a
// device) is refused at once. With checkComplete, a WAV or ASF file whose header announces more
// bytes than the file has is refused as truncated. While *interrupt is true, reads of the
// returned context fail at once (AVERROR_EXIT). Raises Error.
InputFile openInputFile(const QString& path, bool checkComplete,
                        const std::atomic<bool>* interrupt = nullptr);

// Container and stream tags (title, artist, album ...), the container's taking precedence.
QMap<QString, QString> tagsOf(const InputFile& input);

// Duration in seconds from the container, else from the stream; 0 when neither says.
double durationOf(const InputFile& input);

} // namespace media
