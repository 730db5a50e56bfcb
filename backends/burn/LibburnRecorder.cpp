#include "backends/burn/LibburnRecorder.h"

#include "backends/burn/LibburnRun.h"
#include "backends/media/OffTheWindow.h"
#include "components/Error.h"

namespace burning {

LibburnRecorder::LibburnRecorder(const ScannedDrive& drive) : m_scanned(drive) {
    m_listing.vendor = drive.vendor;
    m_listing.product = drive.product;
    m_listing.revision = drive.revision;
    m_listing.bufferBytes = drive.bufferBytes;
    m_listing.supported = drive.writesCd;
    m_listing.type = recorderTypeFor({}, drive.writesCd, false);
}

void LibburnRecorder::learn(const LibburnDrive& drive) {
    m_facts = drive.facts();
    if (m_facts->bufferBytes == 0)
        m_facts->bufferBytes = m_scanned.bufferBytes;
}

// A drive is grabbed, asked and let go in seconds when its disc spins up: off the window's
// thread, so that the window keeps painting meanwhile.
const RecorderFacts& LibburnRecorder::facts() {
    if (!m_facts) {
        try {
            offTheWindow([&] { learn(LibburnDrive(m_scanned.address)); });
        } catch (const Error&) {
            // Busy elsewhere: show what the scan saw; the next disc refresh tries again.
            m_facts = m_listing;
        }
    }
    return *m_facts;
}

DiscFacts LibburnRecorder::refreshDisc() {
    return offTheWindow([&] {
        LibburnDrive drive(m_scanned.address);
        learn(drive); // the speeds depend on the disc
        return drive.disc();
    });
}

void LibburnRecorder::eject() {
    offTheWindow([&] {
        LibburnDrive drive(m_scanned.address);
        drive.ejectOnRelease();
    });
}

std::unique_ptr<BurnRun> LibburnRecorder::prepareBurn(std::vector<PlannedTrack> tracks,
                                                      const DiscInfo& discInfo,
                                                      const BurnSettings& settings) {
    auto drive = offTheWindow([&] { return std::make_unique<LibburnDrive>(m_scanned.address); });
    const DiscFacts disc = offTheWindow([&] {
        learn(*drive);
        return drive->disc();
    });
    const QString recorder = name();
    if (!disc.present())
        throw Error(QStringLiteral("There is no disc in %1.").arg(recorder));
    if (disc.mediaStatus != 0 && disc.mediaStatus != 1)
        throw Error(
            QStringLiteral("The disc in %1 cannot be written: %2")
                .arg(recorder, disc.mediaStatus == 2
                                   ? QStringLiteral("it is closed or read-only.")
                                   : QStringLiteral("the recorder cannot tell its state.")));
    return std::make_unique<LibburnRun>(std::move(drive), recorder, std::move(tracks), discInfo,
                                        settings, DiscLayout::Mode::Audio);
}

} // namespace burning
