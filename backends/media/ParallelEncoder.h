#pragma once

// Private to backends/media: encodes on worker threads, for a codec whose packets depend only on
// their own frame and the one before it (the MDCT overlap), with no bit reservoir and no
// lookahead, as wmav2's do. The frames are cut into segments that several workers encode at
// once; each primes its encoder with the frame before its segment and drops that packet. The
// packets are the very bytes one encoder on one thread would have made, handed back in order.

#include "backends/media/BoundedQueue.h"
#include "backends/media/Ffmpeg.h"

#include <QString>
#include <condition_variable>
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

    // Takes a reference to a full frame (pts set). May wait while the workers are busy.
    void add(const AVFrame* frame);
    // No more frames: the last segment goes out.
    void finish();
    // The next packet in order, moved into packet; false when none is ready (or, with wait,
    // when all are out). Raises Error with the encoder's reason when a worker failed.
    bool takePacket(AVPacket* packet, bool wait);

    // Whether a codec's frames are independent in the sense above.
    static bool suits(const AVCodec* codec);

private:
    struct Segment {
        int index = 0;
        ffmpeg::Frame primer; // the frame before the segment; null for the first
        std::vector<ffmpeg::Frame> frames;
        std::vector<ffmpeg::Packet> packets;
    };

    void run(ffmpeg::CodecContext encoder);
    static QString encode(AVCodecContext* encoder, Segment& segment);
    void submit();
    void checkFailure();

    // No more segments waiting than there are workers.
    BoundedQueue<Segment> m_queue;
    std::vector<std::thread> m_workers;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<int, Segment> m_done; // encoded, by index
    int m_nextToTake = 0;
    size_t m_packetInSegment = 0;
    int m_submitted = 0;
    QString m_failure;

    Segment m_filling; // owned by the caller's thread
    ffmpeg::Frame m_lastFrame;
};
