#include "backends/audio/RecordingRepair.h"

#include "components/Error.h"

#include <QtEndian>
#include <array>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// The size the WAVE muxer writes before it knows the real one.
constexpr quint32 kUnknownSize = 0xFFFFFFFF;

[[noreturn]] void failErrno(const QString& path, int err) {
    throw Error(QStringLiteral("Cannot repair the recording %1: %2")
                    .arg(path, QString::fromLocal8Bit(std::strerror(err))));
}

// Reads the file through a block cache: walking an hour of MP3 frames takes a few hundred reads,
// not one per frame.
class Reader {
public:
    Reader(int fd, const QString& path) : m_fd(fd), m_path(path) {
        struct stat info {};
        if (::fstat(fd, &info) != 0)
            failErrno(path, errno);
        m_size = info.st_size;
    }

    qint64 size() const { return m_size; }

    // False when the file ends before offset + n.
    bool read(qint64 offset, void* out, int n) {
        if (offset < 0 || offset + n > m_size)
            return false;
        auto* bytes = static_cast<char*>(out);
        while (n > 0) {
            if (offset < m_blockStart || offset >= m_blockStart + qint64(m_block.size()))
                load(offset);
            const qint64 at = offset - m_blockStart;
            const int take = int(std::min<qint64>(n, qint64(m_block.size()) - at));
            std::memcpy(bytes, m_block.data() + at, size_t(take));
            bytes += take;
            offset += take;
            n -= take;
        }
        return true;
    }

private:
    void load(qint64 offset) {
        m_block.resize(1 << 16);
        for (;;) {
            const ssize_t got = ::pread(m_fd, m_block.data(), m_block.size(), offset);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                failErrno(m_path, got < 0 ? errno : EIO);
            m_block.resize(size_t(got));
            m_blockStart = offset;
            return;
        }
    }

    int m_fd;
    QString m_path;
    qint64 m_size = 0;
    std::vector<char> m_block;
    qint64 m_blockStart = 0;
};

void writeAt(int fd, const QString& path, qint64 offset, const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t done = ::pwrite(fd, bytes, size, offset);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            failErrno(path, done < 0 ? errno : EIO);
        bytes += done;
        size -= size_t(done);
        offset += done;
    }
}

void cutAt(int fd, const QString& path, qint64 length, qint64 size) {
    if (length < size && ::ftruncate(fd, off_t(length)) != 0)
        failErrno(path, errno);
}

void writeLe32(int fd, const QString& path, qint64 offset, quint32 value) {
    const quint32 le = qToLittleEndian(value);
    writeAt(fd, path, offset, &le, 4);
}

double repairWave(int fd, const QString& path, Reader& file) {
    qint64 at = 12;
    qint64 dataStart = -1;
    quint32 storedSize = 0;
    quint16 blockAlign = 0;
    quint32 byteRate = 0;
    char chunk[8];
    while (dataStart < 0 && file.read(at, chunk, 8)) {
        const quint32 size = qFromLittleEndian<quint32>(chunk + 4);
        if (std::memcmp(chunk, "fmt ", 4) == 0) {
            char fmt[16];
            if (!file.read(at + 8, fmt, 16))
                break;
            byteRate = qFromLittleEndian<quint32>(fmt + 8);
            blockAlign = qFromLittleEndian<quint16>(fmt + 12);
        } else if (std::memcmp(chunk, "data", 4) == 0) {
            dataStart = at + 8;
            storedSize = size;
            break;
        }
        at += 8 + qint64(size) + (size & 1);
    }
    if (dataStart < 0 || blockAlign == 0 || byteRate == 0)
        throw Error(QStringLiteral("Cannot repair the recording %1: its WAVE header is incomplete, "
                                   "so it holds no audio that can be read.")
                        .arg(path));
    const qint64 available = file.size() - dataStart;
    qint64 data = storedSize != kUnknownSize && storedSize <= available
                      ? qint64(storedSize)
                      : available / blockAlign * blockAlign;
    // The sizes are 32-bit: a longer recording keeps what they can describe.
    data = std::min<qint64>(data, (qint64(kUnknownSize) - dataStart) / blockAlign * blockAlign);
    // A chunk of odd length would need a pad byte: one frame less instead (8-bit mono only).
    if (data & 1)
        data -= blockAlign;
    cutAt(fd, path, dataStart + data, file.size());
    writeLe32(fd, path, dataStart - 4, quint32(data));
    writeLe32(fd, path, 4, quint32(dataStart + data - 8));
    return double(data) / byteRate;
}

