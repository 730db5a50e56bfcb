#include "app/cli/RipPreparation.h"

#include "app/cli/CommandKit.h"
#include "app/cli/DiscLookups.h"
#include "app/cli/TerminalText.h"
#include "backends/cdio/DiscReader.h"
#include "components/Error.h"

#include <QDir>
#include <QFileInfo>

namespace {

void note(const QString& text) {
    print(stdout, terminalText(text) + u'\n');
}

void warn(const QString& text) {
    printError(QStringLiteral("rip"), text);
}

// A name as a file name: no folder separators, no control characters, not hidden.
QString fileStem(QString name) {
    for (QChar& c : name)
        if (c == u'/' || c < u' ')
            c = u'_';
    while (name.startsWith(u'.'))
        name.remove(0, 1);
    return name.trimmed().left(200);
}

// Takes the release the user chose, or the first; says which and what the others are.
bool applyLookup(RipPreparation& prepared, const RipRequest& request) {
    cdio::RipRecord& record = *prepared.record;
    const QString discId = record.ids.musicBrainz;
    const lookup::DiscAnswer answer = lookUpDisc(discId);
    if (answer.kind != lookup::DiscAnswer::Kind::Found) {
        const QString text = lookupText(answer, discId, record.ids.musicBrainzSubmission).trimmed();
        if (answer.kind == lookup::DiscAnswer::Kind::Failed)
            warn(text + QStringLiteral("; the names stay as the disc gives them"));
        else
            note(text + QStringLiteral("; the names stay as the disc gives them"));
        return true;
    }
    if (request.release > answer.releases.size()) {
        prepared.failure =
            QStringLiteral("--release %1: MusicBrainz knows %2 release(s) of this disc:\n%3")
                .arg(request.release)
                .arg(answer.releases.size())
                .arg(lookupText(answer, discId, {}).trimmed());
        prepared.usageError = true;
        return false;
    }
    const int chosen = qMax(1, request.release);
    const lookup::Release& release = answer.releases[chosen - 1];
    if (answer.releases.size() > 1 && request.release == 0)
        note(lookupText(answer, discId, {}) +
             QStringLiteral("Using release 1; --release N chooses another."));
    note(QStringLiteral("Names from MusicBrainz: %1").arg(release.description()));
    cdio::applyRelease(record.metadata, release, record.toc);
    record.metadata.musicBrainzDiscId = discId;
    return true;
}

void checkAccurateRip(RipPreparation& prepared, const cdio::Drive& drive, RipRequest& request) {
    cdio::RipRecord& record = *prepared.record;
    prepared.check = std::make_unique<cdio::AccurateRipCheck>();
    prepared.check->fetch(record.ids);
    waitForCheck(*prepared.check);
    record.accurateRipState = prepared.check->stateText();
    if (!prepared.check->problem().isEmpty())
        warn(prepared.check->problem() + QStringLiteral("; the rip is not verified"));
    // A drive's offset is unknown unless given; an image has none.
    if (drive.image || request.offsetGiven)
        return;
    const lookup::AccurateRipEntry* entry = prepared.check->entry();
    QString how;
    std::optional<qint32> found;
    if (entry)
        found = cdio::findReadOffset(drive, record.toc, *entry, &how);
    if (found) {
        request.offsetSamples = *found;
        record.offset = *found;
        record.offsetSource = how;
        note(QStringLiteral("Read offset of %1: %2%3 samples (%4)")
                 .arg(drive.name())
                 .arg(*found > 0 ? QStringLiteral("+") : QString())
                 .arg(*found)
                 .arg(how));
    } else {
        record.offsetSource = QStringLiteral("not given, and AccurateRip could not find it");
        note(QStringLiteral("The read offset of %1 is unknown: the files are as the drive reads "
                            "them (--offset corrects it)")
                 .arg(drive.name()));
    }
}

} // namespace

QStringList ripReportPaths(const cdio::RipRecord& record, const RipRequest& request) {
    const QDir folder(request.outputFolder);
    const QString name = cdio::ripReportName(record);
    QStringList paths{folder.filePath(name + QStringLiteral(".log"))};
    for (const QString& format : request.formats)
        paths << folder.filePath(request.formats.size() == 1
                                     ? name + QStringLiteral(".cue")
                                     : name + u'.' + format + QStringLiteral(".cue"));
    return paths;
}

RipPreparation prepareRip(const cdio::Drive& drive, const cdio::Toc& toc, RipRequest& request) {
    RipPreparation prepared;
    prepared.record = std::make_shared<cdio::RipRecord>();
    cdio::RipRecord& record = *prepared.record;
    record.drive = drive;
    record.toc = toc;
    record.started = QDateTime::currentDateTime();
    record.formats = request.formats;
    record.bitrateKbps = request.bitrateKbps;
    record.offset = request.offsetSamples;
    record.offsetSource = drive.image           ? QStringLiteral("an image has none")
                          : request.offsetGiven ? QStringLiteral("given with --offset")
                                                : QStringLiteral("not given");
    record.accurateRipState = QStringLiteral("not asked (--no-accuraterip)");
    try {
        cdio::Disc disc(drive);
        record.metadata = cdio::readDiscMetadata(disc);
        record.hiddenSectors = cdio::hiddenTrackSectors(drive);
    } catch (const Error& e) {
        prepared.failure = e.message();
        return prepared;
    }
    record.ids = cdio::discIdsOf(toc);
    if (request.tracks.contains(0) && record.hiddenSectors == 0) {
        prepared.failure = QStringLiteral("the disc in %1 has no track 0: no audio is hidden "
                                          "before its first track")
                               .arg(drive.name());
        prepared.usageError = true;
        return prepared;
    }
    if (record.hiddenSectors > 0 && !request.tracks.contains(0))
        note(QStringLiteral("%1 of audio is hidden before track 1; --tracks 0 rips it as "
                            "Track00")
                 .arg(cdio::msfText(record.hiddenSectors)));
    if (request.lookup && !record.ids.musicBrainz.isEmpty() && !applyLookup(prepared, request))
        return prepared;
    if (request.verify)
        checkAccurateRip(prepared, drive, request);

    // Each track's title, and its file's stem: TrackNN, or with --named the track's name.
    QStringList taken;
    for (const int track : request.tracks) {
        const QString numbered = QStringLiteral("Track%1").arg(track, 2, 10, QChar(u'0'));
        const QString known = record.metadata.track(track).title;
        const QString title = known.isEmpty() ? numbered : known;
        QString stem = request.named ? fileStem(title) : numbered;
        if (stem.isEmpty())
            stem = numbered;
        // Two tracks of one name would write one file.
        const QString base = stem;
        for (int n = 2; taken.contains(stem, Qt::CaseInsensitive); ++n)
            stem = QStringLiteral("%1 (%2)").arg(base).arg(n);
        taken << stem;
        request.titles.insert(track, title);
        request.stems.insert(track, stem);
    }
    if (request.writeLog && !request.overwrite) {
        for (const QString& path : ripReportPaths(record, request)) {
            if (QFileInfo::exists(path) || QFileInfo(path).isSymLink()) {
                prepared.failure = QStringLiteral("%1 exists already (--overwrite replaces it, "
                                                  "--no-log writes no log or cue sheet)")
                                       .arg(path);
                return prepared;
            }
        }
    }
    return prepared;
}
