// The burn panel on the real engine and the image recorder: the list the user sees is the
// compilation that is burnt.
#include "backends/burn/ImageRecorder.h"
#include "backends/cdio/Disc.h"
#include "tests/burn/BurnPanelOnEngine.h"
#include "tests/media/MediaTestSupport.h"

#include <QTemporaryDir>

using namespace burning;

namespace {

// The panel on the real engine, with the image recorder chosen as the user chooses it.
struct PanelOnImages : PanelOnEngine {
    // Entering burn mode selects the first recorder; the image recorder is listed last.
    void enterBurnModeOnImageRecorder() {
        panel.enterBurnMode();
        pickRecorder(child<QComboBox>(QStringLiteral("driveCombo"))->count() - 1);
    }
    // The sectors of each track of the image just burnt.
    QList<qint32> burntTracks(const QString& folder) {
        const QString cue =
            QDir(folder).filePath(engine.imageRecorder().lastImage() + QStringLiteral(".cue"));
        QList<qint32> sectors;
        for (const cdio::TocTrack& t :
             cdio::Disc(cdio::DriveTable({cue}, false).drives().value(0)).toc().tracks)
            sectors << t.sectors;
        return sectors;
    }
};

} // namespace

class TestBurnPanelEngine : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QMap<QString, qint32> m_sectors; // WAV files of whole sectors, each of its own length

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        for (int seconds = 5; seconds <= 8; ++seconds) {
            const QString file = m_dir.filePath(QStringLiteral("%1s.wav").arg(seconds));
            writeSine(file, OutputCodec::Wav, PcmFormat::cdAudio(), seconds);
            m_sectors[file] = seconds * 75;
        }
    }

    // What the list shows is what is burnt: a change of mode and back empties the list and the
    // compilation together, so a file added then is the disc's only track, and deleting the
    // only row leaves nothing of the earlier files behind either.
    void theListIsTheCompilation() {
        QTemporaryDir images;
        qputenv("MELVANE_IMAGE_DIR", images.path().toLocal8Bit());
        PanelOnImages f;
        const QStringList files = m_sectors.keys();
        f.enterBurnModeOnImageRecorder();
        f.add(files.mid(0, 3));
        QVERIFY(f.engine.CompilationSize() > 0);

        f.enterBurnModeOnImageRecorder(); // to Rip Mode and back
        QCOMPARE(f.list()->Count(), 0);
        QCOMPARE(f.text("cdEstUsedSpaceLbl"), QStringLiteral("0.000 MB"));
        f.add({files[3]});
        QCOMPARE(f.burn(), int(AudioBurner::BurnSucceeded));
        QCOMPARE(f.burntTracks(images.path()), QList<qint32>{m_sectors[files[3]]});

        f.engine.Eject();
        f.list()->setSelected(1, true);
        f.panel.DeleteBtn_Click();
        QCOMPARE(f.engine.CompilationSize(), 0);
        f.add(files.mid(0, 3));
        f.list()->setSelected(1, true);
        f.panel.DeleteBtn_Click();
        QCOMPARE(f.burn(), int(AudioBurner::BurnSucceeded));
        QList<qint32> shown;
        for (qint32 row = 1; row <= f.list()->Count(); ++row)
            shown << m_sectors[f.list()->SubItem(row, 1)];
        QCOMPARE(shown, (QList<qint32>{m_sectors[files[1]], m_sectors[files[2]]}));
        QCOMPARE(f.burntTracks(images.path()), shown);
    }
};

QTEST_MAIN(TestBurnPanelEngine)
#include "test_burn_panel_engine.moc"
