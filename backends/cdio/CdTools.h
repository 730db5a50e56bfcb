#pragma once

#include "backends/cdio/ChosenReleases.h"
#include "backends/cdio/DriveTools.h"
#include "backends/media/CodecRunner.h"

#include <deque>
#include <memory>
#include <optional>

class SettingsStore;

namespace cdio {

class AccurateRipCheck;
struct ParanoiaStats;
struct RipRecord;
class TrackChecksums;

// The CD tools in full: DriveTools with ripping. A rip reads the track with full paranoia
// (DiscReader) into a tagged file and its checksums as one media job, run as the codec
// components run theirs; RipProgress, RipNote and Failed arrive queued on the user-interface
// thread. One rip at a time: starting another cancels the running one (its temporary file goes
// and it reports nothing more, unless its file was already complete), as the rip panel expects
// when the user presses Rip again.
//
// A drive's read offset, in samples, is the setting ReadOffset under the key "Melvane" (see
// setSettings); an image has none. A rip job keeps one offset: a changed setting starts a new job.
//
// The tracks of a job are kept for its log and cue sheet: the disc's CD-Text and IDs are read
// at its first rip, its AccurateRip entry fetched then, in the background, and each track's
// result noted as soon as both its checksums and the entry are in.
class CdTools final : public DriveTools {
    Q_OBJECT
public:
    explicit CdTools(std::shared_ptr<DriveTable> drives,
                     std::shared_ptr<ChosenReleases> chosen = std::make_shared<ChosenReleases>(),
                     QObject* parent = nullptr);
    ~CdTools() override;

    void RipTrackToWav(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void RipTrackToMp3(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void RipTrackToWma(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override;
    void CancelRip() override;

    void EndRipJob() override;

    // Where the read offset is kept; without settings, rips are not corrected.
    void setSettings(std::shared_ptr<SettingsStore> settings) { m_settings = std::move(settings); }
    // The offset the rips of drive correct, none when not set; raises Error for a setting
    // that is not a number of samples.
    std::optional<qint32> readOffset(const Drive& drive) const;

private:
    struct Running;
    void rip(qint32 address, const QString& path, qint32 track, OutputCodec codec,
             const QString& format);
    RipRecord& jobFor(const Drive& drive, std::optional<qint32> offset);
    void trackDone();
    void trackFailed(const QString& message);
    void noteVerdicts();
    void writeReports();

    CodecRunner m_runner;
    std::shared_ptr<ChosenReleases> m_chosen;
    std::shared_ptr<SettingsStore> m_settings;
    std::unique_ptr<RipRecord> m_job; // the job in progress, from its first rip
    // The rips whose outcome is still to come, oldest first: a rip cancelled when its file was
    // already complete still reports its 100 while the next one runs.
    std::deque<std::unique_ptr<Running>> m_running;
    AccurateRipCheck* m_check;
    int m_verdictsNoted = 0;   // of the job's tracks, in order
    bool m_endPending = false; // the job ended before the database answered
};

} // namespace cdio
