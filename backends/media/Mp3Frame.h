#pragma once

// Private to backends/media: what joining MPEG audio Layer III frames from several encoders needs
// to know of one frame: its size, where its side information ends, and where its main data
// (scale factors and Huffman codes) starts and how long it is.

#include <cstddef>
#include <cstdint>

struct Mp3Frame {
    bool mpeg1 = true; // false: MPEG-2 or MPEG-2.5 (one granule, 576 samples)
    int bitRateIndex = 0;
    int sampleRate = 0;
    bool padding = false;
    int channels = 2;
    bool crc = false;
    int size = 0;          // the whole frame in bytes
    int sideInfoEnd = 0;   // header, CRC and side information, in bytes
    int mainDataBegin = 0; // bytes before this frame's payload where its main data starts
    int mainDataBits = 0;  // part2_3_length over every granule and channel

    int payloadSize() const { return size - sideInfoEnd; }
    int mainDataBytes() const { return (mainDataBits + 7) / 8; }
    int samples() const { return mpeg1 ? 1152 : 576; }
    int bitRate() const; // bits per second
    // How far back LAME lets a frame of `frameSize` bytes reach: no further than
    // main_data_begin holds, and so that the frame's main data region stays within 1440 bytes
    // (a 320 kbit/s frame reaches back less).
    static int reach(bool mpeg1, int frameSize);
    int reach() const { return reach(mpeg1, size); }
};

// Reads the header and side information at data; false when there is no Layer III frame there
// or fewer than its header and side information are available.
bool parseMp3Frame(const uint8_t* data, size_t available, Mp3Frame& frame);

// The size in bytes of a frame like `frame` with another bit rate index; 0 for a free or bad one.
int mp3FrameSize(const Mp3Frame& frame, int bitRateIndex);

// Rewrites main_data_begin, or the bit rate index, of the frame at data, and its CRC.
void setMainDataBegin(uint8_t* data, const Mp3Frame& frame, int value);
void setBitRateIndex(uint8_t* data, const Mp3Frame& frame, int index);
