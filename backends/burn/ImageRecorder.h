#pragma once

#include "backends/burn/ImageSink.h"
#include "backends/burn/Recorder.h"

#include <functional>

namespace burning {

// The "Image Recorder": a CD-R writer whose disc becomes a CUE/BIN pair with the same base name
// in the image folder (MELVANE_IMAGE_DIR, else the music folder). It holds a blank 80-minute
// CD-R; a burn leaves the disc closed (or open, when kept open) until Eject puts in a fresh
// blank one. An image holds one session: an open disc reports itself appendable, yet a further
// burn asks for Eject. It writes as fast as the tracks decode; the speeds are those of a real
// writer so that choosing one behaves as it would on a drive.
class ImageRecorder final : public Recorder {
public:
    // Sectors an 80-minute CD-R holds after its 2-second pregap.
    static constexpr qint64 kCapacitySectors = 80 * 60 * kSectorsPerSecond - 150;

    explicit ImageRecorder(ImageOutput& output);

    const RecorderFacts& facts() override { return m_facts; }
    DiscFacts refreshDisc() override { return m_disc; }
    void eject() override;
    std::unique_ptr<BurnRun> prepareBurn(std::vector<PlannedTrack> tracks, const DiscInfo& disc,
                                         const BurnSettings& settings) override;

    // Where images go now.
    static QString folder();
    // The base name (no extension) of the last image burnt; empty before the first.
    const QString& lastImage() const { return m_lastImage; }
    // Called with the CUE sheet's path each time a burn has put an image in place (not for a
    // test burn), on the user-interface thread before the burn ends: the disc is then readable.
    void setImageWritten(std::function<void(const QString& cuePath)> written) {
        m_imageWritten = std::move(written);
    }

private:
    ImageOutput& m_output;
    RecorderFacts m_facts;
    DiscFacts m_disc;
    QString m_lastImage;
    std::function<void(const QString&)> m_imageWritten;
};

} // namespace burning
