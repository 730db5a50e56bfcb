#pragma once

#include "backends/burn/BurnRun.h"
#include "backends/burn/ImageSink.h"
#include "backends/burn/Recorder.h"
#include "backends/burn/TrackFeed.h"
#include "components/AudioBurner.h"

#include <QDateTime>
#include <QHash>
#include <QList>

#include <memory>
#include <optional>
#include <vector>

namespace burning {

class DiscImageSource;
class ImageRecorder;
class LibburnLibrary;

// The burning engine: the drives libburn finds, then the image recorder. The compilation holds
// the files as they are; opener probes each file when it is added and decodes it on the fly
// during the burn; images writes the image recorder's files. Both must outlive the engine.
// The exact length of a file, once a burn has learnt it, is kept (while the file is unchanged)
// so that the next burn need not count it again.
class Burner final : public AudioBurner {
    Q_OBJECT
public:
    Burner(TrackOpener& opener, ImageOutput& images, QObject* parent = nullptr);
    // The same, owning them.
    Burner(std::unique_ptr<TrackOpener> opener, std::unique_ptr<ImageOutput> images,
           QObject* parent = nullptr);
    ~Burner() override;

    void Eject() override;
    void RefreshDisc() override;
    void StartBurn() override;
    void CancelBurn() override;
    void AddTrack(const QString& path) override;
    void RemoveTrack() override;
    void ClearTracks() override;

    qint32 CompilationSize() const override;
    qint16 RecorderCount() override;
    qint16 CurrentRecorder() const override { return m_current; }
    void setCurrentRecorder(qint16 recorder) override;
    qint32 RecorderType() const override { return facts().type; }
    QString RecorderVendor() const override { return listing().vendor; }
    QString RecorderProduct() const override { return listing().product; }
    QString RecorderRevision() const override { return listing().revision; }
    qint16 MaxReadSpeed() const override { return facts().maxReadSpeed; }
    qint16 MaxWriteSpeed() const override {
        return facts().supported ? facts().maxWriteSpeed() : 0;
    }
    qint32 BufferSize() const override { return facts().bufferBytes; }
    qint16 BufferFill() const override { return m_status.bufferFill; }
    bool BurnProofFlag() const override { return facts().burnProof; }
    qint32 State() const override { return m_status.state; }
    bool RecorderSupported() const override { return facts().supported; }
    qint32 MediaType() const override { return m_disc.mediaType; }
    qint32 MediaStatus() const override { return m_disc.mediaStatus; }
    qint32 MediaUsedSize() const override;
    qint16 SelectedTrack() const override { return m_selectedTrack; }
    void setSelectedTrack(qint16 track) override { m_selectedTrack = track; }
    qint16 WriteSpeed() const override { return m_writeSpeed; }
    void setWriteSpeed(qint16 factor) override;
    qint32 BurnMethod() const override { return m_method; }
    void setBurnMethod(qint32 method) override { m_method = method; }
    bool RealBurn() const override { return m_realBurn; }
    void setRealBurn(bool real) override { m_realBurn = real; }
    bool KeepDiscOpen() const override { return m_keepOpen; }
    void setKeepDiscOpen(bool open) override { m_keepOpen = open; }
    qint32 TotalBlocks() const override { return m_status.totalBlocks; }
    qint32 WrittenBlocks() const override { return m_status.writtenBlocks; }
    qint32 TrackPhase() const override { return m_status.trackPhase; }
    qint16 CurrentTrack() const override { return m_status.track; }
    bool VerifyAfterBurning() const override { return m_verify; }
    void setVerifyAfterBurning(bool verify) override { m_verify = verify; }

    // The log of the last burn; empty before the first, or when it could not be written.
    const QString& lastLog() const { return m_lastLog; }

    // The image recorder, which the command line and the tests address directly.
    ImageRecorder& imageRecorder() { return *m_image; }

private:
    // A file (info), or a CUE sheet that is a whole disc (image); error when it is neither.
    struct Track {
        QString path;
        std::optional<TrackInfo> info;
        std::shared_ptr<const DiscImageSource> image;
        QString error;
    };
    struct KnownLength {
        qint64 size = 0;
        QDateTime modified;
        qint64 frames = 0;
    };

    Recorder* current() const;
    const RecorderFacts& facts() const;
    const RecorderFacts& listing() const;
    QList<qint16> offered() const;
    void scan();
    void runProgressed();
    void runFinished(qint32 code, const QString& text);
    std::vector<PlannedTrack> planTracks(DiscInfo& disc);
    void passNotices();
    void keepLengths();
    void writeLog(qint32 code, const QString& text);
    std::optional<qint64> knownLength(const QString& path) const;

    std::unique_ptr<TrackOpener> m_ownedOpener;
    std::unique_ptr<ImageOutput> m_ownedImages;
    TrackOpener& m_opener;
    std::unique_ptr<LibburnLibrary> m_library;
    std::vector<std::unique_ptr<Recorder>> m_drives;
    std::unique_ptr<ImageRecorder> m_image;
    QList<Track> m_tracks;
    qint16 m_current = 1;
    qint16 m_selectedTrack = 0;
    qint16 m_writeSpeed = 0;
    qint32 m_method = 0;
    bool m_realBurn = true;
    bool m_keepOpen = false;
    bool m_verify = false;
    DiscFacts m_disc;
    QHash<QString, KnownLength> m_lengths;
    QDateTime m_started;
    QString m_lastLog;
    QList<BurnRun::Notice> m_notices; // of the running burn, for its log
    BurnRun::Status m_status;
    std::unique_ptr<BurnRun> m_run; // after the recorders: a run ends before they go
};

// The engine as both programs run it: files decoded on the fly by the media core, the image
// recorder's discs written as CUE/BIN files.
std::unique_ptr<Burner> makeBurner();

} // namespace burning
