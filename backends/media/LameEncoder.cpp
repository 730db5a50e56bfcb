#include "backends/media/LameEncoder.h"

#include "backends/media/Mp3Frame.h"
#include "backends/media/Mp3Repacker.h"
#include "backends/media/WorkThreads.h"
#include "components/Error.h"

#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>

#include <lame.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

// LAME encodes a frame once the next one and a little more have come in: a block is given this
// many frames beyond its last kept one.
constexpr int kLookAheadFrames = 2;
constexpr int kPlainPiece = 1 << 14;

// LAME reports through printf-style callbacks; the last error explains a refusal.
thread_local QString t_lameError;

void keepError(const char* format, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    t_lameError = QString::fromLocal8Bit(text).trimmed();
}

void ignoreMessage(const char*, va_list) {}

QString codeText(int code) {
    switch (code) {
    case -1:
        return QStringLiteral("its output buffer was too small");
    case -2:
        return QStringLiteral("out of memory");
    default:
        return QStringLiteral("error %1").arg(code);
    }
}

} // namespace

struct LameEncoder::Lame {
    lame_global_flags* flags = nullptr;
    int channels = 2;
    qint64 fed = 0; // samples given to this encoder, over all its blocks

    explicit Lame(const Settings& s) : channels(s.channels) {
        flags = lame_init();
        if (!flags)
            throw Error(QStringLiteral("out of memory"));
        lame_set_errorf(flags, keepError);
        lame_set_debugf(flags, ignoreMessage);
        lame_set_msgf(flags, ignoreMessage);
        lame_set_in_samplerate(flags, s.sampleRate);
        lame_set_out_samplerate(flags, s.sampleRate);
        lame_set_num_channels(flags, s.channels);
        if (s.channels == 1)
            lame_set_mode(flags, MONO);
        if (s.vbrQuality >= 0) {
            lame_set_VBR(flags, vbr_default);
            lame_set_VBR_quality(flags, float(s.vbrQuality));
        } else {
            lame_set_brate(flags, s.bitRateKbps);
        }
        // The stream's header is the muxer's; the frames are only audio.
        lame_set_bWriteVbrTag(flags, 0);
        lame_set_write_id3tag_automatic(flags, 0);
        t_lameError.clear();
        if (lame_init_params(flags) < 0) {
            const QString why = t_lameError;
            lame_close(flags);
            flags = nullptr;
            throw Error(QStringLiteral("LAME refuses %1 at %2 Hz with %3 channel(s)%4")
                            .arg(s.vbrQuality >= 0 ? QStringLiteral("quality V%1").arg(s.vbrQuality)
                                                   : QStringLiteral("%1 kbit/s").arg(s.bitRateKbps))
                            .arg(s.sampleRate)
                            .arg(s.channels)
                            .arg(why.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(why)));
        }
    }
    ~Lame() {
        if (flags)
            lame_close(flags);
    }

    qint64 framesDone() const { return lame_get_frameNum(flags); }

    void encode(const qint16* pcm, int frames, std::vector<uint8_t>& out) {
        const size_t at = out.size();
        out.resize(at + size_t(frames) * 5 / 4 + 7200);
        auto* buffer = out.data() + at;
        const int room = int(out.size() - at);
        const int n = channels == 2 ? lame_encode_buffer_interleaved(flags, const_cast<short*>(pcm),
                                                                     frames, buffer, room)
                                    : lame_encode_buffer(flags, pcm, pcm, frames, buffer, room);
        if (n < 0)
            throw Error(QStringLiteral("LAME failed (%1)").arg(codeText(n)));
        out.resize(at + size_t(n));
        fed += frames;
    }

    // gapless: the reservoir is emptied and the encoder goes on; else the stream ends here.
    void flush(bool gapless, std::vector<uint8_t>& out) {
        const size_t at = out.size();
        out.resize(at + 16384);
        const int n = gapless ? lame_encode_flush_nogap(flags, out.data() + at, 16384)
                              : lame_encode_flush(flags, out.data() + at, 16384);
        if (n < 0)
            throw Error(QStringLiteral("LAME failed (%1)").arg(codeText(n)));
        out.resize(at + size_t(n));
    }
};

struct LameEncoder::Block {
    int index = 0;
    qint64 firstSample = 0;      // where pcm starts in the stream: a whole number of frames
    std::vector<qint16> pcm;     // kept until the block is joined: it may be encoded again
    qint64 keepFrom = 0;         // the stream's frames this block keeps
    qint64 keepTo = -1;          // -1: to the end (the last block)
    bool emptyReservoir = false; // flush the reservoir right before keepFrom
    std::vector<Mp3Repacker::Piece> pieces;
    QString failure;
};