struct Mp3Frame {
    int version = 0; // 3 MPEG-1, 2 MPEG-2, 0 MPEG-2.5
    int sampleRate = 0;
    int length = 0;
    int samples = 0;
    bool mono = false;
};

// A Layer III frame header, as LAME and shine write them.
bool parseFrame(const unsigned char* h, Mp3Frame& frame) {
    if (h[0] != 0xFF || (h[1] & 0xE0) != 0xE0)
        return false;
    const int version = (h[1] >> 3) & 3;
    const int layer = (h[1] >> 1) & 3;
    const int bitrateIndex = h[2] >> 4;
    const int rateIndex = (h[2] >> 2) & 3;
    if (version == 1 || layer != 1 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3)
        return false;
    static constexpr std::array<int, 15> kMpeg1 = {0,   32,  40,  48,  56,  64,  80, 96,
                                                   112, 128, 160, 192, 224, 256, 320};
    static constexpr std::array<int, 15> kMpeg2 = {0,  8,  16, 24,  32,  40,  48, 56,
                                                   64, 80, 96, 112, 128, 144, 160};
    static constexpr std::array<int, 3> kRates = {44100, 48000, 32000};
    const int kbps = version == 3 ? kMpeg1[size_t(bitrateIndex)] : kMpeg2[size_t(bitrateIndex)];
    frame.version = version;
    frame.sampleRate = kRates[size_t(rateIndex)] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    frame.samples = version == 3 ? 1152 : 576;
    frame.length = (frame.samples / 8) * kbps * 1000 / frame.sampleRate + ((h[2] >> 1) & 1);
    frame.mono = (h[3] >> 6) == 3;
    return true;
}

double repairMp3(int fd, const QString& path, Reader& file) {
    qint64 at = 0;
    unsigned char id3[10];
    if (file.read(0, id3, 10) && std::memcmp(id3, "ID3", 3) == 0) {
        const qint64 tag = (qint64(id3[6] & 0x7F) << 21) | ((id3[7] & 0x7F) << 14) |
                           ((id3[8] & 0x7F) << 7) | (id3[9] & 0x7F);
        at = 10 + tag + ((id3[5] & 0x10) ? 10 : 0);
    }
    unsigned char header[4];
    Mp3Frame first;
    if (!file.read(at, header, 4) || !parseFrame(header, first))
        return 0; // nothing but the tag was written
    // The first frame may be the Xing (or Info) frame: a silent frame whose counts the encoder
    // fills in at the end.
    const qint64 start = at;
    const int sideInfo = first.version == 3 ? (first.mono ? 17 : 32) : (first.mono ? 9 : 17);
    const qint64 xing = at + 4 + sideInfo;
    char tag[8];
    const bool hasXing = file.read(xing, tag, 8) &&
                         (std::memcmp(tag, "Xing", 4) == 0 || std::memcmp(tag, "Info", 4) == 0);
    qint64 frames = 0;
    Mp3Frame frame;
    while (file.read(at, header, 4) && parseFrame(header, frame) &&
           frame.version == first.version && frame.sampleRate == first.sampleRate &&
           at + frame.length <= file.size()) {
        at += frame.length;
        ++frames;
    }
    const qint64 audioFrames = frames - (hasXing ? 1 : 0);
    if (audioFrames <= 0)
        return 0;
    cutAt(fd, path, at, file.size());
    if (hasXing) {
        const quint32 flags = qFromBigEndian<quint32>(tag + 4);
        qint64 field = xing + 8;
        if (flags & 1) {
            const quint32 count = qToBigEndian(quint32(audioFrames));
            writeAt(fd, path, field, &count, 4);
            field += 4;
        }
        if (flags & 2) {
            const quint32 bytes = qToBigEndian(quint32(at - start));
            writeAt(fd, path, field, &bytes, 4);
        }
    }
    return double(audioFrames) * first.samples / first.sampleRate;
}

} // namespace

double repairRecording(int fd, const QString& path) {
    Reader file(fd, path);
    char start[12] = {};
    file.read(0, start, 12);
    double seconds = 0;
    if (std::memcmp(start, "RIFF", 4) == 0 && std::memcmp(start + 8, "WAVE", 4) == 0)
        seconds = repairWave(fd, path, file);
    else if (std::memcmp(start, "ID3", 3) == 0 ||
             (quint8(start[0]) == 0xFF && (quint8(start[1]) & 0xE0) == 0xE0))
        seconds = repairMp3(fd, path, file);
    else if (file.size() > 0)
        throw Error(QStringLiteral("Cannot repair the recording %1: it is neither an MP3 nor a "
                                   "WAVE file.")
                        .arg(path));
    if (::fdatasync(fd) != 0)
        failErrno(path, errno);
    return seconds;
}
