#pragma once

#include <QMap>
#include <QString>

// What a media file's headers say, without decoding it: for file lists, `info` commands and the
// WMA tag reader.
struct MediaFacts {
    QString formatName;  // FFmpeg's container name: "wav", "mp3", "asf" ...
    QString codecName;   // "pcm_s16le", "mp3", "wmav2" ...
    double duration = 0; // seconds; 0 when the file does not say
    qint64 bitRate = 0;  // bits per second of the audio stream (or of the file)
    int sampleRate = 0;
    int channels = 0;
    qint64 sizeBytes = 0;
    QMap<QString, QString> tags; // FFmpeg's generic keys: title, artist, album ...
};

// Raises Error naming the file and the reason when it is missing, unreadable or has no audio
// FFmpeg can decode.
MediaFacts probeMediaFile(const QString& path);