namespace {

// Encodes one block and cuts the frames it keeps into their parts; returns why it failed.
template <class Lame, class Block>
QString encodeBlock(Lame& lame, Block& block, int samplesPerFrame) {
    const int channels = lame.channels;
    std::vector<uint8_t> out;
    const qint64 firstOwnFrame = lame.framesDone();
    // This encoder's frame j is frame j + shift of the stream: what it was given before this
    // block ends on a frame boundary, as every block but the last does.
    const qint64 shift = block.firstSample / samplesPerFrame - lame.fed / samplesPerFrame;
    const qint64 total = qint64(block.pcm.size()) / channels;
    auto lastDone = [&] { return lame.framesDone() - 1 + shift; };
    bool flushed = !block.emptyReservoir || block.keepFrom == 0;
    for (qint64 at = 0; at < total;) {
        if (block.keepTo >= 0 && lastDone() >= block.keepTo - 1)
            break;
        const int n = int(std::min<qint64>(samplesPerFrame, total - at));
        lame.encode(block.pcm.data() + at * channels, n, out);
        at += n;
        if (!flushed && lastDone() == block.keepFrom - 1) {
            lame.flush(true, out);
            flushed = true;
        }
    }
    lame.flush(block.keepTo >= 0, out);
    if (!flushed)
        return QStringLiteral("the block before frame %1 was too short").arg(block.keepFrom);

    std::vector<uint8_t> payload;
    size_t offset = 0;
    for (qint64 own = firstOwnFrame; offset < out.size(); ++own) {
        Mp3Frame frame;
        if (!parseMp3Frame(out.data() + offset, out.size() - offset, frame) ||
            offset + size_t(frame.size) > out.size())
            return QStringLiteral("LAME wrote a frame that cannot be read back");
        const size_t payloadStart = payload.size();
        payload.insert(payload.end(), out.begin() + qsizetype(offset) + frame.sideInfoEnd,
                       out.begin() + qsizetype(offset) + frame.size);
        const qint64 frameInStream = own + shift;
        if (frameInStream >= block.keepFrom && (block.keepTo < 0 || frameInStream < block.keepTo)) {
            block.pieces.emplace_back();
            if (!Mp3Repacker::cut(out.data() + offset, frame, payload, payloadStart,
                                  block.pieces.back()))
                return QStringLiteral("LAME's frame %1 has its main data out of place")
                    .arg(frameInStream);
        }
        offset += size_t(frame.size);
    }
    if (block.keepTo >= 0 && qint64(block.pieces.size()) != block.keepTo - block.keepFrom)
        return QStringLiteral("LAME gave %1 frames where %2 were due")
            .arg(block.pieces.size())
            .arg(block.keepTo - block.keepFrom);
    return {};
}

} // namespace

// Block n goes to encoder n modulo their number, after block n - workers: the same input, the
// same bytes. Each block is a task of the compute pool; one whose encoder still has a block to
// do follows that block as its continuation, so no task ever waits for another.
struct LameEncoder::Pool {
    struct Given {
        std::unique_ptr<Block> block; // written by the task, read once it is done
        QFuture<void> done;
    };
    std::vector<std::unique_ptr<Lame>> encoders;
    std::vector<QFuture<void>> latest; // per encoder, its last block's task
    std::deque<Given> given;           // not yet taken, in order
    int taken = 0;

    // The joining, on the caller's thread.
    Mp3Repacker repacker;
    std::vector<Mp3Repacker::Piece> tail; // the last block's frames that the next one has too
    std::unique_ptr<Lame> spare;          // encodes a block again

    explicit Pool(const Settings& settings) : repacker(settings.vbrQuality >= 0) {
        for (int i = 0; i < settings.workers; ++i)
            encoders.push_back(std::make_unique<Lame>(settings));
        latest.resize(encoders.size());
    }
    // Blocks not begun are dropped; those being encoded are waited for: they use the encoders.
    ~Pool() {
        for (Given& g : given)
            g.done.cancel();
        for (Given& g : given)
            g.done.waitForFinished();
    }

