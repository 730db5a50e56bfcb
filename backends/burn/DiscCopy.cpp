#include "backends/burn/DiscCopy.h"

#include "backends/burn/CueSheet.h"
#include "backends/burn/DiscImageSource.h"
#include "backends/cdio/CueSheet.h"
#include "backends/cdio/DiscReader.h"
#include "backends/media/MediaJob.h"
#include "backends/media/WorkThreads.h"
#include "components/Error.h"

#include <QFile>
#include <QtConcurrent/QtConcurrentRun>

namespace burning {

namespace {

// The image's sink as the media job sees it: the reader's frames collected into whole
// sectors; commit() puts the image in place with its cue sheet and keeps the name it got.
class ImagePcmSink final : public PcmSink {
public:
    ImagePcmSink(std::unique_ptr<ImageSink> sink, ImageSink::CueText cue,
                 std::shared_ptr<QString> baseName)
        : m_sink(std::move(sink)), m_cue(std::move(cue)), m_baseName(std::move(baseName)) {}

    PcmFormat format() const override { return PcmFormat::cdAudio(); }
    void write(const qint16* buffer, qint64 frames) override {
        m_pending.append(reinterpret_cast<const char*>(buffer), frames * kFrameBytes);
        const qint64 whole = m_pending.size() - m_pending.size() % kAudioSectorBytes;
        if (whole > 0) {
            m_sink->writeSectors(m_pending.constData(), whole);
            m_pending.remove(0, whole);
        }
    }
    void finish() override {}
    void commit() override {
        if (!m_pending.isEmpty())
            throw Error(QStringLiteral("The disc ended inside a sector."));
        *m_baseName = m_sink->commit(m_cue);
    }

private:
    std::unique_ptr<ImageSink> m_sink;
    ImageSink::CueText m_cue;
    std::shared_ptr<QString> m_baseName;
    QByteArray m_pending;
};

QString nameFor(const cdio::DiscDescription& disc) {
    QString name = disc.title.simplified();
    name.replace(u'/', u'-');
    return name.isEmpty() || name.startsWith(u'.') ? QStringLiteral("Audio CD") : name;
}

} // namespace

DiscImageRip::DiscImageRip(ImageOutput& output, QObject* parent)
    : QObject(parent), m_output(output), m_baseName(std::make_shared<QString>()) {}

DiscImageRip::~DiscImageRip() = default;

void DiscImageRip::start(const cdio::Drive& drive, const QString& folder, const QString& baseName,
                         qint32 offsetFrames) {
    m_disc = cdio::describeDisc(drive);
    if (m_disc.tracks.isEmpty())
        throw Error(QStringLiteral("The disc in %1 holds no tracks.").arg(drive.name()));
    for (const cdio::TrackDescription& t : m_disc.tracks)
        if (!t.audio)
            throw Error(QStringLiteral("Track %1 of the disc in %2 is a data track; only audio "
                                       "CDs are read into an image.")
                            .arg(t.number)
                            .arg(drive.name()));
    const qint32 first = m_disc.tracks.front().pregapStart;
    std::vector<TrackInfo> infos;
    std::vector<TrackPlace> places;
    for (const cdio::TrackDescription& t : m_disc.tracks) {
        TrackInfo i;
        i.title = t.title;
        i.performer = t.performer;
        i.songwriter = t.songwriter;
        i.isrc = t.isrc;
        i.preEmphasis = t.preEmphasis;
        i.copyPermitted = t.copyPermitted;
        infos.push_back(i);
        places.push_back({t.pregapStart - first, t.start - first, t.end - t.pregapStart});
    }
    const DiscInfo info{m_disc.catalog, m_disc.title, m_disc.performer, m_disc.songwriter};
    ImageSink::CueText cue = [infos, places, info](const QString& binName) {
        return cueSheet(binName, infos, places, info);
    };
    m_folder = folder;
    auto sink = std::make_unique<ImagePcmSink>(
        m_output.create(folder, baseName.isEmpty() ? nameFor(m_disc) : baseName), std::move(cue),
        m_baseName);
    cdio::DiscReader::Options options;
    options.offsetFrames = offsetFrames;
    auto reader = cdio::DiscReader::sectors(drive, first, m_disc.leadout, options);

    m_job = std::make_unique<MediaJob>();
    connect(m_job.get(), &MediaJob::progress, this,
            [this](int step, qint64, qint64) { Q_EMIT progress(std::max(step, 0)); });
    connect(m_job.get(), &MediaJob::finished, this,
            [this] { Q_EMIT finished(m_folder + u'/' + *m_baseName + QStringLiteral(".cue")); });
    connect(m_job.get(), &MediaJob::failed, this, &DiscImageRip::failed);
    m_job->start(std::move(reader), std::move(sink));
}

void DiscImageRip::cancel() {
    if (m_job)
        m_job->cancel();
}

ImageComparison::ImageComparison(QObject* parent) : QObject(parent) {
    m_poll.setInterval(100);
    connect(&m_poll, &QTimer::timeout, this, [this] {
        if (!m_running.isFinished()) {
            Q_EMIT progress(percent());
            return;
        }
        m_poll.stop();
        Q_EMIT finished(m_running.result());
    });
}

ImageComparison::~ImageComparison() {
    cancel();
    m_running.waitForFinished();
}

int ImageComparison::percent() const {
    return m_verifier ? m_verifier->percent() : 0;
}

void ImageComparison::start(const cdio::Drive& disc, const QString& cuePath) {
    const DiscImageSource image(cuePath);
    const cdio::DiscDescription& d = image.description();
    const qint32 first = d.tracks.front().pregapStart;
    std::vector<WrittenTrack> tracks;
    for (const cdio::TrackDescription& t : d.tracks)
        tracks.push_back({t.pregapStart - first, t.end - t.pregapStart, t.start - t.pregapStart});
    m_record = std::make_unique<WriteRecord>();
    m_verifier = std::make_unique<DiscVerifier>(disc, std::move(tracks), *m_record);
    // The image is taken in (its sectors' checksums) on the worker too: it is large.
    m_running = QtConcurrent::run(
        blockingPool(),
        [record = m_record.get(), verifier = m_verifier.get(), bin = image.dataFile(), first,
         end = d.leadout]() -> std::vector<TrackCheck> {
            QFile file(bin);
            if (!file.open(QIODevice::ReadOnly) || !file.seek(qint64(first) * kAudioSectorBytes))
                return verifier->run(); // a record that ends early shows as differences
            for (qint64 left = qint64(end - first) * kAudioSectorBytes; left > 0;) {
                const QByteArray buffer = file.read(std::min<qint64>(left, 1 << 20));
                if (buffer.isEmpty())
                    break;
                record->add(buffer.constData(), buffer.size());
                left -= buffer.size();
            }
            return verifier->run();
        });
    m_poll.start();
}

void ImageComparison::cancel() {
    if (m_verifier)
        m_verifier->interrupt();
}

} // namespace burning
