// What a rip learns and leaves beyond its files, on real libcdio, libdiscid and FFmpeg: the
// disc IDs, the offset search's arithmetic, the cue sheet's gaps, and the window's CD tools
// (tags from the row's name and the disc's CD-Text, AccurateRip notes, the log and cue sheet
// of a job) with the track-name lookup, against local web servers.
#include "backends/cdio/CdTools.h"
#include "backends/cdio/Checksums.h"
#include "backends/cdio/DiscIds.h"
#include "backends/cdio/DiscMetadata.h"
#include "backends/cdio/RipRecord.h"
#include "backends/cdio/TrackNameLookup.h"
#include "tests/cdio/MetadataDisc.h"
#include "tests/support/TestWebServer.h"

#include <QSignalSpy>
#include <QTest>

using namespace cdio;

namespace {

// The tools' notes and outcomes, gathered.
struct Notes {
    QStringList lines;
    int hundreds = 0;
    QStringList failures;
    explicit Notes(HarnTools& tools) {
        QObject::connect(&tools, &HarnTools::RipNote, &tools,
                         [this](const QString& line) { lines << line; });
        QObject::connect(&tools, &HarnTools::RipProgress, &tools,
                         [this](double percent) { hundreds += percent == 100.0 ? 1 : 0; });
        QObject::connect(&tools, &HarnTools::Failed, &tools,
                         [this](const QString& message) { failures << message; });
    }
};

} // namespace