    void give(Block block, int samplesPerFrame) {
        const int workers = int(encoders.size());
        const size_t encoder = size_t(block.index % workers);
        // The encoder's previous block may still be running or waiting; once taken, it is done.
        const bool follows = block.index - workers >= taken;
        auto owned = std::make_unique<Block>(std::move(block));
        auto encode = [lame = encoders[encoder].get(), b = owned.get(), samplesPerFrame] {
            try {
                b->failure = encodeBlock(*lame, *b, samplesPerFrame);
            } catch (const Error& e) {
                b->failure = e.message();
            } catch (const std::bad_alloc&) {
                b->failure = QStringLiteral("out of memory");
            }
        };
        QFuture<void>& previous = latest[encoder];
        previous = follows ? previous.then(computePool(), encode)
                           : QtConcurrent::run(computePool(), encode);
        given.push_back({std::move(owned), previous});
    }

    // The next block in order, once it is encoded; false when none is ready (without wait).
    bool take(Block& block, bool wait) {
        if (given.empty() || (!wait && !given.front().done.isFinished()))
            return false;
        given.front().done.waitForFinished();
        block = std::move(*given.front().block);
        given.pop_front();
        ++taken;
        return true;
    }
};

LameEncoder::LameEncoder(const Settings& settings) : m_settings(settings) {
    m_settings.workers = std::clamp(settings.workers, 1, kMaxWorkers);
    // A warm-up of at least two frames keeps the last one before the seam free of the
    // previous block's samples; blocks must be longer than the seam may move.
    m_settings.warmUpFrames = std::max(2, settings.warmUpFrames);
    m_settings.blockFrames = std::max(kSeamFrames + 1, settings.blockFrames);
    // The first encoder tells the frame length and delay that all of them share.
    auto first = std::make_unique<Lame>(m_settings);
    m_samplesPerFrame = lame_get_framesize(first->flags);
    m_encoderDelay = lame_get_encoder_delay(first->flags);
    if (m_settings.workers == 1)
        m_lame = std::move(first);
    else
        m_pool = std::make_unique<Pool>(m_settings);
}

LameEncoder::~LameEncoder() = default;

void LameEncoder::write(const qint16* samples, qint64 frames) {
    if (m_finished)
        throw Error(QStringLiteral("the MP3 stream is already complete"));
    m_samplesIn += frames;
    const int channels = m_settings.channels;
    if (m_lame) {
        while (frames > 0) {
            const int piece = int(std::min<qint64>(frames, kPlainPiece));
            m_lame->encode(samples, piece, m_stream);
            splitFrames();
            samples += qint64(piece) * channels;
            frames -= piece;
        }
        return;
    }
    m_pcm.insert(m_pcm.end(), samples, samples + frames * channels);
    submitBlocks(false);
    collect(false);
}

void LameEncoder::finish() {
    if (m_finished)
        return;
    if (m_lame) {
        m_lame->flush(false, m_stream);
        splitFrames();
        if (!m_stream.empty())
            throw Error(QStringLiteral("LAME's stream ends within a frame"));
    } else {
        submitBlocks(true);
    }
    m_finished = true;
}

void LameEncoder::splitFrames() {
    size_t offset = 0;
    Mp3Frame frame;
    while (parseMp3Frame(m_stream.data() + offset, m_stream.size() - offset, frame) &&
           offset + size_t(frame.size) <= m_stream.size()) {
        m_ready.emplace_back(m_stream.begin() + qsizetype(offset),
                             m_stream.begin() + qsizetype(offset) + frame.size);
        offset += size_t(frame.size);
    }
    m_stream.erase(m_stream.begin(), m_stream.begin() + qsizetype(offset));
}

void LameEncoder::submitBlocks(bool last) {
    const int channels = m_settings.channels;
    const qint64 spf = m_samplesPerFrame;
    qint64 size = m_settings.blockFrames;
    if (last) {
        // What is left at the end goes to every encoder in equal parts, not all to one.
        const qint64 left = m_pcmStart / spf + qint64(m_pcm.size()) / channels / spf - m_nextKeep;
        const qint64 share = (left + m_settings.workers - 1) / m_settings.workers;
        size = std::min<qint64>(std::max<qint64>(share, kMinTailFrames), m_settings.blockFrames);
    }
    for (;;) {
        const qint64 keepFrom = m_nextKeep;
        const qint64 first = std::max<qint64>(0, keepFrom - m_settings.warmUpFrames) * spf;
        const qint64 keepTo = keepFrom + size + kSeamFrames;
        const qint64 needed = (keepTo + kLookAheadFrames) * spf;
        const qint64 have = m_pcmStart + qint64(m_pcm.size()) / channels;
        if (!last && have < needed)
            return;
        // The stream's last block: it keeps every frame to the end.
        const bool final = last && have < needed;
        Block block;
        block.index = m_blocksOut;
        block.firstSample = first;
        block.keepFrom = keepFrom;
        block.keepTo = final ? -1 : keepTo;
        const qint64 end = final ? have : needed;
        // Buffers go round: allocating a block's worth each time leaves the heap fragmented.
        if (!m_spareBuffers.empty()) {
            block.pcm = std::move(m_spareBuffers.back());
            m_spareBuffers.pop_back();
        }
        block.pcm.assign(m_pcm.begin() + qsizetype((first - m_pcmStart) * channels),
                         m_pcm.begin() + qsizetype((end - m_pcmStart) * channels));
        // The next block starts its warm-up well before this one ends.
        m_nextKeep = keepFrom + size;
        const qint64 next = final ? have : (m_nextKeep - m_settings.warmUpFrames) * spf;
        m_pcm.erase(m_pcm.begin(), m_pcm.begin() + qsizetype((next - m_pcmStart) * channels));
        m_pcmStart = next;
        // One block waiting beside those being encoded keeps every encoder busy; more would
        // only hold audio in memory.
        while (m_blocksOut - m_blocksIn > m_settings.workers)
            collect(true);
        ++m_blocksOut;
        m_pool->give(std::move(block), m_samplesPerFrame);
        if (final)
            return;
    }
}

