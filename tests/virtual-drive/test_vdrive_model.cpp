// The drive model on its own: command blocks in, data and sense data out, as a program sees
// them through SG_IO.
#include "CdText.h"
#include "CueFile.h"
#include "Drive.h"
#include "Options.h"
#include "VirtualDriveTests.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace vdrive;

namespace {

struct Answer {
    bool good = false;
    QString sense; // "K/AA/QQ", empty when GOOD
    QByteArray data;
    int32_t info = 0;
    int progress = -1;
};

Answer send(Drive& d, std::vector<uint8_t> cdb, int length = 0, const QByteArray& out = {}) {
    QByteArray buffer = out.isEmpty() ? QByteArray(length, 0) : out;
    Command c;
    c.cdb = cdb.data();
    c.cdbLength = int(cdb.size());
    c.data = reinterpret_cast<uint8_t*>(buffer.data());
    c.length = size_t(buffer.size());
    c.toDevice = !out.isEmpty();
    d.execute(c, "SG_IO");
    Answer a;
    a.good = c.good;
    if (!c.good)
        a.sense = QString::asprintf("%X/%02X/%02X", c.sense.key, c.sense.asc, c.sense.ascq);
    a.data = buffer.left(qsizetype(c.toDevice ? 0 : c.transferred));
    a.info = c.sense.info;
    a.progress = c.sense.progress;
    return a;
}

std::unique_ptr<Drive> makeDrive(const QString& spec) {
    DriveOptions o;
    std::string error;
    if (!parseDrive(spec.toStdString(), o, error))
        qFatal("%s", error.c_str());
    auto d = std::make_unique<Drive>(o, error);
    if (!error.empty())
        qFatal("%s", error.c_str());
    return d;
}

int be16(const QByteArray& b, int at) {
    return quint8(b[at]) << 8 | quint8(b[at + 1]);
}

int32_t be32(const QByteArray& b, int at) {
    return int32_t(quint32(be16(b, at)) << 16 | quint32(be16(b, at + 2)));
}

std::vector<uint8_t> readCd(int lba, int count, uint8_t main = 0x10, uint8_t sub = 0) {
    return {0xbe,
            0x04,
            uint8_t(lba >> 24),
            uint8_t(lba >> 16),
            uint8_t(lba >> 8),
            uint8_t(lba),
            0,
            0,
            uint8_t(count),
            main,
            sub,
            0};
}

std::vector<uint8_t> write10(int lba, int count) {
    return {0x2a,         0, uint8_t(lba >> 24),  uint8_t(lba >> 16), uint8_t(lba >> 8),
            uint8_t(lba), 0, uint8_t(count >> 8), uint8_t(count),     0};
}

// Write parameters page 05: write type, test write, multi-session, data block type.
QByteArray page05(int type, bool test = false, bool multi = false, int block = 0) {
    QByteArray p(8 + 52, 0);
    p[8] = 0x05;
    p[9] = 0x32;
    p[10] = char(0x40 | (test ? 0x10 : 0) | type);
    p[11] = char(multi ? 0xc0 : 0);
    p[12] = char(block);
    p[23] = char(150);
    return p;
}

Answer selectPage05(Drive& d, const QByteArray& page) {
    return send(d, {0x55, 0x10, 0, 0, 0, 0, 0, 0, uint8_t(page.size()), 0}, 0, page);
}

// A cue sheet entry as libburn makes them: CTL/ADR, TNO, INDEX, form, SCMS, M, S, F.
void cueEntry(QByteArray& sheet, int tno, int index, int form, int lba) {
    uint8_t m, s, f;
    lbaToMsf(lba, m, s, f);
    sheet.append(
        QByteArray::fromRawData(reinterpret_cast<const char*>(std::array<uint8_t, 8>{
                                    0x01, uint8_t(tno), uint8_t(index), uint8_t(form), 0, m, s, f}
                                                                  .data()),
                                8));
}

} // namespace

