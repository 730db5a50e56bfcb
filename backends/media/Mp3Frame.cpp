#include "backends/media/Mp3Frame.h"

#include <algorithm>

namespace {

constexpr int kMpeg1Rates[] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
constexpr int kMpeg2Rates[] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
constexpr int kSampleRates[] = {44100, 48000, 32000};
// Bytes a decoder keeps for one frame's main data and what it borrows from earlier frames.
constexpr int kMainDataWindow = 1440;

class BitReader {
public:
    explicit BitReader(const uint8_t* data) : m_data(data) {}
    int read(int bits) {
        int value = 0;
        for (int i = 0; i < bits; ++i, ++m_bit)
            value = (value << 1) | ((m_data[m_bit / 8] >> (7 - m_bit % 8)) & 1);
        return value;
    }
    void skip(int bits) { m_bit += bits; }

private:
    const uint8_t* m_data;
    int m_bit = 0;
};

int kbps(bool mpeg1, int index) {
    return index > 0 && index < 15 ? (mpeg1 ? kMpeg1Rates : kMpeg2Rates)[index] : 0;
}

int sizeOf(bool mpeg1, int index, int sampleRate, bool padding) {
    const int rate = kbps(mpeg1, index);
    if (rate == 0 || sampleRate == 0)
        return 0;
    return (mpeg1 ? 144000 : 72000) * rate / sampleRate + (padding ? 1 : 0);
}

// CRC-16 (polynomial 0x8005) over the header's last two bytes and the side information.
void updateCrc(uint8_t* data, const Mp3Frame& frame) {
    if (!frame.crc)
        return;
    unsigned crc = 0xffff;
    auto feed = [&crc](uint8_t byte) {
        for (int i = 7; i >= 0; --i) {
            const bool top = ((crc >> 15) ^ (byte >> i)) & 1;
            crc = (crc << 1) & 0xffff;
            if (top)
                crc ^= 0x8005;
        }
    };
    feed(data[2]);
    feed(data[3]);
    for (int i = 6; i < frame.sideInfoEnd; ++i)
        feed(data[i]);
    data[4] = uint8_t(crc >> 8);
    data[5] = uint8_t(crc);
}

} // namespace

int Mp3Frame::bitRate() const {
    return kbps(mpeg1, bitRateIndex) * 1000;
}

int Mp3Frame::reach(bool mpeg1, int frameSize) {
    return std::clamp(kMainDataWindow - frameSize, 0, mpeg1 ? 511 : 255);
}

bool parseMp3Frame(const uint8_t* data, size_t available, Mp3Frame& frame) {
    if (available < 4 || data[0] != 0xff || (data[1] & 0xe0) != 0xe0)
        return false;
    const int version = (data[1] >> 3) & 3; // 0: 2.5, 2: 2, 3: 1
    const int layer = (data[1] >> 1) & 3;   // 1: Layer III
    const int rateIndex = (data[2] >> 2) & 3;
    if (version == 1 || layer != 1 || rateIndex == 3)
        return false;
    Mp3Frame f;
    f.mpeg1 = version == 3;
    f.crc = !(data[1] & 1);
    f.bitRateIndex = data[2] >> 4;
    f.sampleRate = kSampleRates[rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    f.padding = (data[2] >> 1) & 1;
    f.channels = (data[3] >> 6) == 3 ? 1 : 2;
    f.size = sizeOf(f.mpeg1, f.bitRateIndex, f.sampleRate, f.padding);
    const int sideInfo = f.mpeg1 ? (f.channels == 1 ? 17 : 32) : (f.channels == 1 ? 9 : 17);
    f.sideInfoEnd = 4 + (f.crc ? 2 : 0) + sideInfo;
    if (f.size == 0 || f.size < f.sideInfoEnd || available < size_t(f.sideInfoEnd))
        return false;

    BitReader side(data + 4 + (f.crc ? 2 : 0));
    f.mainDataBegin = side.read(f.mpeg1 ? 9 : 8);
    side.skip(f.mpeg1 ? (f.channels == 1 ? 5 : 3) + 4 * f.channels : f.channels);
    const int granules = f.mpeg1 ? 2 : 1;
    for (int gr = 0; gr < granules; ++gr) {
        for (int ch = 0; ch < f.channels; ++ch) {
            f.mainDataBits += side.read(12);
            // big_values, global_gain, scalefac_compress, the window or region fields, then
            // preflag (MPEG-1 only), scalefac_scale and count1table_select.
            side.skip(9 + 8 + (f.mpeg1 ? 4 : 9) + 1 + 22 + (f.mpeg1 ? 3 : 2));
        }
    }
    frame = f;
    return true;
}

int mp3FrameSize(const Mp3Frame& frame, int bitRateIndex) {
    return sizeOf(frame.mpeg1, bitRateIndex, frame.sampleRate, frame.padding);
}

void setMainDataBegin(uint8_t* data, const Mp3Frame& frame, int value) {
    uint8_t* side = data + 4 + (frame.crc ? 2 : 0);
    if (frame.mpeg1) {
        side[0] = uint8_t(value >> 1);
        side[1] = uint8_t((side[1] & 0x7f) | ((value & 1) << 7));
    } else {
        side[0] = uint8_t(value);
    }
    updateCrc(data, frame);
}

void setBitRateIndex(uint8_t* data, const Mp3Frame& frame, int index) {
    data[2] = uint8_t((data[2] & 0x0f) | (index << 4));
    updateCrc(data, frame);
}
