#include "backends/media/ParallelEncoder.h"

#include "components/Error.h"

namespace {
// 32 frames: for wmav2 65536 samples, so priming costs one frame in 32.
constexpr size_t kSegmentFrames = 32;
} // namespace

ParallelEncoder::ParallelEncoder(const std::function<ffmpeg::CodecContext()>& openEncoder,
                                 int workers)
    : m_queue(size_t(workers)) {
    std::vector<ffmpeg::CodecContext> encoders;
    for (int i = 0; i < workers; ++i)
        encoders.push_back(openEncoder());
    for (ffmpeg::CodecContext& encoder : encoders)
        m_workers.emplace_back([this, e = std::move(encoder)]() mutable { run(std::move(e)); });
}

ParallelEncoder::~ParallelEncoder() {
    m_queue.interrupt();
    for (std::thread& worker : m_workers)
        worker.join();
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

void ParallelEncoder::checkFailure() {
    std::lock_guard lock(m_mutex);
    if (!m_failure.isEmpty())
        throw Error(m_failure);
}

void ParallelEncoder::submit() {
    checkFailure();
    m_filling.index = m_submitted++;
    m_queue.push(std::move(m_filling));
    m_filling = Segment();
}

bool ParallelEncoder::takePacket(AVPacket* packet, bool wait) {
    std::unique_lock lock(m_mutex);
    for (;;) {
        if (!m_failure.isEmpty())
            throw Error(m_failure);
        auto it = m_done.find(m_nextToTake);
        if (it != m_done.end()) {
            Segment& segment = it->second;
            if (m_packetInSegment < segment.packets.size()) {
                av_packet_move_ref(packet, segment.packets[m_packetInSegment++].get());
                return true;
            }
            m_done.erase(it);
            ++m_nextToTake;
            m_packetInSegment = 0;
            continue;
        }
        if (!wait || m_nextToTake == m_submitted)
            return false;
        m_changed.wait(lock);
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

void ParallelEncoder::run(ffmpeg::CodecContext encoder) {
    Segment segment;
    while (m_queue.pop(segment) == BoundedQueue<Segment>::Status::Item) {
        QString failure;
        try {
            failure = encode(encoder.get(), segment);
        } catch (const Error& e) {
            failure = e.message();
        }
        segment.frames.clear();
        segment.primer.reset();
        {
            std::lock_guard lock(m_mutex);
            if (!failure.isEmpty() && m_failure.isEmpty())
                m_failure = failure;
            const int index = segment.index;
            m_done.emplace(index, std::move(segment));
        }
        m_changed.notify_all();
        segment = Segment();
    }
}
