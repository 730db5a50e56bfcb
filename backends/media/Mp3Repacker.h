#pragma once

// Private to backends/media: joins Layer III frames that several encoders made, each from its
// own bit reservoir, into one stream with one reservoir. Each frame comes apart into its header
// and side information and its main data; the main data goes back as far as it can, into the
// room earlier frames left (never further than main_data_begin and the decoder's buffer allow),
// and main_data_begin is rewritten to point at it. Room nobody takes stays zero.
//
// Frames come in stream order and go out in the same order, complete, one frame per call.

#include "backends/media/Mp3Frame.h"

#include <QtGlobal>
#include <deque>
#include <vector>

class Mp3Repacker {
public:
    struct Piece {
        std::vector<uint8_t> head; // header and side information, as the encoder wrote them
        std::vector<uint8_t> mainData;
    };

    // Cuts one frame's main data out of the stream it came in: `payload` holds the payload
    // bytes (all but header and side information) of that stream's frames up to and including
    // this one, whose own payload starts at `payloadStart`. False when the main data lies
    // outside them.
    static bool cut(const uint8_t* frameBytes, const Mp3Frame& frame,
                    const std::vector<uint8_t>& payload, size_t payloadStart, Piece& piece);

    // variableBitRate: a frame whose main data does not fit may take a higher bit rate.
    explicit Mp3Repacker(bool variableBitRate) : m_variable(variableBitRate) {}

    // Places one frame. Raises Error when its main data cannot be placed (a constant bit rate
    // stream whose reservoir ran short).
    void add(const Piece& piece);
    // No more frames: every frame may go out.
    void finish() { m_finished = true; }
    // Moves the next complete frame into `frame`; false when none is ready.
    bool take(std::vector<uint8_t>& frame);

    qint64 framesIn() const { return m_framesIn; }
    // Free bytes between the last main data and the end of the last frame: how far back the
    // next frame's main data can start, up to its reach.
    qint64 room() const { return m_payloadEnd - m_written; }
    // The main_data_begin a piece came with from its encoder.
    static int ownMainDataBegin(const Piece& piece);

private:
    struct Slot {
        std::vector<uint8_t> bytes;
        qint64 payloadStart = 0; // in bytes of payload of the whole stream
        qint64 payloadEnd = 0;
        int headSize = 0;
    };

    void place(const std::vector<uint8_t>& data, qint64 at);

    bool m_variable;
    bool m_finished = false;
    std::deque<Slot> m_slots; // frames that may still take main data, then finished ones
    qint64 m_payloadEnd = 0;  // payload bytes of every frame so far
    qint64 m_written = 0;     // where the last main data ends
    qint64 m_framesIn = 0;
};
