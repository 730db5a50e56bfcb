#pragma once

// Private to backends/media: encodes on several threads for a codec whose packets depend only on
// their own frame and the one before it (the MDCT overlap), as wmav2's do: it has no bit
// reservoir and no lookahead. The frames are cut into segments; each worker primes its encoder
// with the frame before its segment, drops that packet, and encodes the segment. The packets are
// the very bytes one encoder would have made, handed back in order.

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
    ParallelEncoder(const std::function<ffmpeg::CodecContext()>& openEncoder, int workers);
    ParallelEncoder(const ParallelEncoder&) = delete;
    ParallelEncoder& operator=(const ParallelEncoder&) = delete;
    ~ParallelEncoder();

    // Takes a reference to a full frame (pts set). May wait while all workers are busy.
    void add(const AVFrame* frame);
    // No more frames: the last, partial segment goes out too.
    void finish();
    // The next packet in order, moved into packet; false when none is ready (or, with wait,
    // when all are out). Raises Error with the encoder's reason when a worker failed.
    bool takePacket(AVPacket* packet, bool wait);

    // Whether a codec may be encoded this way.
    static bool suits(const AVCodec* codec);

private:
    struct Segment {
        int index = 0;
        ffmpeg::Frame primer; // the frame before the segment; null for the first
        std::vector<ffmpeg::Frame> frames;
        std::vector<ffmpeg::Packet> packets;
    };

    void run(ffmpeg::CodecContext encoder);
    void submit();
    [[noreturn]] void raiseFailure();

    std::vector<std::thread> m_workers;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Segment> m_queue;       // waiting for a worker
    std::map<int, Segment> m_done;     // encoded, by index
    int m_nextToTake = 0;
    size_t m_packetInSegment = 0;
    int m_submitted = 0;
    bool m_stopping = false;
    QString m_failure;

    Segment m_filling;                 // owned by the caller's thread
    ffmpeg::Frame m_lastFrame;
};
