#include "backends/media/ParallelEncoder.h"

#include "components/Error.h"

namespace {
// 32 frames of wmav2 are 65536 samples: priming costs one frame in 32.
constexpr size_t kSegmentFrames = 32;
} // namespace

ParallelEncoder::ParallelEncoder(const std::function<ffmpeg::CodecContext()>& openEncoder,
                                 int workers) {
    std::vector<ffmpeg::CodecContext> encoders;
    for (int i = 0; i < workers; ++i)
        encoders.push_back(openEncoder());
    for (ffmpeg::CodecContext& encoder : encoders)
        m_workers.emplace_back([this, e = std::move(encoder)]() mutable { run(std::move(e)); });
}

ParallelEncoder::~ParallelEncoder() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
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
    if (m_filling.frames.empty()) {
        m_filling.index = m_submitted;
        m_filling.primer = std::move(m_lastFrame);
    }
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

void ParallelEncoder::submit() {
    std::unique_lock lock(m_mutex);
    // Bounded: no more segments waiting than there are workers.
    m_changed.wait(lock, [&] {
        return m_queue.size() < m_workers.size() || !m_failure.isEmpty();
    });
    if (!m_failure.isEmpty())
        raiseFailure();
    m_queue.push_back(std::move(m_filling));
    m_filling = Segment();
    ++m_submitted;
    lock.unlock();
    m_changed.notify_all();
}

bool ParallelEncoder::takePacket(AVPacket* packet, bool wait) {
    std::unique_lock lock(m_mutex);
    for (;;) {
        if (!m_failure.isEmpty())
            raiseFailure();
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

void ParallelEncoder::raiseFailure() {
    throw Error(m_failure);
}

void ParallelEncoder::run(ffmpeg::CodecContext encoder) {
    ffmpeg::Packet packet = ffmpeg::makePacket();
    for (;;) {
        Segment segment;
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_stopping || !m_queue.empty(); });
            if (m_stopping)
                return;
            segment = std::move(m_queue.front());
            m_queue.pop_front();
        }
        m_changed.notify_all();

        QString failure;
        // Every frame gives exactly one packet at once; the primer's is dropped.
        auto encodeOne = [&](const AVFrame* frame, bool keep) {
            int ret = avcodec_send_frame(encoder.get(), frame);
            if (ret >= 0)
                ret = avcodec_receive_packet(encoder.get(), packet.get());
            if (ret < 0) {
                failure = QStringLiteral("the %1 encoder failed (%2)")
                              .arg(QString::fromUtf8(encoder->codec->name), ffmpeg::errorText(ret));
                return false;
            }
            if (keep) {
                segment.packets.push_back(ffmpeg::makePacket());
                av_packet_move_ref(segment.packets.back().get(), packet.get());
            } else {
                av_packet_unref(packet.get());
            }
            return true;
        };
        try {
            bool ok = !segment.primer || encodeOne(segment.primer.get(), false);
            for (size_t i = 0; ok && i < segment.frames.size(); ++i)
                ok = encodeOne(segment.frames[i].get(), true);
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
    }
}
