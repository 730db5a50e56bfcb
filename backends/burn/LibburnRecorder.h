#pragma once

#include "backends/burn/Libburn.h"
#include "backends/burn/Recorder.h"

#include <optional>

namespace burning {

// A CD/DVD drive driven by libburn. The drive is opened only for each use (reading its facts
// or its disc, ejecting, burning) and released afterwards, so that other programs, and
// ripping, can use it in between.
class LibburnRecorder final : public Recorder {
public:
    explicit LibburnRecorder(const ScannedDrive& drive);

    const RecorderFacts& facts() override;
    const RecorderFacts& listing() override { return m_listing; }
    QString address() const override {
        return QStringLiteral("(%1)").arg(QString::fromLocal8Bit(m_scanned.address));
    }
    DiscFacts refreshDisc() override;
    void eject() override;
    std::unique_ptr<BurnRun> prepareBurn(std::vector<PlannedTrack> tracks, const DiscInfo& disc,
                                         const BurnSettings& settings) override;

private:
    void learn(const LibburnDrive& drive);

    ScannedDrive m_scanned;
    RecorderFacts m_listing; // what the scan saw
    std::optional<RecorderFacts> m_facts;
};

} // namespace burning