class TestRipReport : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    MetadataDisc m_disc;
    TestWebServer m_server;
    std::shared_ptr<DriveTable> m_table;
    // Rips the tracks one after another as the rip panel does: title, rip, wait for its 100.
    void ripJob(CdTools& tools, Notes& notes, const QString& folder,
                const QList<std::pair<int, QString>>& tracks, const QString& format = "wav") {
        for (const auto& [track, title] : tracks) {
            const int before = notes.hundreds;
            tools.setTrackTitle(title);
            const QString path = QDir(folder).filePath(
                QStringLiteral("Track%1.%2").arg(track, 2, 10, QChar(u'0')).arg(format));
            if (format == QLatin1String("mp3"))
                tools.RipTrackToMp3(kImageHost, path, track, 0);
            else
                tools.RipTrackToWav(kImageHost, path, track, 0);
            QTRY_COMPARE_WITH_TIMEOUT(notes.hundreds, before + 1, 30000);
        }
        tools.EndRipJob();
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeMetadataDisc(m_dir.path(), QStringLiteral("twelve"));
        m_table = std::make_shared<DriveTable>(QStringList{m_disc.image.cue}, false);
        qputenv("MELVANE_ACCURATERIP_URL", m_server.url("/ar/").toUtf8());
        qputenv("MELVANE_MUSICBRAINZ_URL", m_server.url("/ws/2/").toUtf8());
    }

    // libdiscid's own example: ten tracks, its MusicBrainz and freedb IDs.
    void discIds() {
        Toc toc;
        const qint32 starts[] = {0,     18751,  39588,  59407,  79002,
                                 99976, 124683, 147128, 166186, 182410};
        for (int i = 0; i < 10; ++i)
            toc.tracks.append({i + 1,
                               starts[i],
                               (i < 9 ? starts[i + 1] : 206385) - starts[i],
                               TocTrack::Kind::Audio,
                               {}});
        toc.leadout = 206385;
        const DiscIds ids = discIdsOf(toc);
        QCOMPARE(ids.musicBrainz, QStringLiteral("Wn8eRBtfLDfM0qjYPdxrz.Zjs_U-"));
        QCOMPARE(ids.cddbText(), QStringLiteral("830abf0a"));
        // An enhanced CD's data session is no part of the MusicBrainz ID: it is that of the
        // audio alone, ending where the last audio track does.
        Toc enhanced = toc;
        enhanced.tracks.last().sectors -= 11400;
        enhanced.tracks.append({11, 206385, 5000, TocTrack::Kind::Mode2, {}});
        enhanced.leadout = 211385;
        Toc audio = toc;
        audio.tracks.last().sectors -= 11400;
        audio.leadout -= 11400;
        QCOMPARE(discIdsOf(enhanced).musicBrainz, discIdsOf(audio).musicBrainz);
        QVERIFY(discIdsOf(audio).musicBrainz != ids.musicBrainz);
    }

    // The sliding checksums of the offset search are those of the track read at each offset.
    void checksumsAtEveryOffset_data() {
        QTest::addColumn<bool>("first");
        QTest::addColumn<bool>("last");
        QTest::newRow("middle track") << false << false;
        QTest::newRow("first track") << true << false;
        QTest::newRow("only track") << true << true;
    }
    void checksumsAtEveryOffset() {
        QFETCH(bool, first);
        QFETCH(bool, last);
        const qint64 margin = 600;
        const qint64 frames = 588 * 20 + 5;
        std::vector<qint16> samples(size_t(frames + 2 * margin) * 2);
        quint32 state = 3;
        for (qint16& s : samples) {
            state = state * 1664525u + 1013904223u;
            s = qint16(state >> 16);
        }
        const QList<quint32> sums = accurateRipV1AtOffsets(samples, margin, first, last);
        QCOMPARE(sums.size(), 2 * margin + 1);
        for (const qint64 offset : {-margin, -1LL, 0LL, 7LL, margin}) {
            const std::vector<qint16> window(samples.begin() + (margin + offset) * 2,
                                             samples.begin() + (margin + offset + frames) * 2);
            QCOMPARE(sums[margin + offset], referenceAccurateRip(window, first, last).first);
        }
    }

    // Gaps go into the file before, when that file was ripped; silence before track 1 that was
    // not ripped is a PREGAP.
    void cueSheetGaps() {
        RipRecord record;
        record.toc.tracks = {{1, 150, 1000, TocTrack::Kind::Audio, {}},
                             {2, 1150, 500, TocTrack::Kind::Audio, {}},
                             {3, 1650, 400, TocTrack::Kind::Audio, {}}};
        record.toc.leadout = 2050;
        record.metadata.tracks[2].gapStart = 1100;
        record.metadata.tracks[3].gapStart = 1600;
        for (const int n : {1, 3}) {
            RippedTrack t;
            t.number = n;
            t.files = {QStringLiteral("/music/Track0%1.wav").arg(n)};
            record.tracks << t;
        }
        const QString sheet = ripCueSheet(record, "wav", "/music");
        QVERIFY2(sheet.contains("FILE \"Track01.wav\" WAVE\n  TRACK 01 AUDIO\n    PREGAP "
                                "00:02:00\n    INDEX 01 00:00:00\nFILE \"Track03.wav\" WAVE\n  "
                                "TRACK 03 AUDIO\n    INDEX 01 00:00:00\n"),
                 qPrintable(sheet));
        record.tracks.insert(1, record.tracks[0]);
        record.tracks[1].number = 2;
        record.tracks[1].files = {QStringLiteral("/music/Track02.wav")};
        const QString whole = ripCueSheet(record, "wav", "/music");
        QVERIFY2(whole.contains("  TRACK 02 AUDIO\n    INDEX 00 00:12:50\nFILE \"Track02.wav\" "
                                "WAVE\n    INDEX 01 00:00:00\n  TRACK 03 AUDIO\n    INDEX 00 "
                                "00:06:00\nFILE \"Track03.wav\""),
                 qPrintable(whole));
    }

    // Cue sheets are read as ISO 8859-1 by libcdio and burners; UTF-8 only for what it cannot hold.
    void cueSheetCharacterSet_data() {
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("ascii") << QStringLiteral("TITLE \"Ten\"") << QByteArray("TITLE \"Ten\"");
        QTest::newRow("latin1") << QStringLiteral("TITLE \"Caf\u00e9\"")
                                << QByteArray("TITLE \"Caf\xe9\"");
        QTest::newRow("beyond") << QStringLiteral("TITLE \"Caf\u00e9 \u03a9\"")
                                << QByteArray("TITLE \"Caf\xc3\xa9 \xce\xa9\"");
    }
    void cueSheetCharacterSet() {
        QFETCH(QString, sheet);
        QFETCH(QByteArray, bytes);
        QCOMPARE(cueSheetBytes(sheet), bytes);
    }

    // A sheet whose tracks start at 3: libcdio counts them from 1, the metadata keeps the
    // sheet's numbers.
    void metadataOfASheetNotStartingAtOne() {
        writeBytes(m_dir.path(QStringLiteral("late.bin")), QByteArray(2352 * 600, '\0'));
        const QString cue = m_dir.path(QStringLiteral("late.cue"));
        writeBytes(cue, "TITLE \"Late\"\nFILE \"late.bin\" BINARY\n"
                        "  TRACK 03 AUDIO\n    TITLE \"Three\"\n    INDEX 01 00:00:00\n"
                        "  TRACK 04 AUDIO\n    TITLE \"Four\"\n    ISRC GBAYE9900004\n"
                        "    FLAGS PRE\n    INDEX 01 00:04:00\n");
        Disc disc(DriveTable::imageDrive(cue, 0));
        const DiscMetadata metadata = readDiscMetadata(disc);
        QCOMPARE(metadata.album, QStringLiteral("Late"));
        QCOMPARE(metadata.tracks.keys(), QList<int>({3, 4}));
        QCOMPARE(metadata.track(3).title, QStringLiteral("Three"));
        QCOMPARE(metadata.track(4).title, QStringLiteral("Four"));
        QCOMPARE(metadata.track(4).isrc, QStringLiteral("GBAYE9900004"));
        QCOMPARE(readTrackIsrc(disc, 4), QStringLiteral("GBAYE9900004"));
        QVERIFY(!metadata.track(3).preemphasis);
        QVERIFY(metadata.track(4).preemphasis);
    }

    // A window rip: tagged with the row's name and the disc's CD-Text, each track's verdict
    // noted, and at the job's end the log and cue sheet, never over an earlier one.
    void windowRipsTagVerifyAndLog() {
        m_server.serve("/ar/" + referenceAccurateRipDisc(m_disc.image).path(),
                       {200, referenceAccurateRipEntry(m_disc.image, 2), 0});
        CdTools tools(m_table);
        Notes notes(tools);
        const QString folder = m_dir.fresh();
        ripJob(tools, notes, folder, {{1, "Overture"}, {2, "Track02"}, {3, "Track03"}});
        QTRY_COMPARE(notes.lines.size(), 5);
        const QString name = QDir(folder).filePath(m_disc.artist + " - " + m_disc.album);
        QCOMPARE(
            notes.lines,
            QStringList({"Track01 accurately ripped (confidence 9, v2)", "Track02 differs",
                         "Track03 accurately ripped (confidence 9, v2)",
                         "Log written: " + name + ".log", "Cue sheet written: " + name + ".cue"}));
        const QJsonObject tags = tagsOf(QDir(folder).filePath("Track01.wav"));
        QCOMPARE(tags.value("title").toString(), QStringLiteral("Overture"));
        QCOMPARE(tags.value("artist").toString(), m_disc.artist);
        QCOMPARE(tags.value("album").toString(), m_disc.album);
        QCOMPARE(tags.value("track").toString(), QStringLiteral("1/12"));
        QCOMPARE(tags.value("ISRC").toString(), m_disc.isrcs[0]);
        const QString log = readText(name + ".log");
        QVERIFY(log.contains("Track 01  Overture"));
        QVERIFY(log.contains(hex(referenceCrc32(m_disc.image.track(3)))));
        QVERIFY(log.contains("3 of 3 track(s) ripped, 2 accurately, 1 differing"));
        QVERIFY(readText(name + ".cue").contains("FILE \"Track03.wav\" WAVE"));
        // A second job in the same folder: its own log beside the first.
        ripJob(tools, notes, folder, {{4, "Track04"}});
        QTRY_VERIFY(notes.lines.contains("Log written: " + name + " (2).log"));
        // Switched off: nothing more is written.
        tools.setRipLog(false);
        ripJob(tools, notes, folder, {{5, "Track05"}});
        QCOMPARE(QDir(folder).entryList({"*.log"}, QDir::Files).size(), 2);
    }

    // A lookup's chosen release names the tracks and gives the rips of that disc its facts.
    void trackNameLookup() {
        const QString discId = discIdsOf(Disc(m_table->drives()[0]).toc()).musicBrainz;
        QStringList first;
        QStringList second;
        for (int n = 1; n <= 12; ++n) {
            first << QStringLiteral("First %1").arg(n);
            second << QStringLiteral("Second %1").arg(n);
        }
        m_server.serve(
            "/ws/2/discid/" + discId,
            {200,
             musicBrainzDiscAnswer(discId, {{"rel-1", "One", "A", "1990", "GB", first},
                                            {"rel-2", "Two", "B", "2000-01-01", "US", second}}),
             0});
        auto chosen = std::make_shared<ChosenReleases>();
        TrackNameLookup lookup(m_table, chosen);
        QSignalSpy done(&lookup, &DiscLookup::LookUpDone);
        lookup.LookUpTrackNames(kImageHost);
        QVERIFY(done.wait(10000));
        QCOMPARE(done.first().first().toStringList(),
                 QStringList({"A - One (1990, GB)", "B - Two (2000, US)"}));
        QCOMPARE(lookup.ChooseRelease(1), second);
        CdTools tools(m_table, chosen);
        Notes notes(tools);
        const QString folder = m_dir.fresh();
        tools.setRipLog(false);
        ripJob(tools, notes, folder, {{12, "Second 12"}}, "mp3");
        const QJsonObject tags = tagsOf(QDir(folder).filePath("Track12.mp3"));
        QCOMPARE(tags.value("album").toString(), QStringLiteral("Two"));
        QCOMPARE(tags.value("artist").toString(), QStringLiteral("B"));
        QCOMPARE(tags.value("date").toString(), QStringLiteral("2000"));
        QCOMPARE(tags.value("MusicBrainz Album Id").toString(), QStringLiteral("rel-2"));
        QCOMPARE(tags.value("MusicBrainz Release Track Id").toString(),
                 QStringLiteral("track-rel-2-1-12"));
        QCOMPARE(tags.value("TSRC").toString(), m_disc.isrcs[11]);

        // A disc the service does not know, and a service nobody runs: said plainly, at once.
        m_server.serve("/ws/2/discid/" + discId, {404, {}, 0});
        QSignalSpy failed(&lookup, &DiscLookup::LookUpFailed);
        lookup.LookUpTrackNames(kImageHost);
        QVERIFY(failed.wait(10000));
        QVERIFY2(failed.last().first().toString().startsWith(
                     "MusicBrainz does not know this disc (disc ID " + discId + ")"),
                 qPrintable(failed.last().first().toString()));
        qputenv("MELVANE_MUSICBRAINZ_URL", "http://127.0.0.1:9/ws/2/");
        lookup.LookUpTrackNames(kImageHost);
        QVERIFY(failed.wait(5000));
        QVERIFY2(failed.last().first().toString().startsWith(
                     "MusicBrainz (127.0.0.1) cannot be reached: ") &&
                     failed.last().first().toString().endsWith("The track names stay as they are."),
                 qPrintable(failed.last().first().toString()));
        qputenv("MELVANE_MUSICBRAINZ_URL", m_server.url("/ws/2/").toUtf8());
    }
};

QTEST_GUILESS_MAIN(TestRipReport)
#include "test_rip_report.moc"
