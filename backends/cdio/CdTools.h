#pragma once

#include "backends/cdio/DriveTools.h"
#include "backends/media/EncodedSink.h"

class MediaJob;

namespace cdio {

// The CD tools in full: DriveTools with ripping. A rip reads the track with full paranoia
// (DiscReader) into an encoder (EncodedSink) as one MediaJob; RipProgress and Failed arrive
// queued on the user-interface thread. One rip at a time: starting another drops the running
// one without a trace (its temporary file goes, it reports nothing more), as the rip panel
// expects when the user presses Rip again.
class CdTools final : public DriveTools {
    Q_OBJECT
public:
    explicit CdTools(std::shared_ptr<DriveTable> drives, QObject* parent = nullptr);
    ~CdTools() override;

    void RipTrackToWav(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void RipTrackToMp3(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void RipTrackToWma(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;

private:
    void rip(qint32 address, const QString& path, qint32 track, OutputCodec codec);
    void dropRunningRip();
    void onProgress(int step, qint64 framesDone);
    void onFinished();
    void onFailed(const QString& message);

    MediaJob* m_job = nullptr;
};

} // namespace cdio
