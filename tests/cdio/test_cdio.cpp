// The CD backend on real libcdio and libcdio-paranoia, on CUE/BIN images written here: the drive
// table, tables of contents and disc kinds, refused images, bit-exact paranoia reads with
// offsets, a disc going away mid-read, and the checksums.

#include "backends/cdio/Checksums.h"
#include "backends/cdio/CueSheet.h"
#include "backends/cdio/DiscReader.h"
#include "tests/cdio/CdioDiscs.h"

#include <future>

using namespace cdio;

class TestCdio : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_d.write(); }
    void driveTable();
    void discs_data();
    void discs();
    void tableOfContents();
    void readsTracksBitExact();
    void offsetCorrection_data();
    void offsetCorrection();
    void discIsInterrupted();
    void checksums();
    void discIds();

private:
    Drive imageDrive(const TestImage& image) const { return DriveTable::imageDrive(image.cue, 0); }

    CdioDiscs m_d;
};

// Images follow each other with addresses no real drive has, and say what they are.
void TestCdio::driveTable() {
    Tools tools(m_d.table);
    QCOMPARE(tools.DriveCount(), 8);
    qint32 index = 1;
    const qint32 address = tools.DriveAddress(index);
    QCOMPARE(address, kImageHost | 1 << 8);
    QCOMPARE(addressText(address), QStringLiteral("255:1:0"));
    QCOMPARE(tools.DriveVendor(address), 7);
    QCOMPARE(tools.InquiryText(), QStringLiteral("Melvane"));
    QCOMPARE(tools.DriveProduct(address), 11);
    QCOMPARE(tools.InquiryText(), QStringLiteral("Image mixed"));
    QVERIFY(tools.DriveRevision(address) > 0);
    index = 8;
    QVERIFY_THROWS_EXCEPTION(IndexError, tools.DriveAddress(index));
    QVERIFY(errorOf([&] { tools.SelectDrive(0x010000); }).contains(QLatin1String("1:0:0")));
    const Drive found = m_d.table->driveFor(m_d.audio.cue);
    QCOMPARE(found.address, kImageHost);
    QCOMPARE(found.name(), QStringLiteral("the image ") + m_d.audio.cue);
}

void TestCdio::discs_data() {
    QTest::addColumn<int>("place");
    QTest::addColumn<int>("tracks");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("refusal");
    QTest::newRow("audio") << 0 << 3 << 0 << QString();
    QTest::newRow("mixed mode counts as audio") << 1 << 3 << 0 << QString();
    QTest::newRow("mode 1 data") << 2 << 1 << 3 << QString();
    QTest::newRow("mode 2 data") << 3 << 1 << 4 << QString();
    // The other refusals the sheet reader makes: test_cue_sheets.
    QTest::newRow("two FILE lines") << 4 << 0 << 0 << QStringLiteral("names a second data file");
}

// Track count, kind and blank state through the tools; an image libcdio would misread is
// refused, when it is opened, with the reason.
void TestCdio::discs() {
    QFETCH(int, place);
    QFETCH(int, tracks);
    QFETCH(int, type);
    QFETCH(QString, refusal);
    Tools tools(m_d.table);
    const qint32 address = kImageHost | place << 8;
    tools.SelectDrive(address);
    if (!refusal.isEmpty()) {
        QVERIFY2(errorOf([&] { tools.ReadTrackCount(address); }).contains(refusal),
                 qPrintable(errorOf([&] { tools.ReadTrackCount(address); })));
        QVERIFY(errorOf([&] { tools.DiscState(address); }).contains(refusal));
        tools.EjectDrive(address); // an image has no tray: nothing to refuse
        return;
    }
    QCOMPARE(tools.ReadTrackCount(address), tracks);
    tools.ReadDiscInfo(address, 0);
    QCOMPARE(tools.DiscType(), type);
    QCOMPARE(tools.TrackCount(), tracks);
    QCOMPARE(tools.DiscState(address), 0);
    tools.EjectDrive(address);
    if (place == 1) {
        tools.ReadDiscInfo(address, 1);
        QCOMPARE(tools.DiscType(), 3);
        tools.ReadDiscInfo(address, 2);
        QCOMPARE(tools.DiscType(), 0);
        QVERIFY(
            errorOf([&] { tools.ReadDiscInfo(address, 4); }).contains(QLatin1String("no track 4")));
    }
}

// Starts and lengths to the sector: uneven tracks end on the next sector, a gap counts in the
// track before it, and the lead-out follows the last.
void TestCdio::tableOfContents() {
    for (const TestImage* image : {&m_d.audio, &m_d.mixed}) {
        Disc disc(imageDrive(*image));
        const Toc toc = disc.toc();
        QCOMPARE(toc.tracks.size(), image->starts.size());
        for (int i = 0; i < toc.tracks.size(); ++i) {
            QCOMPARE(toc.tracks[i].number, i + 1);
            QCOMPARE(toc.tracks[i].start, image->starts[i]);
            QCOMPARE(toc.tracks[i].sectors, image->sectors[i]);
        }
        QCOMPARE(toc.leadout, qint32(image->disc.size() / 1176));
    }
    QCOMPARE(msfText(275 * 75), QStringLiteral("04:35:00"));
    QCOMPARE(Disc(imageDrive(m_d.mixed)).toc().tracks[0].kind, TocTrack::Kind::Mode1);
}

