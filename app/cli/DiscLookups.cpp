#include "app/cli/DiscLookups.h"

#include "app/cli/TerminalText.h"

#include <QEventLoop>

lookup::DiscAnswer lookUpDisc(const QString& musicBrainzDiscId) {
    lookup::MusicBrainzLookup musicBrainz;
    lookup::DiscAnswer answer;
    QEventLoop loop;
    QObject::connect(&musicBrainz, &lookup::MusicBrainzLookup::finished, &loop,
                     [&](const lookup::DiscAnswer& got) {
                         answer = got;
                         loop.quit();
                     });
    musicBrainz.lookUp(musicBrainzDiscId);
    loop.exec();
    return answer;
}

void waitForCheck(cdio::AccurateRipCheck& check) {
    if (check.done())
        return;
    QEventLoop loop;
    QObject::connect(&check, &cdio::AccurateRipCheck::finished, &loop, &QEventLoop::quit);
    loop.exec();
}

QString lookupText(const lookup::DiscAnswer& answer, const QString& discId,
                   const QString& submission) {
    switch (answer.kind) {
    case lookup::DiscAnswer::Kind::Failed:
        return terminalText(answer.problem) + u'\n';
    case lookup::DiscAnswer::Kind::NotFound:
        return QStringLiteral("MusicBrainz does not know this disc (disc ID %1); it can be added "
                              "at %2\n")
            .arg(discId, submission);
    case lookup::DiscAnswer::Kind::Found:
        break;
    }
    QString text = QStringLiteral("MusicBrainz knows %1 release(s) of this disc:\n")
                       .arg(answer.releases.size());
    for (qsizetype i = 0; i < answer.releases.size(); ++i) {
        const lookup::Release& release = answer.releases[i];
        text += QStringLiteral("  %1. %2  [%3]\n")
                    .arg(i + 1)
                    .arg(terminalText(release.description()), release.id);
        for (qsizetype t = 0; t < release.tracks.size(); ++t) {
            const lookup::ReleaseTrack& track = release.tracks[t];
            text += QStringLiteral("       %1  %2").arg(t + 1, 2).arg(terminalText(track.title));
            if (track.artist != release.artist && !track.artist.isEmpty())
                text += QStringLiteral(" (%1)").arg(terminalText(track.artist));
            text += u'\n';
        }
    }
    return text;
}
