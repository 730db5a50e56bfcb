#pragma once

#include "backends/burn/DiscVerifier.h"
#include "backends/burn/ImageSink.h"
#include "backends/cdio/DiscDescription.h"

#include <QFuture>
#include <QObject>
#include <QTimer>

#include <memory>

class MediaJob;

namespace burning {

// A whole audio CD read into a CUE/BIN image, the first half of a copy: every sector from the
// first track to the lead-out with full paranoia (the drive's read offset corrected), the gaps
// kept as INDEX 00 data, the catalogue number, the ISRCs, the flags and the CD-Text in the cue
// sheet. The image is written as the image recorder writes its own: both files appear only
// when the image is complete, under a name not yet taken.
//
// Widget-free; the window and melvane-cli both drive it. start() returns at once; progress()
// and then finished() or failed() follow on the calling thread.
class DiscImageRip final : public QObject {
    Q_OBJECT
public:
    explicit DiscImageRip(ImageOutput& output, QObject* parent = nullptr);
    ~DiscImageRip() override;

    // Reads the disc's description and starts reading it into folder/<baseName>.bin and .cue;
    // an empty base name takes the disc's CD-Text title, else "Audio CD". Raises Error at once
    // when there is no disc, it holds a data track, or the folder cannot take the image.
    void start(const cdio::Drive& drive, const QString& folder, const QString& baseName,
               qint32 offsetFrames);
    // Returns at once; nothing more is reported and no file is left.
    void cancel();

    const cdio::DiscDescription& description() const { return m_disc; }

Q_SIGNALS:
    void progress(int percent);
    void finished(const QString& cuePath);
    void failed(const QString& message);

private:
    ImageOutput& m_output;
    cdio::DiscDescription m_disc;
    std::unique_ptr<MediaJob> m_job;
    std::shared_ptr<QString> m_baseName;
    QString m_folder;
};

// An image compared with the disc it was read from, sector by sector, read again with full
// paranoia: what makes a copy's rip trustworthy before it is burnt. Widget-free; start()
// returns at once and finished() follows on the calling thread.
class ImageComparison final : public QObject {
    Q_OBJECT
public:
    explicit ImageComparison(QObject* parent = nullptr);
    ~ImageComparison() override;

    // Raises Error when the image cannot be read.
    void start(const cdio::Drive& disc, const QString& cuePath);
    void cancel();
    int percent() const;

Q_SIGNALS:
    void progress(int percent);
    void finished(const std::vector<TrackCheck>& checks);

private:
    std::unique_ptr<WriteRecord> m_record;
    std::unique_ptr<DiscVerifier> m_verifier;
    QFuture<std::vector<TrackCheck>> m_running;
    QTimer m_poll;
};

} // namespace burning
