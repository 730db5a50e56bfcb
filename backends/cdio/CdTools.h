#pragma once

#include "backends/cdio/DriveTools.h"
#include "backends/media/CodecRunner.h"

namespace cdio {

// The CD tools in full: DriveTools with ripping. A rip reads the track with full paranoia
// (DiscReader) into an encoder as one media job, run as the codec components run theirs;
// RipProgress and Failed arrive queued on the user-interface thread. One rip at a time:
// starting another cancels the running one (its temporary file goes and it reports nothing
// more, unless its file was already complete), as the rip panel expects when the user presses
// Rip again.
class CdTools final : public DriveTools {
    Q_OBJECT
public:
    explicit CdTools(std::shared_ptr<DriveTable> drives, QObject* parent = nullptr);

    void RipTrackToWav(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void RipTrackToMp3(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void RipTrackToWma(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void CancelRip() override;

private:
    void rip(qint32 address, const QString& path, qint32 track, OutputCodec codec);

    CodecRunner m_runner;
};

} // namespace cdio
