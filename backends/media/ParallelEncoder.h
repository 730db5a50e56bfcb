#pragma once

// Private to backends/media: runs an encoder off the caller's thread, so the thread that feeds
// a sink only converts, frames and muxes while the encoding itself uses another core.
//
// Pipelined: one worker keeps one encoder and encodes every frame in order (LAME, shine).
// Independent frames: for a codec whose packets depend only on their own frame and the one
// before it (the MDCT overlap), as wmav2's do, with no bit reservoir and no lookahead, several
// workers encode segments of frames at once; each primes its encoder with the frame before its
// segment and drops that packet. Either way the packets are the very bytes one encoder on one
// thread would have made, handed back in order.

#include "backends/media/Ffmpeg.h"

#include <QString>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

class ParallelEncoder {
public:
    // openEncoder makes a fresh encoder configured like the sink's; it may raise Error.
    // independentFrames needs a codec that suits() it; workers is then the number of threads.
    ParallelEncoder(const std::function<ffmpeg::CodecContext()>& openEncoder,
                    bool independentFrames, int workers);
    ParallelEncoder(const ParallelEncoder&) = delete;
    ParallelEncoder& operator=(const ParallelEncoder&) = delete;
    ~ParallelEncoder();

    // Takes a reference to a full frame (pts set). May wait while the workers are busy.
    void add(const AVFrame* frame);
    // No more frames: the last segment goes out and the encoders are drained.
    void finish();
    // The next packet in order, moved into packet; false when none is ready (or, with wait,
    // when all are out). Raises Error with the encoder's reason when a worker failed.
    bool takePacket(AVPacket* packet, bool wait);

    // Whether a codec's frames are independent in the sense above.
    static bool suits(const AVCodec* codec);

private:
    struct Segment {
        int index = 0;
        bool last = false;    // drain the encoder after these frames
        ffmpeg::Frame primer; // the frame before the segment; null for the first or pipelined
        std::vector<ffmpeg::Frame> frames;
        std::vector<ffmpeg::Packet> packets;
    };

    void run(ffmpeg::CodecContext encoder);
    QString encode(AVCodecContext* encoder, Segment& segment);
    void submit();

    const bool m_independent;
    std::vector<std::thread> m_workers;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Segment> m_queue;   // waiting for a worker
    std::map<int, Segment> m_done; // encoded, by index
    int m_nextToTake = 0;
    size_t m_packetInSegment = 0;
    int m_submitted = 0;
    bool m_stopping = false;
    QString m_failure;

    Segment m_filling; // owned by the caller's thread
    ffmpeg::Frame m_lastFrame;
};