// Every audio track reads back exactly, in pieces that do not fit sectors; a data track is
// refused at once.
void TestCdio::readsTracksBitExact() {
    for (const TestImage* image : {&m_d.audio, &m_d.mixed}) {
        for (int n = 1; n <= image->starts.size(); ++n) {
            if (image == &m_d.mixed && n == 1) {
                QVERIFY(errorOf([&] {
                            DiscReader::track(imageDrive(*image), 1);
                        }).contains(QLatin1String("data track")));
                continue;
            }
            auto reader = DiscReader::track(imageDrive(*image), n);
            QCOMPARE(reader->expectedFrames(), image->sectors[n - 1] * 588LL);
            QCOMPARE(reader->totalSectors(), image->sectors[n - 1]);
            QVERIFY2(readSamples(*reader, 1000) == image->track(n), qPrintable(image->cue));
            QCOMPARE(reader->currentSector(), reader->totalSectors());
        }
    }
    QVERIFY(errorOf([&] {
                DiscReader::track(imageDrive(m_d.audio), 4);
            }).contains(QLatin1String("no track 4")));
}

void TestCdio::offsetCorrection_data() {
    QTest::addColumn<int>("track");
    QTest::addColumn<int>("offset");
    QTest::newRow("first track, early drive: silence before the disc") << 1 << -30;
    QTest::newRow("first track, late drive") << 1 << 667;
    QTest::newRow("middle track takes from the next") << 2 << 6;
    QTest::newRow("last track, late drive: silence after the disc") << 3 << 1200;
    QTest::newRow("last track, early drive") << 3 << -589;
}

void TestCdio::offsetCorrection() {
    QFETCH(int, track);
    QFETCH(int, offset);
    auto reader = DiscReader::track(imageDrive(m_d.audio), track, {true, offset});
    const qint64 first = m_d.audio.starts[track - 1] * 588LL + offset;
    const qint64 end = first + m_d.audio.sectors[track - 1] * 588LL;
    QVERIFY(readSamples(*reader, 4096) == m_d.audio.samples(first, end));
}

// A read interrupted from another thread ends at once. (An image deleted or cut short while
// it is read: test_rip::failsMidRip.)
void TestCdio::discIsInterrupted() {
    // Far more than the disc holds, so only the interruption ends it.
    auto reader = DiscReader::sectors(imageDrive(m_d.audio), 0, 1 << 30, {});
    std::promise<void> started;
    auto reading = std::async(std::launch::async, [&] {
        std::vector<qint16> buffer(588 * 2);
        return errorOf([&] {
            started.set_value();
            while (reader->read(buffer.data(), 588) == 588) {
            }
        });
    });
    started.get_future().wait();
    reader->interrupt();
    QCOMPARE(reading.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    const QString error = reading.get();
    QVERIFY2(error.startsWith(QLatin1String("Reading sectors 0 to")), qPrintable(error));
}

// CRC-32 and AccurateRip v1/v2 against plain implementations written from their definitions,
// fed in uneven pieces, for a track at every place on the disc.
void TestCdio::checksums() {
    QCOMPARE(referenceCrc32(QByteArray("123456789")), 0xcbf43926u); // the CRC-32 check value
    const std::vector<qint16> pcm = m_d.audio.track(1);
    const qint64 frames = qint64(pcm.size() / 2);
    for (const bool first : {false, true}) {
        for (const bool last : {false, true}) {
            TrackChecksums sums(frames, first, last);
            for (qint64 done = 0; done < frames; done += 1001)
                sums.write(pcm.data() + done * 2, std::min<qint64>(1001, frames - done));
            const auto [v1, v2] = referenceAccurateRip(pcm, first, last);
            QCOMPARE(sums.accurateRipV1(), v1);
            QCOMPARE(sums.accurateRipV2(), v2);
            QCOMPARE(sums.crc32(), referenceCrc32(pcm));
        }
    }
}

// Disc IDs of published tables of contents (LBA offsets, as the AccurateRip database gives
// them): an audio CD, an enhanced CD (audio, then a data track in a second session) and a
// mixed-mode CD (a data track first).
void TestCdio::discIds() {
    auto toc = [](const QList<qint32>& lba, qint32 leadout, const QList<int>& dataTracks) {
        Toc t;
        for (int i = 0; i < lba.size(); ++i)
            t.tracks.append(
                {i + 1,
                 lba[i] - 150,
                 0,
                 dataTracks.contains(i + 1) ? TocTrack::Kind::Mode1 : TocTrack::Kind::Audio,
                 {}});
        t.leadout = leadout - 150;
        return t;
    };
    const QList<qint32> liquid = {150,    12767,  40487,  63225,  93410,
                                  118115, 151865, 184340, 215260, 247455};
    QCOMPARE(accurateRipDiscId(toc(liquid, 270335, {})),
             QStringLiteral("010-00154c2f-00af4fd4-890e120a"));
    QCOMPARE(accurateRipDiscId(toc(liquid + QList<qint32>{281735}, 333801, {11})),
             QStringLiteral("010-00164419-00b9f6e2-9e11600b"));
    const QList<qint32> mortal = {150,    66728,  76502,  85963,  93760,  104048, 116066, 124743,
                                  134206, 142916, 151852, 160720, 169425, 178731, 188459, 196711,
                                  206354, 214845, 223686, 225746, 226384, 232668, 239447, 239931,
                                  244989, 254264, 260066, 261222, 261674};
    QCOMPARE(accurateRipDiscId(toc(mortal, 261976, {1})),
             QStringLiteral("028-00517a54-05a845d2-af0da31d"));
}

QTEST_GUILESS_MAIN(TestCdio)
#include "test_cdio.moc"
