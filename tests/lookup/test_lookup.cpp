// The look-ups against a local server that answers as the services' documentation says:
// MusicBrainz disc IDs (found, found twice, not found, a stub, slow, garbage, busy, nobody
// there) and AccurateRip entries, the pace of the requests, and the verdicts on checksums.
#include "backends/lookup/AccurateRip.h"
#include "backends/lookup/MusicBrainz.h"
#include "backends/lookup/WebRequest.h"
#include "tests/lookup/ServiceAnswers.h"
#include "tests/support/TestWebServer.h"

#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;
using lookup::AccurateRipAnswer;
using lookup::AccurateRipVerdict;
using lookup::DiscAnswer;

namespace {

const QString kDiscId = QStringLiteral("Wn8eRBtfLDfM0qjYPdxrz.Zjs_U-");

const TestRelease kAlbum{"rel-1", "Album", "The Band", "1999-05-01", "GB", {"One", "Two"}};
const TestRelease kReissue{"rel-2", "Album (Remastered)",        "The Band", "2009",
                           "US",    {"One (2009)", "Two (2009)"}};

DiscAnswer lookUp(const TestWebServer& server, std::chrono::milliseconds timeout = 5000ms) {
    qputenv("MELVANE_MUSICBRAINZ_URL", server.url("/ws/2").toUtf8());
    lookup::MusicBrainzLookup musicBrainz;
    musicBrainz.setTimeout(timeout);
    QSignalSpy done(&musicBrainz, &lookup::MusicBrainzLookup::finished);
    musicBrainz.lookUp(kDiscId);
    if (!done.wait(20000))
        return {};
    return done.first().first().value<DiscAnswer>();
}

} // namespace

