#include "backends/media/ParallelEncoder.h"

#include "backends/media/WorkThreads.h"
#include "components/Error.h"

#include <QtConcurrent/QtConcurrentRun>

namespace {
// 32 frames: for wmav2 65536 samples, so priming costs one frame in 32.
constexpr size_t kSegmentFrames = 32;
} // namespace

ParallelEncoder::ParallelEncoder(const std::function<ffmpeg::CodecContext()>& openEncoder,
                                 int workers)
    : m_mostGiven(size_t(std::max(1, workers)) * 2) {
    // As many waiting as being encoded keeps every encoder busy while the caller fills the next.
    for (size_t i = 0; i < m_mostGiven; ++i)
        m_idle.push_back(openEncoder());
}

// Segments not begun are dropped; those being encoded are waited for: they use the encoders.
ParallelEncoder::~ParallelEncoder() {
    for (Given& given : m_given)
        given.done.cancel();
    for (Given& given : m_given)
        given.done.waitForFinished();
}

bool ParallelEncoder::suits(const AVCodec* codec) {
    return codec->id == AV_CODEC_ID_WMAV2 && !(codec->capabilities & AV_CODEC_CAP_DELAY);
}

void ParallelEncoder::add(const AVFrame* frame) {
    ffmpeg::Frame copy = ffmpeg::makeFrame();
    if (av_frame_ref(copy.get(), frame) < 0)
        throw Error(QStringLiteral("Out of memory while encoding"));
    if (m_filling.frames.empty())
        m_filling.primer = std::move(m_lastFrame);
    m_lastFrame = ffmpeg::makeFrame();
    av_frame_ref(m_lastFrame.get(), copy.get());
    m_filling.frames.push_back(std::move(copy));
    if (m_filling.frames.size() == kSegmentFrames)
        submit();
}

void ParallelEncoder::finish() {
    if (!m_filling.frames.empty())
        submit();
}

ffmpeg::CodecContext ParallelEncoder::borrowEncoder() {
    std::lock_guard lock(m_mutex);
    ffmpeg::CodecContext encoder = std::move(m_idle.back());
    m_idle.pop_back();
    return encoder;
}

void ParallelEncoder::returnEncoder(ffmpeg::CodecContext encoder) {
    std::lock_guard lock(m_mutex);
    m_idle.push_back(std::move(encoder));
}

void ParallelEncoder::submit() {
    // The oldest segment must be done before another goes out; its packets wait for the caller.
    size_t unfinished = 0;
    for (const Given& given : m_given)
        unfinished += given.done.isFinished() ? 0 : 1;
    for (size_t i = 0; unfinished >= m_mostGiven && i < m_given.size(); ++i) {
        if (!m_given[i].done.isFinished()) {
            m_given[i].done.waitForFinished();
            --unfinished;
        }
    }
    auto segment = std::make_unique<Segment>(std::move(m_filling));
    m_filling = Segment();
    QFuture<void> done = QtConcurrent::run(computePool(), [this, s = segment.get()] {
        ffmpeg::CodecContext encoder = borrowEncoder();
        try {
            s->failure = encode(encoder.get(), *s);
        } catch (const Error& e) {
            s->failure = e.message();
        }
        s->frames.clear();
        s->primer.reset();
        returnEncoder(std::move(encoder));
    });
    m_given.push_back({std::move(segment), std::move(done)});
}

bool ParallelEncoder::takePacket(AVPacket* packet, bool wait) {
    for (;;) {
        if (m_taking && m_packetInSegment < m_taking->packets.size()) {
            av_packet_move_ref(packet, m_taking->packets[m_packetInSegment++].get());
            return true;
        }
        m_taking.reset();
        if (m_given.empty() || (!wait && !m_given.front().done.isFinished()))
            return false;
        m_given.front().done.waitForFinished();
        m_taking = std::move(m_given.front().segment);
        m_given.pop_front();
        m_packetInSegment = 0;
        if (!m_taking->failure.isEmpty())
            throw Error(m_taking->failure);
    }
}

// Encodes one segment into its packets; returns the reason when the encoder fails.
QString ParallelEncoder::encode(AVCodecContext* encoder, Segment& segment) {
    ffmpeg::Packet packet = ffmpeg::makePacket();
    auto send = [&](const AVFrame* frame, bool keep) -> int {
        int ret = avcodec_send_frame(encoder, frame);
        while (ret >= 0) {
            ret = avcodec_receive_packet(encoder, packet.get());
            if (ret < 0)
                break;
            if (keep) {
                segment.packets.push_back(ffmpeg::makePacket());
                av_packet_move_ref(segment.packets.back().get(), packet.get());
            } else {
                av_packet_unref(packet.get());
            }
        }
        return ret == AVERROR(EAGAIN) || ret == AVERROR_EOF ? 0 : ret;
    };
    // A primed encoder turns each frame into exactly one packet at once; the primer's is
    // dropped, and nothing is held back to drain.
    int ret = segment.primer ? send(segment.primer.get(), false) : 0;
    for (size_t i = 0; ret >= 0 && i < segment.frames.size(); ++i)
        ret = send(segment.frames[i].get(), true);
    if (ret >= 0)
        return {};
    return QStringLiteral("the %1 encoder failed (%2)")
        .arg(QString::fromUtf8(encoder->codec->name), ffmpeg::errorText(ret));
}