void LameEncoder::collect(bool wait) {
    Block block;
    while (m_pool->take(block, wait)) {
        ++m_blocksIn;
        if (!block.failure.isEmpty())
            throw Error(block.failure);
        join(block);
        m_spareBuffers.push_back(std::move(block.pcm));
        if (wait)
            return;
    }
}

void LameEncoder::join(Block& block) {
    Pool& pool = *m_pool;
    std::vector<Mp3Repacker::Piece>* pieces = &block.pieces;
    // The seam: the first frame both blocks have from which this one fits as it was encoded,
    // the joined stream having at least the reservoir its encoder counted on there.
    size_t seam = 0;
    while (seam < pool.tail.size() && seam < pieces->size() &&
           pool.repacker.room() < Mp3Repacker::ownMainDataBegin((*pieces)[seam]))
        pool.repacker.add(pool.tail[seam++]);
    const size_t shared = block.keepTo < 0 ? 0 : size_t(kSeamFrames);
    // Short of that reservoir the frames may still fit; those the next seam may take too must,
    // on the stream as it will be then.
    const bool short_ = seam < pieces->size() &&
                        pool.repacker.room() < Mp3Repacker::ownMainDataBegin((*pieces)[seam]);
    const Mp3Repacker before = pool.repacker;
    Block again;
    try {
        for (size_t i = seam; i + shared < pieces->size(); ++i)
            pool.repacker.add((*pieces)[i]);
        if (short_) {
            Mp3Repacker next = pool.repacker;
            for (size_t i = pieces->size() - std::min(shared, pieces->size()); i < pieces->size();
                 ++i)
                next.add((*pieces)[i]);
        }
    } catch (const Error&) {
        if (block.emptyReservoir)
            throw;
        // Encoded again from the seam on, its encoder's reservoir empty there: it fits.
        pool.repacker = before;
        const qint64 spf = m_samplesPerFrame;
        again.keepFrom = block.keepFrom + qint64(seam);
        again.keepTo = block.keepTo;
        again.firstSample = std::max<qint64>(0, again.keepFrom - m_settings.warmUpFrames) * spf;
        again.emptyReservoir = true;
        const auto skip = qsizetype((again.firstSample - block.firstSample) * m_settings.channels);
        again.pcm.assign(block.pcm.begin() + skip, block.pcm.end());
        if (!pool.spare)
            pool.spare = std::make_unique<Lame>(m_settings);
        const QString failure = encodeBlock(*pool.spare, again, m_samplesPerFrame);
        if (!failure.isEmpty())
            throw Error(failure);
        ++m_encodedAgain;
        pieces = &again.pieces;
        for (size_t i = 0; i + shared < pieces->size(); ++i)
            pool.repacker.add((*pieces)[i]);
    }
    pool.tail.assign(pieces->end() - qsizetype(std::min(shared, pieces->size())), pieces->end());
}

bool LameEncoder::takeFrame(std::vector<uint8_t>& frame, bool wait) {
    if (m_lame) {
        if (m_ready.empty())
            return false;
        frame = std::move(m_ready.front());
        m_ready.pop_front();
        return true;
    }
    collect(false);
    for (;;) {
        if (m_pool->repacker.take(frame))
            return true;
        if (m_finished && m_blocksIn == m_blocksOut) {
            m_pool->repacker.finish();
            return m_pool->repacker.take(frame);
        }
        if (!wait || m_blocksIn == m_blocksOut)
            return false;
        collect(true);
    }
}
