#include "app/cli/RipBatch.h"

#include "app/cli/CommandKit.h"
#include "app/cli/RipPreparation.h"
#include "app/cli/TerminalText.h"
#include "backends/cdio/AccurateRipCheck.h"
#include "backends/cdio/Checksums.h"
#include "backends/cdio/TrackRip.h"
#include "backends/media/EncodedSink.h"
#include "backends/media/MediaJob.h"
#include "components/Error.h"

#include <QDir>
#include <QElapsedTimer>
#include <algorithm>
#include <exception>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int kBarCells = 20;

EncodedSink::Options encoding(const QString& format, int bitrateKbps, bool overwrite,
                              const QStringList& sources, QMap<QString, QString> tags) {
    EncodedSink::Options options;
    options.tags = std::move(tags);
    options.bitRate = qint64(bitrateKbps) * 1000;
    options.overwrite.replace = overwrite;
    options.overwrite.sources = sources;
    if (format == QLatin1String("mp3"))
        options.codec = OutputCodec::Mp3Lame;
    else if (format == QLatin1String("wma"))
        options.codec = OutputCodec::Wma;
    else
        options.codec = OutputCodec::Wav;
    return options;
}

// After a failed track: whether the drive's disc is gone (tray opened, disc taken out), so the
// other tracks would only fail the same way.
bool discGone(const cdio::Drive& drive) {
    if (drive.image)
        return false;
    try {
        return !cdio::Disc(drive).readToc();
    } catch (const Error&) {
        return true;
    }
}

QString hex(quint32 value) {
    return QStringLiteral("%1").arg(value, 8, 16, QChar(u'0'));
}

} // namespace

struct RipBatch::Rip {
    enum class State { Waiting, Running, Ripped, Failed, Cancelled };
    int track = 0;
    State state = State::Waiting;
    int percent = 0;
    int linesShown = 0; // quarters written in the plain-line style
    QString failure;
    QStringList files;
    std::unique_ptr<MediaJob> job;
    std::unique_ptr<cdio::TrackRip> ripping; // once its job has started
};

RipBatch::RipBatch(std::shared_ptr<cdio::RipRecord> record, const cdio::AccurateRipCheck* check,
                   RipRequest request, int tracksAtOnce, QObject* parent)
    : QObject(parent), m_record(std::move(record)), m_check(check), m_drive(m_record->drive),
      m_toc(m_record->toc), m_request(std::move(request)), m_tracksAtOnce(qMax(1, tracksAtOnce)) {
    for (const int track : m_request.tracks) {
        auto rip = std::make_unique<Rip>();
        rip->track = track;
        m_rips.push_back(std::move(rip));
    }
    if (isatty(STDOUT_FILENO))
        m_barStream = stdout;
    else if (isatty(STDERR_FILENO))
        m_barStream = stderr;
}

RipBatch::~RipBatch() = default;

QString RipBatch::fileName(int track, const QString& format) {
    return QStringLiteral("Track%1.%2").arg(track, 2, 10, QChar(u'0')).arg(format);
}

void RipBatch::start() {
    say(stdout, QStringLiteral("Ripping %1 track(s) of %2 to %3 in %4")
                    .arg(m_rips.size())
                    .arg(m_drive.name(), m_request.formats.join(QStringLiteral(", ")),
                         m_request.outputFolder));
    startMore();
}

void RipBatch::startMore() {
    while (!m_interrupted && m_running < m_tracksAtOnce && m_nextToStart < m_rips.size())
        startTrack(*m_rips[m_nextToStart++]);
    reportInOrder();
    if (m_running == 0 && m_nextToReport == m_rips.size())
        end(m_failed > 0 ? 1 : 0);
}

