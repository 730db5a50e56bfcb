// melvane-cli rip and toc with what a disc tells and what the web services know, as a child
// process against local servers: tagged files read back with ffprobe, the log and the cue
// sheet (read back by libcdio as the disc's own TOC), AccurateRip verdicts, MusicBrainz
// names, and the audio hidden before track 1.
#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscIds.h"
#include "backends/cdio/DiscMetadata.h"
#include "backends/cdio/DriveTable.h"
#include "tests/cdio/MetadataDisc.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestWebServer.h"

#include <QTest>

class TestCliRipMeta : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    MetadataDisc m_disc;
    TestWebServer m_server;

    Run cli(const QStringList& arguments) {
        return runCli(arguments, {"MELVANE_ACCURATERIP_URL=" + m_server.url("/accuraterip/"),
                                  "MELVANE_MUSICBRAINZ_URL=" + m_server.url("/ws/2/")});
    }
    void serveAccurateRip(const MetadataDisc& disc, int status, const QByteArray& entry) {
        m_server.serve("/accuraterip/" + referenceAccurateRipDisc(disc.image).path(),
                       {status, entry, 0});
    }
    QString musicBrainzId(const TestImage& image) const {
        const cdio::Drive drive = cdio::DriveTable::imageDrive(image.cue, 0);
        return cdio::discIdsOf(cdio::Disc(drive).toc()).musicBrainz;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeMetadataDisc(m_dir.path(), QStringLiteral("twelve"));
    }

    // Twelve tagged files per format, each checked against the database; the log with the
    // figures; one cue sheet per format, the WAV one burning back as the same disc.
    void ripsTwelveTaggedVerifiedTracks() {
        serveAccurateRip(m_disc, 200, referenceAccurateRipEntry(m_disc.image));
        const QString out = m_dir.fresh();
        const Run r = cli({"rip", "--to", "wav,mp3,wma", "--out", out, m_disc.image.cue});
        QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
        const QString name = m_disc.artist + " - " + m_disc.album;
        const QStringList reports{name + ".log", name + ".mp3.cue", name + ".wav.cue",
                                  name + ".wma.cue"};
        QCOMPARE(QDir(out).entryList(QDir::Files).size(), 36 + 4);
        for (const QString& report : reports)
            QVERIFY2(QFileInfo::exists(QDir(out).filePath(report)), qPrintable(report));
        const QString log = readText(QDir(out).filePath(reports[0]));
        const auto ids = referenceAccurateRipDisc(m_disc.image);
        for (const QString& fact : {m_disc.mcn, hex(ids.id1), hex(ids.cddb),
                                    musicBrainzId(m_disc.image), QString("Peak level")})
            QVERIFY2(log.contains(fact), qPrintable(fact));
        for (int n = 1; n <= 12; ++n) {
            const std::vector<qint16> pcm = m_disc.image.track(n);
            const QString line = QStringLiteral("Track %1  CRC32 %2")
                                     .arg(n, 2, 10, QChar(u'0'))
                                     .arg(hex(referenceCrc32(pcm)));
            QVERIFY2(r.out.contains(line + "  ARv1 ") &&
                         r.out.section(line, 1)
                             .section(u'\n', 0, 0)
                             .endsWith("accurately ripped (confidence 9, v2)"),
                     qPrintable(r.out));
            QVERIFY2(log.contains(hex(referenceCrc32(pcm))), qPrintable(QString::number(n)));
            for (const char* format : {"mp3", "wma", "wav"}) {
                const QString file = QDir(out).filePath(
                    QStringLiteral("Track%1.%2").arg(n, 2, 10, QChar(u'0')).arg(format));
                const QJsonObject tags = tagsOf(file);
                QCOMPARE(tags.value("title").toString(), m_disc.title(n));
                QCOMPARE(tags.value("album").toString(), m_disc.album);
                QCOMPARE(tags.value("artist").toString(), n == 7 ? "A Guest" : m_disc.artist);
                QCOMPARE(tags.value("track").toString(), QStringLiteral("%1/12").arg(n));
                const QString isrcKey = format == QLatin1String("mp3")   ? "TSRC"
                                        : format == QLatin1String("wma") ? "WM/ISRC"
                                                                         : "ISRC";
                QCOMPARE(tags.value(isrcKey).toString(), m_disc.isrcs[n - 1]);
            }
        }
        QVERIFY(log.contains("12 of 12 track(s) ripped, 12 accurately"));
        // The cue sheet and the WAV files, as one image, are the disc again.
        const QString joined = joinRipImage(QDir(out).filePath(reports[2]), m_dir.fresh());
        cdio::Disc again(cdio::DriveTable::imageDrive(joined, 0));
        cdio::Disc source(cdio::DriveTable::imageDrive(m_disc.image.cue, 0));
        const cdio::Toc toc = again.toc();
        QCOMPARE(toc.tracks.size(), 12);
        for (int i = 0; i < 12; ++i) {
            QCOMPARE(toc.tracks[i].start, source.toc().tracks[i].start);
            QCOMPARE(toc.tracks[i].sectors, source.toc().tracks[i].sectors);
        }
        QCOMPARE(toc.leadout, source.toc().leadout);
        const cdio::DiscMetadata read = cdio::readDiscMetadata(again);
        QCOMPARE(read.album, m_disc.album);
        QCOMPARE(read.mcn, m_disc.mcn);
        QCOMPARE(read.track(7).artist, QStringLiteral("A Guest"));
        QCOMPARE(read.track(4).gapStart, m_disc.image.starts[3] - 34);
        for (int n = 1; n <= 12; ++n) {
            QCOMPARE(read.track(n).title, m_disc.title(n));
            QCOMPARE(read.track(n).isrc, m_disc.isrcs[n - 1]);
            QCOMPARE(read.track(n).preemphasis, n == 5);
        }
    }

    // A track the database knows otherwise is an error naming it; a disc it does not know is
    // ripped and said to be so.
    void accurateRipVerdicts_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("altered");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("verdict"); // of track 3
        QTest::newRow("a track altered") << 200 << 3 << 1 << "differs";
        QTest::newRow("not in the database") << 404 << 0 << 0 << "not in database";
    }
    void accurateRipVerdicts() {
        QFETCH(int, status);
        QFETCH(int, altered);
        QFETCH(int, exitCode);
        QFETCH(QString, verdict);
        const MetadataDisc disc =
            writeMetadataDisc(m_dir.path(), "verdicts" + QString::number(status));
        serveAccurateRip(disc, status, referenceAccurateRipEntry(disc.image, altered));
        const QString out = m_dir.fresh();
        const Run r = cli({"rip", "--to", "wav", "--tracks", "2-4", "--out", out, disc.image.cue});
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.out.section("Track 03  CRC32", 1).section(u'\n', 0, 0).endsWith("  " + verdict),
                 qPrintable(r.out));
        QCOMPARE(r.err.contains("track 3 differs from the AccurateRip database"), altered == 3);
        QVERIFY2(r.out.contains("Track 02  CRC32") &&
                     !r.out.section("Track 02  CRC32", 1).section(u'\n', 0, 0).endsWith("differs"),
                 qPrintable(r.out));
        QVERIFY(readText(QDir(out).filePath(disc.artist + " - " + disc.album + ".log"))
                    .contains(verdict));
    }

    // Names from MusicBrainz: the releases listed and one chosen, for the files' names and
    // tags. (The tags a chosen release gives: test_rip_report::trackNameLookup.)
    void lookupNamesTheFiles() {
        const QString discId = musicBrainzId(m_disc.image);
        QStringList first;
        QStringList second;
        for (int n = 1; n <= 12; ++n) {
            first << QStringLiteral("Looked Up %1").arg(n);
            second << QStringLiteral("Reissued %1").arg(n);
        }
        m_server.serve(
            "/ws/2/discid/" + discId,
            {200,
             musicBrainzDiscAnswer(
                 discId, {{"rel-a", "Found Album", "Found Band", "2001-02-03", "DE", first},
                          {"rel-b", "Found Album", "Found Band", "2011", "JP", second}}),
             0});
        serveAccurateRip(m_disc, 404, {});
        const Run toc = cli({"toc", "--lookup", m_disc.image.cue});
        QVERIFY2(toc.exitCode == 0, qPrintable(toc.err));
        for (const QString& line :
             {"MusicBrainz disc ID " + discId, "Catalogue number (MCN) " + m_disc.mcn,
              QString("CD-Text: The Testers - Twelve Songs"), QString("ISRC GBAYE9900001"),
              QString("Song Number 5 ISRC GBAYE9900005 pre-emphasis"),
              QString("1. Found Band - Found Album (2001, DE)"),
              QString("2. Found Band - Found Album (2011, JP)"), QString("12  Reissued 12")})
            QVERIFY2(toc.out.contains(line), qPrintable(line + "\n" + toc.out));
        const QString out = m_dir.fresh();
        const Run r = cli({"rip", "--lookup", "--release", "2", "--named", "--to", "mp3",
                           "--tracks", "1,12", "--out", out, m_disc.image.cue});
        QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
        QCOMPARE(QDir(out).entryList({"*.mp3"}, QDir::Files),
                 QStringList({"Reissued 1.mp3", "Reissued 12.mp3"}));
        const QJsonObject tags = tagsOf(QDir(out).filePath("Reissued 12.mp3"));
        QCOMPARE(tags.value("title").toString(), QStringLiteral("Reissued 12"));
        QCOMPARE(tags.value("date").toString(), QStringLiteral("2011"));
        QCOMPARE(tags.value("MusicBrainz Disc Id").toString(), discId);
        QVERIFY(QFileInfo::exists(QDir(out).filePath("Found Band - Found Album.log")));
        // Without --release the first is taken, and the others are said.
        const Run plain = cli({"rip", "--lookup", "--no-log", "--to", "wav", "--tracks", "2",
                               "--out", m_dir.fresh(), m_disc.image.cue});
        QVERIFY2(plain.exitCode == 0, qPrintable(plain.err));
        QVERIFY2(plain.out.contains("Using release 1; --release N chooses another."),
                 qPrintable(plain.out));
        const Run wrong = cli({"rip", "--lookup", "--release", "3", "--to", "wav", "--out",
                               m_dir.fresh(), m_disc.image.cue});
        QCOMPARE(wrong.exitCode, 2);
        QVERIFY2(wrong.err.contains("--release 3: MusicBrainz knows 2 release(s)"),
                 qPrintable(wrong.err));
    }

    // The sound before track 1 is track 0: a file of its own, first in the cue sheet.
    void hiddenTrackIsTrackZero() {
        const MetadataDisc disc = writeMetadataDisc(m_dir.path(), "hidden", true);
        const QString out = m_dir.fresh();
        const Run r = cli({"rip", "--to", "wav", "--tracks", "0-1", "--out", out, disc.image.cue});
        QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
        const qint32 start = disc.image.starts[0];
        QCOMPARE(start, 90);
        // The image's samples() counts the gap before track 1 out of the audio: the data itself.
        const std::vector<qint16> gap(disc.image.disc.begin(),
                                      disc.image.disc.begin() + start * 1176);
        QVERIFY(wavSamples(QDir(out).filePath("Track00.wav")) == gap);
        QVERIFY(wavSamples(QDir(out).filePath("Track01.wav")) == disc.image.track(1));
        const QString cue = readText(QDir(out).filePath(disc.artist + " - " + disc.album + ".cue"));
        QVERIFY2(cue.contains("FILE \"Track00.wav\" WAVE\n  TRACK 01 AUDIO\n"), qPrintable(cue));
        QVERIFY2(cue.contains("    INDEX 00 00:00:00\nFILE \"Track01.wav\" WAVE\n    INDEX 01 "
                              "00:00:00\n"),
                 qPrintable(cue));
        const Run toc = cli({"toc", disc.image.cue});
        QVERIFY2(toc.out.contains("Hidden track 0: 00:01:15 of audio before track 1"),
                 qPrintable(toc.out));
        // Without --tracks 0 it is left, and said to be there.
        const Run all = cli({"rip", "--to", "wav", "--no-log", "--tracks", "1", "--out",
                             m_dir.fresh(), disc.image.cue});
        QVERIFY2(all.out.contains("00:01:15 of audio is hidden before track 1; --tracks 0 rips it"),
                 qPrintable(all.out));
    }
};

QTEST_GUILESS_MAIN(TestCliRipMeta)
#include "test_cli_ripmeta.moc"
