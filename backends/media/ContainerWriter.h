#pragma once

// Private to backends/media: the file side of EncodedSink. libavformat's muxer writes one audio
// stream and the tags into an OutputFile; for an encoder that needs them, the packets carry the
// edges a decoder trims (the MP3 muxer puts them in the LAME tag).

#include "backends/media/Ffmpeg.h"

#include <QMap>
#include <QString>

class OutputFile;
struct SinkFailure;

class ContainerWriter {
public:
    // container is FFmpeg's muxer name; fails through failure when FFmpeg has no such muxer.
    ContainerWriter(const char* container, OutputFile& file, SinkFailure& failure);
    ContainerWriter(const ContainerWriter&) = delete;
    ContainerWriter& operator=(const ContainerWriter&) = delete;

    // Whether the encoder must put its headers in the container (AV_CODEC_FLAG_GLOBAL_HEADER).
    bool wantsGlobalHeader() const;
    // Adds the stream the encoder's context describes, with the tags, and writes the header.
    // gaplessDelay: samples decoders drop at the start (0: the packets carry no edges);
    // frameSize: samples per packet.
    void start(const AVCodecContext* encoder, const QMap<QString, QString>& tags, int gaplessDelay,
               int frameSize);
    // One packet in the encoder's time base. With edges to carry the newest one is held back:
    // the last must name the padding to trim.
    void write(AVPacket* packet);
    // What has been written so far goes to the file, and the file to the disk.
    void flush();
    // The held packet, trimmed to realSamples of audio, and the trailer; all in the file.
    void finish(qint64 realSamples);

private:
    void writePacket(AVPacket* packet, qint64 discardAtEnd);

    OutputFile& m_file;
    SinkFailure& m_failure;
    ffmpeg::IoContext m_io;
    ffmpeg::OutputContext m_output;
    AVStream* m_stream = nullptr;
    AVRational m_timeBase{1, 1}; // the encoder's
    int m_gaplessDelay = 0;
    int m_frameSize = 0;
    ffmpeg::Packet m_held = ffmpeg::makePacket();
    qint64 m_packetsOut = 0;
};
