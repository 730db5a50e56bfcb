#include "backends/media/Mp3Repacker.h"

#include "components/Error.h"

#include <algorithm>
#include <cstring>

bool Mp3Repacker::cut(const uint8_t* frameBytes, const Mp3Frame& frame,
                      const std::vector<uint8_t>& payload, size_t payloadStart, Piece& piece) {
    const size_t begin = payloadStart - size_t(frame.mainDataBegin);
    const size_t length = size_t(frame.mainDataBytes());
    if (size_t(frame.mainDataBegin) > payloadStart ||
        begin + length > payloadStart + size_t(frame.payloadSize()) ||
        begin + length > payload.size())
        return false;
    piece.head.assign(frameBytes, frameBytes + frame.sideInfoEnd);
    piece.mainData.assign(payload.begin() + qsizetype(begin),
                          payload.begin() + qsizetype(begin + length));
    return true;
}

int Mp3Repacker::ownMainDataBegin(const Piece& piece) {
    Mp3Frame frame;
    return parseMp3Frame(piece.head.data(), piece.head.size(), frame) ? frame.mainDataBegin : 0;
}

void Mp3Repacker::add(const Piece& piece) {
    Mp3Frame frame;
    if (!parseMp3Frame(piece.head.data(), piece.head.size(), frame) ||
        piece.head.size() != size_t(frame.sideInfoEnd))
        throw Error(
            QStringLiteral("frame %1 from the encoder is not a Layer III frame").arg(m_framesIn));
    Slot slot;
    slot.bytes.assign(size_t(frame.size), 0);
    std::memcpy(slot.bytes.data(), piece.head.data(), piece.head.size());
    slot.payloadStart = m_payloadEnd;
    const qint64 length = qint64(piece.mainData.size());
    // As far back as LAME's streams go, or as far as this frame's own encoder went (its reach
    // follows the frame before, whose size may differ here); never past main_data_begin's 511.
    const int ownReach = frame.mainDataBegin;
    qint64 start = 0;
    for (;;) {
        slot.payloadEnd = slot.payloadStart + frame.payloadSize();
        start = std::max(m_written, slot.payloadStart - std::max(ownReach, frame.reach()));
        if (start + length <= slot.payloadEnd)
            break;
        // Only a variable bit rate stream may grow a frame to make room.
        const int bigger = frame.bitRateIndex + 1;
        if (!m_variable || bigger > 14)
            throw Error(QStringLiteral("the main data of frame %1 (%2 bytes) does not fit the "
                                       "bit reservoir")
                            .arg(m_framesIn)
                            .arg(length));
        setBitRateIndex(slot.bytes.data(), frame, bigger);
        frame.bitRateIndex = bigger;
        frame.size = mp3FrameSize(frame, bigger);
        slot.bytes.resize(size_t(frame.size), 0);
    }
    setMainDataBegin(slot.bytes.data(), frame, int(slot.payloadStart - start));
    slot.headSize = frame.sideInfoEnd;
    m_payloadEnd = slot.payloadEnd;
    m_slots.push_back(std::move(slot));
    place(piece.mainData, start);
    m_written = start + length;
    ++m_framesIn;
}

void Mp3Repacker::place(const std::vector<uint8_t>& data, qint64 at) {
    size_t done = 0;
    for (Slot& slot : m_slots) {
        if (done == data.size())
            break;
        if (slot.payloadEnd <= at)
            continue;
        const qint64 offset = at - slot.payloadStart;
        const size_t n = std::min(data.size() - done, size_t(slot.payloadEnd - at));
        std::memcpy(slot.bytes.data() + slot.headSize + offset, data.data() + done, n);
        done += n;
        at += qint64(n);
    }
}

bool Mp3Repacker::take(std::vector<uint8_t>& frame) {
    if (m_slots.empty())
        return false;
    const Slot& first = m_slots.front();
    // Final once later main data can no longer land in it: it is full, or out of reach.
    const bool final = m_finished || first.payloadEnd <= m_written ||
                       first.payloadEnd <= m_payloadEnd - Mp3Frame::reach(true, 0);
    if (!final)
        return false;
    frame = std::move(m_slots.front().bytes);
    m_slots.pop_front();
    return true;
}