void RipBatch::startTrack(Rip& rip) {
    try {
        // Kept only once started: a track that cannot start lets go of the drive at once.
        auto ripping =
            std::make_unique<cdio::TrackRip>(m_drive, rip.track, m_request.offsetSamples);
        const QString stem = m_request.stems.value(rip.track, fileName(rip.track, {}).chopped(1));
        const QString title = m_request.titles.value(rip.track, stem);
        for (const QString& format : m_request.formats) {
            rip.files << QDir(m_request.outputFolder).filePath(stem + u'.' + format);
            ripping->addFile(rip.files.last(),
                             encoding(format, m_request.bitrateKbps, m_request.overwrite,
                                      cdio::ripSources(m_drive),
                                      cdio::trackTags(m_record->metadata, rip.track,
                                                      m_toc.audioTrackCount(), title, format)));
        }
        rip.job = std::make_unique<MediaJob>();
        connect(rip.job.get(), &MediaJob::progress, this,
                [this, &rip](int step, qint64, qint64) { onProgress(rip, step); });
        connect(rip.job.get(), &MediaJob::finished, this, [this, &rip] { onEnded(rip, {}); });
        connect(rip.job.get(), &MediaJob::failed, this,
                [this, &rip](const QString& message) { onEnded(rip, message); });
        MediaJob::Options options;
        options.stallSeconds = ripping->stallSeconds();
        options.sourceName = ripping->sourceName();
        rip.job->start(ripping->takeSource(), ripping->takeSink(m_toc), options);
        rip.ripping = std::move(ripping);
        rip.state = Rip::State::Running;
        ++m_running;
        drawProgress();
    } catch (const OutputExistsError& e) {
        rip.state = Rip::State::Failed;
        rip.failure = e.message() + QStringLiteral(" (--overwrite replaces it)");
        ++m_failed;
    } catch (const std::exception& e) {
        // Nothing may leave through the event loop; a track that cannot start has failed.
        rip.state = Rip::State::Failed;
        rip.failure = QString::fromUtf8(e.what());
        ++m_failed;
    }
}

void RipBatch::onProgress(Rip& rip, int percent) {
    if (rip.state != Rip::State::Running || percent <= rip.percent)
        return;
    rip.percent = percent;
    if (m_barStream) {
        drawProgress();
        return;
    }
    // Only the highest quarter passed is written, so a jump from 10 % to 80 % gives one line.
    const int quarter = qMin(percent / 25, 3);
    if (quarter > rip.linesShown) {
        rip.linesShown = quarter;
        say(stdout,
            QStringLiteral("Track %1: %2%").arg(rip.track, 2, 10, QChar(u'0')).arg(quarter * 25));
    }
}

void RipBatch::onEnded(Rip& rip, const QString& failure) {
    if (rip.state != Rip::State::Running)
        return;
    --m_running;
    rip.state = failure.isEmpty() ? Rip::State::Ripped : Rip::State::Failed;
    rip.failure = failure;
    m_failed += failure.isEmpty() ? 0 : 1;
    const bool stalled = !failure.isEmpty() && rip.job->stalled();
    // Not destroyed here: this runs inside the job's own signal.
    rip.job.release()->deleteLater();
    if (!failure.isEmpty() && !stalled && !m_interrupted && !m_discGone)
        m_discGone = discGone(m_drive);
    if (stalled || m_discGone)
        giveUp();
    if (m_interrupted) {
        reportInOrder();
        return;
    }
    startMore();
    drawProgress();
}

// Results go out in track order, each as soon as the tracks before it are done.
void RipBatch::reportInOrder() {
    while (m_nextToReport < m_rips.size()) {
        const Rip& rip = *m_rips[m_nextToReport];
        const QString number = QStringLiteral("%1").arg(rip.track, 2, 10, QChar(u'0'));
        if (rip.state == Rip::State::Ripped) {
            record(rip);
            const cdio::RippedTrack& done = m_record->tracks.last();
            QString line =
                QStringLiteral("Track %1  CRC32 %2  ARv1 %3  ARv2 %4")
                    .arg(number, hex(done.crc32), hex(done.accurateRipV1), hex(done.accurateRipV2));
            if (done.verdict)
                line += QStringLiteral("  ") + done.verdict->text();
            if (done.suspicious())
                line += QStringLiteral("  SUSPICIOUS");
            say(stdout, line);
            if (done.verdict && done.verdict->kind == lookup::AccurateRipVerdict::Kind::Differs) {
                m_differing << QString::number(rip.track);
                say(stderr, QStringLiteral("melvane-cli rip: track %1 differs from the "
                                           "AccurateRip database: its checksums match none of "
                                           "the %2 record(s) of the disc")
                                .arg(rip.track)
                                .arg(m_check->entry()->pressings.size()));
            }
            if (done.suspicious()) {
                m_suspicious << QString::number(rip.track);
                say(stderr, QStringLiteral("melvane-cli rip: track %1 is suspicious: paranoia "
                                           "could not read all of it reliably (%2); the file is "
                                           "kept but may hold clicks")
                                .arg(rip.track)
                                .arg(done.paranoia.positions()));
            }
        } else if (rip.state == Rip::State::Failed) {
            record(rip);
            say(stderr, QStringLiteral("melvane-cli rip: track %1 failed: %2")
                            .arg(rip.track)
                            .arg(rip.failure));
        } else if (rip.state != Rip::State::Cancelled) {
            return;
        }
        ++m_nextToReport;
    }
}