class TestLookup : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        qRegisterMetaType<DiscAnswer>();
        qRegisterMetaType<AccurateRipAnswer>();
    }

    void musicBrainzAnswers_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QStringList>("found"); // descriptions, or words of the problem
        const int found = int(DiscAnswer::Kind::Found);
        const int failed = int(DiscAnswer::Kind::Failed);
        const int unknown = int(DiscAnswer::Kind::NotFound);
        QTest::newRow("found") << 200 << musicBrainzDiscAnswer(kDiscId, {kAlbum}) << 0 << found
                               << QStringList{"The Band - Album (1999, GB)"};
        QTest::newRow("found twice")
            << 200 << musicBrainzDiscAnswer(kDiscId, {kAlbum, kReissue}) << 0 << found
            << QStringList{"The Band - Album (1999, GB)",
                           "The Band - Album (Remastered) (2009, US)"};
        QTest::newRow("not found")
            << 404 << QByteArray("{\"error\": \"Not Found\"}") << 0 << unknown << QStringList();
        QTest::newRow("only a CD stub")
            << 200 << QByteArray(R"({"id": "x", "title": "Stub", "tracks": []})") << 0 << unknown
            << QStringList();
        QTest::newRow("slow") << 200 << musicBrainzDiscAnswer(kDiscId, {kAlbum}) << 3000 << failed
                              << QStringList{"no answer within 0.4 seconds"};
        QTest::newRow("garbage") << 200 << QByteArray("<html>Gateway</html>") << 0 << failed
                                 << QStringList{"not a disc lookup"};
        QTest::newRow("busy") << 503 << QByteArray() << 0 << failed
                              << QStringList{"too busy", "HTTP 503"};
    }
    void musicBrainzAnswers() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(int, delayMs);
        QFETCH(int, kind);
        QFETCH(QStringList, found);
        TestWebServer server;
        server.serve("/ws/2/discid/" + kDiscId, {status, body, delayMs});
        const DiscAnswer answer = lookUp(server, 400ms);
        QCOMPARE(int(answer.kind), kind);
        const QList<TestWebServer::Request> requests = server.requests();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests[0].path,
                 "/ws/2/discid/" + kDiscId + "?inc=recordings+artist-credits&fmt=json");
        QVERIFY2(requests[0].userAgent.startsWith("Melvane/2.") &&
                     requests[0].userAgent.contains("( "),
                 requests[0].userAgent.constData());
        if (answer.kind == DiscAnswer::Kind::Failed) {
            for (const QString& word : found)
                QVERIFY2(answer.problem.contains(word), qPrintable(answer.problem));
            return;
        }
        QStringList descriptions;
        for (const lookup::Release& release : answer.releases)
            descriptions << release.description();
        QCOMPARE(descriptions, found);
    }

    // What a release gives the tags: album facts, and the tracks of the medium with the disc.
    void releaseFacts() {
        TestWebServer server;
        TestRelease boxed = kAlbum;
        boxed.media = 2;
        server.serve("/ws/2/discid/" + kDiscId, {200, musicBrainzDiscAnswer(kDiscId, {boxed}), 0});
        const DiscAnswer answer = lookUp(server);
        QCOMPARE(answer.releases.size(), 1);
        const lookup::Release& release = answer.releases[0];
        QCOMPARE(release.description(), QStringLiteral("The Band - Album (1999, GB, CD 2 of 2)"));
        QCOMPARE(release.year(), QStringLiteral("1999"));
        QCOMPARE(release.artistIds, QStringList{"artist-rel-1"});
        QCOMPARE(release.tracks.size(), 2);
        QCOMPARE(release.tracks[1].title, QStringLiteral("Two"));
        QCOMPARE(release.tracks[1].artist, QStringLiteral("The Band"));
        QCOMPARE(release.tracks[1].trackId, QStringLiteral("track-rel-1-2-2"));
        QCOMPARE(release.tracks[1].recordingId, QStringLiteral("recording-rel-1-2"));
    }

    // MusicBrainz asks for one request a second at most, whoever makes them. Measured between
    // the second and the third: the first pays for setting up the network once, so it may
    // arrive late, closer to the next one than it was sent.
    void requestsKeepTheirPace() {
        TestWebServer server;
        server.serve("/ws/2/discid/" + kDiscId, {404, {}, 0});
        for (int i = 0; i < 3; ++i)
            lookUp(server);
        const QList<TestWebServer::Request> requests = server.requests();
        QCOMPARE(requests.size(), 3);
        QVERIFY2(requests[2].atMs - requests[1].atMs >= 990,
                 qPrintable(QString::number(requests[2].atMs - requests[1].atMs)));
    }

    // The entry's address: the last three hex digits of ID1 as folders, last first.
    void accurateRipPath() {
        const lookup::AccurateRipDisc disc{12, 0x001b9f3a, 0x00d5a7b2, 0xa20b110c};
        QCOMPARE(disc.path(), QStringLiteral("a/3/f/dBAR-012-001b9f3a-00d5a7b2-a20b110c.bin"));
    }

    void accurateRipVerdicts_data() {
        QTest::addColumn<quint32>("v1");
        QTest::addColumn<quint32>("v2");
        QTest::addColumn<int>("track");
        QTest::addColumn<QString>("verdict");
        // Track 1: a v1 record (confidence 7) and two more (3 each); track 2 known with
        // confidence 0 only.
        QTest::newRow("v2 matches")
            << 0x111u << 0x222u << 1 << "accurately ripped (confidence 3, v2)";
        QTest::newRow("v1 matches with more confidence")
            << 0xaaau << 0x222u << 1 << "accurately ripped (confidence 7, v1)";
        QTest::newRow("v1 alone") << 0xaaau << 0x999u << 1
                                  << "accurately ripped (confidence 7, v1)";
        QTest::newRow("both at the same confidence: v2")
            << 0x333u << 0x222u << 1 << "accurately ripped (confidence 3, v2)";
        QTest::newRow("neither") << 0x123u << 0x456u << 1 << "differs";
        QTest::newRow("only confidence 0") << 0xbbbu << 0xbbbu << 2 << "not in database";
        QTest::newRow("beyond the records") << 0u << 0u << 3 << "not in database";
    }
    void accurateRipVerdicts() {
        QFETCH(quint32, v1);
        QFETCH(quint32, v2);
        QFETCH(int, track);
        QFETCH(QString, verdict);
        QString why;
        const auto entry =
            lookup::parseAccurateRip(accurateRipEntry({{1, 2, 3, {{7, 0xaaa}, {0, 0xbbb}}},
                                                       {1, 2, 3, {{3, 0x222}, {0, 0}}},
                                                       {1, 2, 3, {{3, 0x333}, {0, 0}}}}),
                                     &why);
        QVERIFY2(entry, qPrintable(why));
        QCOMPARE(entry->pressings.size(), 3);
        QCOMPARE(lookup::verdictFor(*entry, track, v1, v2).text(), verdict);
    }

    void accurateRipFetches_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("problem");
        const QByteArray entry = accurateRipEntry({{1, 2, 3, {{5, 0x1234}}}});
        QTest::newRow("found") << 200 << entry << int(AccurateRipAnswer::Kind::Found) << "";
        QTest::newRow("not found")
            << 404 << QByteArray() << int(AccurateRipAnswer::Kind::NotFound) << "";
        QTest::newRow("cut short")
            << 200 << entry.chopped(3) << int(AccurateRipAnswer::Kind::Failed)
            << "cannot be read: a record of 1 tracks is cut short";
        QTest::newRow("garbage") << 200 << QByteArray(200, '\0')
                                 << int(AccurateRipAnswer::Kind::Failed)
                                 << "cannot be read: a record claims 0 tracks";
    }
    void accurateRipFetches() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(int, kind);
        QFETCH(QString, problem);
        TestWebServer server;
        const lookup::AccurateRipDisc disc{1, 0x2f3, 0x1e6, 0x03000201};
        server.serve("/accuraterip/" + disc.path(), {status, body, 0});
        qputenv("MELVANE_ACCURATERIP_URL", server.url("/accuraterip").toUtf8());
        lookup::AccurateRipLookup accurateRip;
        QSignalSpy done(&accurateRip, &lookup::AccurateRipLookup::finished);
        accurateRip.fetch(disc);
        QVERIFY(done.wait(10000));
        const auto answer = done.first().first().value<AccurateRipAnswer>();
        QCOMPARE(int(answer.kind), kind);
        QVERIFY2(answer.problem.contains(problem), qPrintable(answer.problem));
        QCOMPARE(server.requests().value(0).path, "/accuraterip/" + disc.path());
        if (answer.kind == AccurateRipAnswer::Kind::Found)
            QCOMPARE(answer.entry.pressings[0].tracks[0].crc, 0x1234u);
    }
};

QTEST_GUILESS_MAIN(TestLookup)
#include "test_lookup.moc"
