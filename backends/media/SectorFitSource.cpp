#include "backends/media/SectorFitSource.h"

#include "components/Error.h"

#include <algorithm>
#include <vector>

SectorFitSource::SectorFitSource(std::unique_ptr<PcmSource> inner, qint64 sectors)
    : m_inner(std::move(inner)), m_total(std::max<qint64>(sectors, 0) * kCdFramesPerSector) {
    const PcmFormat format = m_inner->format();
    if (!(format == PcmFormat::cdAudio()))
        throw Error(QStringLiteral("Cannot make CD audio of %1 Hz, %2 channel(s): it must be "
                                   "44100 Hz stereo")
                        .arg(format.sampleRate)
                        .arg(format.channels));
}

qint64 SectorFitSource::read(qint16* buffer, qint64 maxFrames) {
    const qint64 wanted = std::min(maxFrames, m_total - m_done);
    qint64 got = 0;
    while (!m_innerEnded && got < wanted) {
        const qint64 n = m_inner->read(buffer + got * 2, wanted - got);
        if (n == 0)
            m_innerEnded = true;
        got += n;
    }
    if (!m_innerEnded && m_done + got == m_total) {
        // The source has more than the announced length: read it to its end (its errors, such
        // as a truncated file, still count) and drop it.
        std::vector<qint16> rest(size_t(4096) * 2);
        while (const qint64 n = m_inner->read(rest.data(), 4096))
            m_padded -= n;
        m_innerEnded = true;
    }
    std::fill(buffer + got * 2, buffer + wanted * 2, qint16(0));
    m_padded += wanted - got;
    m_done += wanted;
    return wanted;
}