void RipBatch::record(const Rip& rip) {
    cdio::RippedTrack track;
    track.number = rip.track;
    track.title = m_request.titles.value(rip.track, fileName(rip.track, {}).chopped(1));
    if (rip.ripping)
        track.paranoia = rip.ripping->paranoia();
    if (rip.state == Rip::State::Failed) {
        track.outcome = cdio::RippedTrack::Outcome::Failed;
        track.failure = rip.failure;
        m_record->tracks.append(track);
        return;
    }
    track.files = rip.files;
    rip.ripping->fillIn(track);
    if (m_check)
        track.verdict = m_check->verdict(m_record->accurateRipIndex(rip.track), track.accurateRipV1,
                                         track.accurateRipV2);
    m_record->tracks.append(track);
}

// The log and the cue sheets; false, with the reason said, when one cannot be written.
bool RipBatch::writeReports() {
    if (!m_request.writeLog || m_record->tracks.isEmpty())
        return true;
    const QStringList paths = ripReportPaths(*m_record, m_request);
    try {
        const QStringList sources = cdio::ripSources(m_drive);
        cdio::writeFile(paths.first(), cdio::ripLogText(*m_record).toUtf8(), m_request.overwrite,
                        sources);
        say(stdout, QStringLiteral("Log %1").arg(paths.first()));
        const bool anyRipped = std::any_of(m_record->tracks.begin(), m_record->tracks.end(),
                                           [](const cdio::RippedTrack& t) { return t.ripped(); });
        for (int i = 0; anyRipped && i < m_request.formats.size(); ++i) {
            cdio::writeFile(paths[i + 1],
                            cdio::cueSheetBytes(cdio::ripCueSheet(*m_record, m_request.formats[i],
                                                                  m_request.outputFolder)),
                            m_request.overwrite, sources);
            say(stdout, QStringLiteral("Cue sheet %1").arg(paths[i + 1]));
        }
    } catch (const Error& e) {
        say(stderr, QStringLiteral("melvane-cli rip: %1").arg(e.message()));
        return false;
    }
    return true;
}

// A drive that stopped delivering would stop each track the same way, each after the same
// wait: the tracks not done are left, and the batch ends.
void RipBatch::giveUp() {
    for (const auto& rip : m_rips) {
        if (rip->state == Rip::State::Running && rip->job->cancel()) {
            rip->state = Rip::State::Cancelled;
            --m_running;
        } else if (rip->state == Rip::State::Waiting) {
            rip->state = Rip::State::Cancelled;
        }
    }
    m_nextToStart = m_rips.size();
}

void RipBatch::interrupt(int signalNumber) {
    if (m_ended || m_interrupted)
        return;
    m_interrupted = true;
    for (const auto& rip : m_rips) {
        // A job that had already completed still delivers its outcome, queued before this.
        if (rip->state == Rip::State::Running && rip->job->cancel()) {
            rip->state = Rip::State::Cancelled;
            --m_running;
        }
    }
    QMetaObject::invokeMethod(
        this, [this, signalNumber] { endInterrupted(signalNumber); }, Qt::QueuedConnection);
}

void RipBatch::endInterrupted(int signalNumber) {
    if (m_ended)
        return;
    reportInOrder();
    qsizetype left = 0;
    for (const auto& rip : m_rips)
        left += rip->state == Rip::State::Ripped || rip->state == Rip::State::Failed ? 0 : 1;
    if (left == 0) {
        end(m_failed > 0 ? 1 : 0);
        return;
    }
    m_nextToReport = m_rips.size();
    say(stderr, QStringLiteral("melvane-cli rip: interrupted; %1 of %2 track(s) not ripped, and "
                               "no file was left of them")
                    .arg(left)
                    .arg(m_rips.size()));
    end(128 + signalNumber);
}