class TestVdriveModel : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    TestDisc m_disc;

    QString pressed(const QString& options = "timescale=0") const {
        return "/dev/sr7:cue=" + m_disc.cue + ":" + options;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeTestDisc(m_dir.path());
    }

    void profilesFollowTheDriveAndTheDisc_data() {
        QTest::addColumn<QString>("spec");
        QTest::addColumn<int>("current");
        QTest::addColumn<QList<int>>("profiles");
        QTest::addColumn<int>("writeBits"); // page 2A byte 3
        QTest::newRow("CD-RW writer, blank CD-RW")
            << "/dev/sr7:blank-cdrw:timescale=0" << 0x0a << QList<int>{0x0a, 0x09, 0x08} << 0x07;
        QTest::newRow("CD-RW writer, blank CD-R")
            << "/dev/sr7:blank-cdr:timescale=0" << 0x09 << QList<int>{0x0a, 0x09, 0x08} << 0x07;
        QTest::newRow("CD-RW writer, pressed")
            << pressed() << 0x08 << QList<int>{0x0a, 0x09, 0x08} << 0x07;
        QTest::newRow("CD-R writer, CD-RW")
            << "/dev/sr7:blank-cdrw:kind=cdr,testwrite=0" << 0x08 << QList<int>{0x09, 0x08} << 0x01;
        QTest::newRow("reader, blank CD-R")
            << "/dev/sr7:blank-cdr:kind=rom" << 0x08 << QList<int>{0x08} << 0x00;
        QTest::newRow("no disc") << "/dev/sr7:none" << 0x00 << QList<int>{0x0a, 0x09, 0x08} << 0x07;
    }
    void profilesFollowTheDriveAndTheDisc() {
        QFETCH(QString, spec);
        QFETCH(int, current);
        QFETCH(QList<int>, profiles);
        QFETCH(int, writeBits);
        auto d = makeDrive(spec);
        const Answer config = send(*d, {0x46, 0x02, 0, 0, 0, 0, 0, 0x10, 0, 0}, 4096);
        QVERIFY(config.good);
        QCOMPARE(be16(config.data, 6), current);
        QList<int> listed;
        for (int at = 12; at < 12 + quint8(config.data[11]); at += 4)
            listed.append(be16(config.data, at));
        QCOMPARE(listed, profiles);
        const Answer caps = send(*d, {0x5a, 0, 0x2a, 0, 0, 0, 0, 0x01, 0, 0}, 256);
        QVERIFY(caps.good);
        QCOMPARE(int(quint8(caps.data[8 + 3])), writeBits);
    }

    void setCdSpeedTakesTheFastestSpeedNotAboveTheOneAsked_data() {
        QTest::addColumn<int>("kbps");
        QTest::addColumn<int>("chosen");
        QTest::newRow("10x") << 1764 << 1411;
        QTest::newRow("exactly 4x") << 706 << 706;
        QTest::newRow("below the slowest") << 100 << 706;
        QTest::newRow("as fast as it can") << 0xffff << 2822;
    }
    void setCdSpeedTakesTheFastestSpeedNotAboveTheOneAsked() {
        QFETCH(int, kbps);
        QFETCH(int, chosen);
        auto d = makeDrive("/dev/sr7:blank-cdr:speeds=16/4/8");
        QVERIFY(send(*d, {0xbb, 0, 0xff, 0xff, uint8_t(kbps >> 8), uint8_t(kbps), 0, 0, 0, 0, 0, 0})
                    .good);
        const Answer caps = send(*d, {0x5a, 0, 0x2a, 0, 0, 0, 0, 0x01, 0, 0}, 256);
        QCOMPARE(be16(caps.data, 8 + 28), chosen);
        QCOMPARE(be16(caps.data, 8 + 30), 3); // descriptors, fastest first
        QCOMPARE(be16(caps.data, 8 + 34), 2822);
        QCOMPARE(be16(caps.data, 8 + 42), 706);
    }

    void tableOfContentsOfAPressedDisc() {
        auto d = makeDrive(pressed());
        const Answer toc = send(*d, {0x43, 0, 0, 0, 0, 0, 0, 0x03, 0, 0}, 804);
        QVERIFY(toc.good);
        QCOMPARE(toc.data.size(), 4 + 4 * 8);
        QCOMPARE(QList<int>({be32(toc.data, 8), be32(toc.data, 16), be32(toc.data, 24),
                             be32(toc.data, 32)}),
                 QList<int>({0, 264, 364, 372}));
        QCOMPARE(int(quint8(toc.data[13])), 0x11); // track 2: pre-emphasis
        const Answer msf = send(*d, {0x43, 0x02, 0, 0, 0, 0, 2, 0x03, 0, 0}, 804);
        QCOMPARE(msf.data.mid(8, 4), QByteArray::fromHex("00000527")); // 00:05:39, from track 2
        const Answer full = send(*d, {0x43, 0x02, 2, 0, 0, 0, 0, 0x03, 0, 0}, 804);
        QCOMPARE((full.data.size() - 4) / 11, 6); // A0, A1, A2 and three tracks
        QCOMPARE(full.data.mid(4 + 2 * 11 + 3, 1), QByteArray("\xa2"));
        QCOMPARE(full.data.mid(4 + 2 * 11 + 8, 3), QByteArray::fromHex("000648"));   // 00:06:72
        QCOMPARE(send(*d, {0x43, 0, 4, 0, 0, 0, 0, 0, 28, 0}, 28).sense, "5/24/00"); // no ATIP
        // Track information gives a track's size as the table of contents does: up to the next
        // track's index 1, its gap included.
        const Answer track1 = send(*d, {0x52, 1, 0, 0, 0, 1, 0, 0, 36, 0}, 36);
        QCOMPARE(be32(track1.data, 8), 0);
        QCOMPARE(be32(track1.data, 24), 264);
        const Answer text = send(*d, {0x43, 0, 5, 0, 0, 0, 0, 0x10, 0, 0}, 4096);
        const CdTextFields fields =
            parseCdTextPacks(std::vector<uint8_t>(text.data.begin() + 4, text.data.end()));
        QCOMPARE(QString::fromStdString(fields.at(0x80).at(0)), "Pressed Album");
        QCOMPARE(QString::fromStdString(fields.at(0x80).at(2)), "Second");
        QCOMPARE(QString::fromStdString(fields.at(0x81).at(0)), "The Band");
        const Answer mcn = send(*d, {0x42, 0, 0x40, 2, 0, 0, 0, 0, 24, 0}, 24);
        QCOMPARE(mcn.data.mid(9, 13), QByteArray("0123456789012"));
        const Answer isrc = send(*d, {0x42, 0, 0x40, 3, 0, 0, 1, 0, 24, 0}, 24);
        QCOMPARE(isrc.data.mid(9, 12), QByteArray("USXYZ2400001"));
    }

    void discInformation_data() {
        QTest::addColumn<QString>("spec");
        QTest::addColumn<int>("statusByte");
        QTest::addColumn<QByteArray>("leadIn"); // bytes 16-19
        QTest::addColumn<QString>("invisible"); // READ TRACK INFORMATION of the next track
        QTest::addColumn<int>("nwa");
        QTest::addColumn<int>("free");
        QTest::newRow("blank CD-R")
            << "/dev/sr7:blank-cdr" << 0x00 << QByteArray::fromHex("00611a42") << "" << 0 << 359849;
        QTest::newRow("blank 74-minute CD-RW")
            << "/dev/sr7:blank-cdrw:size=74" << 0x10 << QByteArray::fromHex("00611400") << "" << 0
            << 332849;
        QTest::newRow("appendable CD-R")
            << "/dev/sr7:cue=" + m_disc.cue + ":media=cdr,state=appendable" << 0x01
            << QByteArray::fromHex("00012448") << "" << 372 + 11400 << 359849 - 11772;
        QTest::newRow("pressed") << pressed() << 0x0e << QByteArray::fromHex("ffffffff")
                                 << "5/24/00" << 0 << 0;
    }
    void discInformation() {
        QFETCH(QString, spec);
        QFETCH(int, statusByte);
        QFETCH(QByteArray, leadIn);
        QFETCH(QString, invisible);
        QFETCH(int, nwa);
        QFETCH(int, free);
        auto d = makeDrive(spec);
        const Answer info = send(*d, {0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, 34);
        QVERIFY(info.good);
        QCOMPARE(int(quint8(info.data[2])), statusByte);
        QCOMPARE(info.data.mid(16, 4), leadIn);
        const Answer track = send(*d, {0x52, 1, 0, 0, 0, 0xff, 0, 0, 36, 0}, 36);
        QCOMPARE(track.sense, invisible);
        if (track.good) {
            QCOMPARE(be32(track.data, 12), nwa);
            QCOMPARE(be32(track.data, 16), free);
        }
    }

    void readCdDeliversTheFramesWithOffsetAndSubchannel() {
        auto d = makeDrive(pressed());
        QCOMPARE(send(*d, readCd(100, 20), 20 * 2352).data, m_disc.bin.mid(100 * 2352, 20 * 2352));
        // Read offset +5: the drive delivers the audio 5 samples before the sector.
        auto shifted = makeDrive(pressed("timescale=0,offset=5"));
        QCOMPARE(send(*shifted, readCd(100, 2), 2 * 2352).data,
                 m_disc.bin.mid(100 * 2352 - 20, 2 * 2352));
        // Formatted Q after the frame: sector 200 lies in track 2's gap, index 0.
        const Answer q = send(*d, readCd(200, 1, 0x10, 2), 2352 + 16);
        QCOMPARE(q.data.mid(2352, 3), QByteArray::fromHex("110200"));
        QCOMPARE(send(*d, readCd(370, 5), 5 * 2352).sense, "5/21/00");
        // A data read of an audio sector is refused.
        const Answer mode1 = send(*d, {0xbe, 0x08, 0, 0, 0, 10, 0, 0, 1, 0x10, 0, 0}, 2048);
        QCOMPARE(mode1.sense, "5/64/00");
    }

    void badSectorsGiveMediumErrorsOrC2Pointers() {
        auto d = makeDrive(pressed("timescale=0,cache=0,bad=50-51/1"));
        const Answer failed = send(*d, readCd(48, 4), 4 * 2352);
        QCOMPARE(failed.sense, "3/11/05");
        QCOMPARE(failed.info, 50);
        QCOMPARE(failed.data, m_disc.bin.mid(48 * 2352, 2 * 2352)); // what came before it
        // Each sector fails once: the second read gets past 50 and stops at 51, the third is good.
        QCOMPARE(send(*d, readCd(48, 4), 4 * 2352).info, 51);
        QCOMPARE(send(*d, readCd(48, 4), 4 * 2352).data, m_disc.bin.mid(48 * 2352, 4 * 2352));
        auto c2 = makeDrive(pressed("timescale=0,cache=0,bad=60-60"));
        const Answer flagged = send(*c2, readCd(60, 1, 0x12), 2352 + 294);
        QVERIFY(flagged.good);
        QVERIFY(flagged.data.left(2352) != m_disc.bin.mid(60 * 2352, 2352));
        int flaggedBytes = 0;
        for (int i = 0; i < 2352; ++i) {
            const bool wrong = flagged.data[i] != m_disc.bin[60 * 2352 + i];
            const bool pointer = quint8(flagged.data[2352 + i / 8]) & (0x80 >> (i % 8));
            QCOMPARE(pointer, wrong);
            flaggedBytes += pointer;
        }
        QVERIFY(flaggedBytes > 0);
    }

    void trayAndSpinUp() {
        auto none = makeDrive("/dev/sr7:none");
        QCOMPARE(send(*none, {0, 0, 0, 0, 0, 0}).sense, "2/3A/01");
        auto d = makeDrive(pressed("spinup=0.3,tray=open"));
        QCOMPARE(send(*d, {0, 0, 0, 0, 0, 0}).sense, "2/3A/02");
        QVERIFY(send(*d, {0x1b, 0, 0, 0, 3, 0}).good); // close the tray
        QCOMPARE(send(*d, {0, 0, 0, 0, 0, 0}).sense, "2/04/01");
        QCOMPARE(send(*d, {0x43, 0, 0, 0, 0, 0, 0, 0, 12, 0}, 12).sense, "2/04/01");
        // The kernel's driver waits for the disc to become ready.
        QElapsedTimer timer;
        timer.start();
        Command c;
        std::vector<uint8_t> cdb{0x43, 0, 0, 0, 0, 0, 0, 0, 12, 0};
        uint8_t data[12];
        c.cdb = cdb.data();
        c.cdbLength = 10;
        c.data = data;
        c.length = sizeof data;
        d->execute(c, "kernel");
        QVERIFY(c.good);
        QVERIFY2(timer.elapsed() >= 200, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(send(*d, {0x1e, 0, 0, 0, 1, 0}).good); // locked: no eject
        QCOMPARE(send(*d, {0x1b, 0, 0, 0, 2, 0}).sense, "5/53/02");
    }

    void sessionAtOnceWithCdText_data() {
        QTest::addColumn<bool>("test");
        QTest::newRow("real") << false;
        QTest::newRow("test write") << true;
    }
    void sessionAtOnceWithCdText() {
        QFETCH(bool, test);
        auto d = makeDrive("/dev/sr7:blank-cdr:timescale=0");
        QVERIFY(selectPage05(*d, page05(2, test)).good);
        QByteArray sheet;
        cueEntry(sheet, 0, 0, 0x41, -150);
        cueEntry(sheet, 1, 0, 0x00, -150);
        cueEntry(sheet, 1, 1, 0x00, 0);
        cueEntry(sheet, 2, 1, 0x00, 300);
        cueEntry(sheet, 0xaa, 1, 0x01, 600);
        QVERIFY(send(*d, {0x5d, 0, 0, 0, 0, 0, 0, 0, uint8_t(sheet.size()), 0}, 0, sheet).good);
        QCOMPARE(send(*d, write10(0, 1), 0, QByteArray(2352, 0)).sense, "5/21/02");
        // CD-Text from the lead-in start (-11634) to -151, 96 bytes of R-W symbols a sector.
        const std::vector<uint8_t> packs =
            buildCdTextPacks({{0x80, {{0, "Disc"}, {1, "A"}, {2, "B"}}}}, 1, 2);
        QByteArray symbols;
        for (size_t p = 0; p < packs.size(); p += 3)
            symbols.append(char(packs[p] >> 2))
                .append(char((packs[p] << 4 & 0x30) | packs[p + 1] >> 4))
                .append(char((packs[p + 1] << 2 & 0x3c) | packs[p + 2] >> 6))
                .append(char(packs[p + 2] & 0x3f));
        QByteArray leadIn;
        while (leadIn.size() < (11634 - 150) * 96)
            leadIn.append(symbols);
        leadIn.truncate((11634 - 150) * 96);
        for (int lba = -11634; lba < -150; lba += 300) {
            const int n = std::min(300, -150 - lba);
            const QByteArray chunk = leadIn.mid((lba + 11634) * 96, n * 96);
            QVERIFY(send(*d, write10(lba, n), 0, chunk).good);
        }
        QByteArray audio(750 * 2352, 0);
        for (int i = 0; i < audio.size(); ++i)
            audio[i] = char(i * 7 % 251);
        QCOMPARE(send(*d, write10(-150, 10), 0, QByteArray(10 * 2048, 0)).sense, "5/64/00");
        for (int lba = -150; lba < 600; lba += 25)
            QVERIFY(send(*d, write10(lba, 25), 0, audio.mid((lba + 150) * 2352, 25 * 2352)).good);
        QVERIFY(send(*d, {0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}).good);
        const Answer info = send(*d, {0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, 34);
        QCOMPARE(int(quint8(info.data[2]) & 3), test ? 0 : 2);
        if (test)
            return;
        const Answer toc = send(*d, {0x43, 0, 0, 0, 0, 0, 0, 0x03, 0, 0}, 804);
        QCOMPARE(QList<int>({be32(toc.data, 8), be32(toc.data, 16), be32(toc.data, 24)}),
                 QList<int>({0, 300, 600}));
        QCOMPARE(send(*d, readCd(0, 25), 25 * 2352).data, audio.mid(150 * 2352, 25 * 2352));
        const Answer text = send(*d, {0x43, 0, 5, 0, 0, 0, 0, 0x10, 0, 0}, 4096);
        QCOMPARE(text.data.mid(4),
                 QByteArray(reinterpret_cast<const char*>(packs.data()), qsizetype(packs.size())));
    }

    void trackAtOncePutsAPauseBeforeTheNextTrack() {
        auto d = makeDrive("/dev/sr7:blank-cdr:timescale=0");
        QVERIFY(selectPage05(*d, page05(1, false, true)).good);
        for (int track = 0; track < 2; ++track) {
            const Answer next = send(*d, {0x52, 1, 0, 0, 0, 0xff, 0, 0, 36, 0}, 36);
            const int nwa = be32(next.data, 12);
            QCOMPARE(nwa, track == 0 ? 0 : 450);
            QVERIFY(send(*d, write10(nwa, 30), 0, QByteArray(30 * 2352, char(track + 1))).good);
            QVERIFY(send(*d, {0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}).good); // padded to 300
        }
        QVERIFY(send(*d, {0x5b, 0, 2, 0, 0, 0, 0, 0, 0, 0}).good);
        const Answer toc = send(*d, {0x43, 0, 0, 0, 0, 0, 0, 0x03, 0, 0}, 804);
        QCOMPARE(QList<int>({be32(toc.data, 8), be32(toc.data, 16), be32(toc.data, 24)}),
                 QList<int>({0, 450, 750}));
        const Answer info = send(*d, {0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, 34);
        QCOMPARE(int(quint8(info.data[2])), 0x01); // appendable, next session empty
        const Answer next = send(*d, {0x52, 1, 0, 0, 0, 0xff, 0, 0, 36, 0}, 36);
        QCOMPARE(be32(next.data, 12), 750 + 11400);
    }

    // Write errors, underruns with and without BUFE and a disc taken out while writing, and
    // the disc they leave: test_vdrive_panel::faults, through libburn and the burn panel.

    void writeParametersTheDriveRefuses_data() {
        QTest::addColumn<QString>("options");
        QTest::addColumn<QByteArray>("page");
        QTest::newRow("raw writing") << "" << page05(3);
        QTest::newRow("TAO with raw 16 blocks") << "" << page05(1, false, false, 1);
        QTest::newRow("SAO on a TAO-only drive") << "modes=tao" << page05(2);
        QTest::newRow("test write without support") << "testwrite=0" << page05(2, true);
        QTest::newRow("a reader") << "kind=rom" << page05(1);
    }
    void writeParametersTheDriveRefuses() {
        QFETCH(QString, options);
        QFETCH(QByteArray, page);
        auto d = makeDrive("/dev/sr7:blank-cdr:" + (options.isEmpty() ? "timescale=0" : options));
        QCOMPARE(selectPage05(*d, page).sense, "5/26/00");
    }

    void blankingTakesItsTime() {
        auto d = makeDrive("/dev/sr7:cue=" + m_disc.cue + ":media=cdrw,timescale=0.002");
        QCOMPARE(send(*d, {0xa1, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}).sense, ""); // full, at once
        const Answer busy = send(*d, {0, 0, 0, 0, 0, 0});
        QCOMPARE(busy.sense, "2/04/07");
        QVERIFY(busy.progress >= 0 && busy.progress < 65536);
        QTRY_VERIFY(send(*d, {0, 0, 0, 0, 0, 0}).good);
        const Answer info = send(*d, {0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, 34);
        QCOMPARE(int(quint8(info.data[2])), 0x10); // erasable, blank
        auto cdr = makeDrive("/dev/sr7:blank-cdr:timescale=0");
        QCOMPARE(send(*cdr, {0xa1, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}).sense, "5/30/05");
    }

    void optionsThatAreNotValid_data() {
        QTest::addColumn<QString>("spec");
        QTest::newRow("no disc") << "/dev/sr7";
        QTest::newRow("relative node") << "sr7:none";
        QTest::newRow("unknown disc") << "/dev/sr7:dvd";
        QTest::newRow("unknown option") << "/dev/sr7:none:colour=red";
        QTest::newRow("backwards range") << "/dev/sr7:none:bad=9-3";
        QTest::newRow("long vendor") << "/dev/sr7:none:vendor=ABCDEFGHI";
        QTest::newRow("same node twice") << "/dev/sr7:none;/dev/sr7:blank-cdr";
    }
    void optionsThatAreNotValid() {
        QFETCH(QString, spec);
        std::vector<DriveOptions> drives;
        std::string error;
        QVERIFY(!parseDrives(spec.toStdString(), drives, error));
        QVERIFY(!error.empty());
    }

    // A disc saved after a burn loads again as it was: test_vdrive_burn compares the copies it
    // burns with their sources. What the drive would not keep is refused.
    void sheetsTheDriveCannotLoad() {
        const QString cue = m_dir.filePath("gap.cue");
        writeBytes(cue, "FILE \"pressed.bin\" BINARY\n  TRACK 01 AUDIO\n    PREGAP 00:02:00\n"
                        "    INDEX 01 00:00:00\n");
        Disc disc;
        std::string error;
        QVERIFY(!loadCue(cue.toStdString(), MediaKind::Rom, false, disc, error));
        QVERIFY(QString::fromStdString(error).contains("PREGAP"));
    }
};

QTEST_GUILESS_MAIN(TestVdriveModel)
#include "test_vdrive_model.moc"
