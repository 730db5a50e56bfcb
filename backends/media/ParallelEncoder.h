#pragma once

// Private to backends/media: encodes on the compute pool, for a codec whose packets depend only
// on their own frame and the one before it (the MDCT overlap), with no bit reservoir and no
// lookahead, as wmav2's do. The frames are cut into segments, each a task of its own; each
// primes an encoder with the frame before its segment and drops that packet. The packets are
// the very bytes one encoder on one thread would have made, handed back in order.

#include "backends/media/Ffmpeg.h"

#include <QFuture>
#include <QString>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class ParallelEncoder {
public:
    // openEncoder makes a fresh encoder configured like the sink's; it may raise Error. Up to
    // twice workers segments are encoded or waiting at once.
    ParallelEncoder(const std::function<ffmpeg::CodecContext()>& openEncoder, int workers);
    ParallelEncoder(const ParallelEncoder&) = delete;
    ParallelEncoder& operator=(const ParallelEncoder&) = delete;
    ~ParallelEncoder();

    // Takes a reference to a full frame (pts set). May wait while the encoders are busy.
    void add(const AVFrame* frame);
    // No more frames: the last segment goes out.
    void finish();
    // The next packet in order, moved into packet; false when none is ready (or, with wait,
    // when all are out). Raises Error with the encoder's reason when a segment failed.
    bool takePacket(AVPacket* packet, bool wait);

    // Whether a codec's frames are independent in the sense above.
    static bool suits(const AVCodec* codec);

private:
    struct Segment {
        ffmpeg::Frame primer; // the frame before the segment; null for the first
        std::vector<ffmpeg::Frame> frames;
        std::vector<ffmpeg::Packet> packets;
        QString failure;
    };
    struct Given {
        std::unique_ptr<Segment> segment; // written by its task, read once that is done
        QFuture<void> done;
    };

    static QString encode(AVCodecContext* encoder, Segment& segment);
    void submit();
    ffmpeg::CodecContext borrowEncoder();
    void returnEncoder(ffmpeg::CodecContext encoder);

    size_t m_mostGiven;
    std::deque<Given> m_given; // in order
    // One for every segment that may be encoded at once, so a task always finds one.
    std::mutex m_mutex;
    std::vector<ffmpeg::CodecContext> m_idle;

    std::unique_ptr<Segment> m_taking; // the segment whose packets are being taken
    size_t m_packetInSegment = 0;
    Segment m_filling; // owned by the caller's thread
    ffmpeg::Frame m_lastFrame;
};