void RipBatch::end(int exitCode) {
    if (m_ended)
        return;
    m_ended = true;
    clearProgress();
    if (exitCode < 128) {
        if (!writeReports())
            exitCode = 1;
        say(stdout, QStringLiteral("AccurateRip disc ID %1").arg(cdio::accurateRipDiscId(m_toc)));
        if (!m_differing.isEmpty() || !m_suspicious.isEmpty())
            exitCode = 1;
    }
    if (!m_differing.isEmpty())
        say(stderr, QStringLiteral("melvane-cli rip: %1 track(s) differ from AccurateRip: %2")
                        .arg(m_differing.size())
                        .arg(m_differing.join(QStringLiteral(", "))));
    if (!m_suspicious.isEmpty())
        say(stderr, QStringLiteral("melvane-cli rip: %1 track(s) are suspicious: %2")
                        .arg(m_suspicious.size())
                        .arg(m_suspicious.join(QStringLiteral(", "))));
    if (m_failed > 0) {
        QStringList names;
        QStringList left;
        for (const auto& rip : m_rips) {
            if (rip->state == Rip::State::Failed)
                names << QString::number(rip->track);
            else if (rip->state == Rip::State::Cancelled)
                left << QString::number(rip->track);
        }
        // A disc taken out is one failure, already named: the tracks after it are only left.
        if (m_discGone && exitCode < 128 && !left.isEmpty())
            say(stderr, QStringLiteral("melvane-cli rip: the disc is no longer in %1, so track(s) "
                                       "%2 were not ripped")
                            .arg(m_drive.name(), left.join(QStringLiteral(", "))));
        else
            say(stderr, QStringLiteral("melvane-cli rip: %1 of %2 track(s) failed: %3")
                            .arg(m_failed)
                            .arg(m_rips.size())
                            .arg(names.join(QStringLiteral(", "))));
        if (!m_discGone && exitCode < 128 && !left.isEmpty())
            say(stderr, QStringLiteral("melvane-cli rip: the drive stopped delivering, so track(s) "
                                       "%1 were not ripped, and no file was left of them")
                            .arg(left.join(QStringLiteral(", "))));
    }
    Q_EMIT finished(exitCode);
}

// "Track 03 [#########...........]  45%  Track 04 [##..................]  10%"
void RipBatch::drawProgress() {
    if (!m_barStream || m_ended)
        return;
    QString line;
    for (const auto& rip : m_rips) {
        if (rip->state != Rip::State::Running)
            continue;
        const int filled = rip->percent * kBarCells / 100;
        line += QStringLiteral("Track %1 [%2%3] %4%  ")
                    .arg(rip->track, 2, 10, QChar(u'0'))
                    .arg(QString(filled, u'#'), QString(kBarCells - filled, u'.'))
                    .arg(rip->percent, 3);
    }
    if (line.isEmpty()) {
        clearProgress();
        return;
    }
    // A line that wraps could not be redrawn in place: without bars when they do not fit.
    winsize size{};
    const int width =
        ioctl(fileno(m_barStream), TIOCGWINSZ, &size) == 0 && size.ws_col >= 20 ? size.ws_col : 80;
    line = line.trimmed();
    if (line.size() >= width) {
        line.clear();
        for (const auto& rip : m_rips) {
            if (rip->state == Rip::State::Running)
                line += QStringLiteral("Track %1 %2%  ")
                            .arg(rip->track, 2, 10, QChar(u'0'))
                            .arg(rip->percent);
        }
        line = line.trimmed().left(width - 1);
    }
    print(m_barStream, QStringLiteral("\r%1\033[K").arg(line));
    m_barShown = true;
}

void RipBatch::clearProgress() {
    if (!m_barShown)
        return;
    print(m_barStream, QStringLiteral("\r\033[K"));
    m_barShown = false;
}

// A whole line, with the progress line taken away first and drawn again after.
void RipBatch::say(std::FILE* stream, const QString& line) {
    clearProgress();
    print(stream, terminalText(line) + u'\n');
    drawProgress();
}
