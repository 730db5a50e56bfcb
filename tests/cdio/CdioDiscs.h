#pragma once

// The images the CD backend's tests share, in one drive table: two audio discs, two data
// discs, an image libcdio would misread and one without its data file.

#include "backends/cdio/DiscReader.h"
#include "backends/cdio/DriveTools.h"
#include "tests/cdio/CdImages.h"
#include "tests/support/ErrorOf.h"

#include <QTemporaryDir>
#include <QTest>

// The tools without ripping, which these tests do not need.
class Tools final : public cdio::DriveTools {
public:
    using DriveTools::DriveTools;
    void RipTrackToWav(qint32, const QString&, qint32, qint32) override {}
    void RipTrackToMp3(qint32, const QString&, qint32, qint32) override {}
    void RipTrackToWma(qint32, const QString&, qint32, qint32) override {}
    void CancelRip() override {}
    void EndRipJob() override {}
};

// Everything the source gives, read in pieces of the given frames.
inline std::vector<qint16> readSamples(PcmSource& source, qint64 piece) {
    std::vector<qint16> out;
    std::vector<qint16> buffer(size_t(piece) * 2);
    while (const qint64 n = source.read(buffer.data(), piece))
        out.insert(out.end(), buffer.begin(), buffer.begin() + n * 2);
    return out;
}

struct CdioDiscs {
    QTemporaryDir dir;
    TestImage audio; // three tracks of uneven lengths, an INDEX 00 gap before track 2
    TestImage mixed; // a mode 1 data track, then two audio tracks
    TestImage data;
    TestImage mode2;
    std::shared_ptr<cdio::DriveTable> table;

    void write() {
        QVERIFY(dir.isValid());
        const QString folder = dir.path();
        audio = writeAudioDisc(folder);
        mixed = writeMixedDisc(folder);
        data =
            writeImage(folder, QStringLiteral("data"), {{QStringLiteral("MODE1/2352"), 588 * 300}});
        mode2 = writeImage(folder, QStringLiteral("mode2"),
                           {{QStringLiteral("MODE2/2352"), 588 * 300}});
        // Each with its reason to be refused (the others: test_cue_sheets).
        writeImage(folder, QStringLiteral("twofiles"), {{QStringLiteral("AUDIO"), 588 * 10}}, 3,
                   QStringLiteral("FILE \"other.bin\" BINARY\n"));
        writeImage(folder, QStringLiteral("nobin"), {{QStringLiteral("AUDIO"), 588 * 10}});
        QVERIFY(QFile::remove(QDir(folder).filePath(QStringLiteral("nobin.bin"))));
        QStringList images;
        for (const char* name : {"audio", "mixed", "data", "mode2", "twofiles", "nobin"})
            images << cue(QString::fromLatin1(name));
        table = std::make_shared<cdio::DriveTable>(images, false);
    }
    QString cue(const QString& name) const {
        return QDir(dir.path()).filePath(name + QStringLiteral(".cue"));
    }
};
