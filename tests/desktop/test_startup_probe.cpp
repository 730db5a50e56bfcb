#include "app/StartupProbe.h"

#include <QDateTime>
#include <QMainWindow>
#include <QMessageBox>
#include <QTemporaryFile>
#include <QTest>
#include <cstdio>
#include <unistd.h>

// The probe bench/start-bench reads: the notice's paint and close and the main window's first
// paint, each told once, in order, as the wall-clock time they happened.
class TestStartupProbe : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_told.open());
        std::fflush(stderr);
        m_stderr = ::dup(STDERR_FILENO);
        QVERIFY(::dup2(m_told.handle(), STDERR_FILENO) == STDERR_FILENO);
    }
    void cleanupTestCase() {
        std::fflush(stderr);
        ::dup2(m_stderr, STDERR_FILENO);
    }

    void quietUnlessAsked() {
        qunsetenv("MELVANE_STARTUP_PROBE");
        QMainWindow main;
        installStartupProbe(&main);
        main.show();
        QVERIFY(QTest::qWaitForWindowExposed(&main));
        main.repaint();
        // What a probe would tell comes from the event loop, after the paint.
        QCoreApplication::processEvents();
        QCOMPARE(told(), QStringList());
    }

    void tellsEachPaintOnceInOrder() {
        qputenv("MELVANE_STARTUP_PROBE", "1");
        const double before = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0 - 1.0;
        QMainWindow main;
        installStartupProbe(&main);
        QMessageBox notice(QMessageBox::Information, QStringLiteral("Analysing CD Tracks"),
                           QStringLiteral("Analysing"));
        notice.show();
        QTRY_COMPARE(told().size(), 1);
        notice.repaint();
        notice.hide();
        QCOMPARE(told().size(), 2);
        main.show();
        QTRY_COMPARE(told().size(), 3);
        main.repaint();
        QCoreApplication::processEvents();
        const double after = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0 + 1.0;

        QStringList what;
        double last = before;
        for (const QString& line : told()) {
            const qsizetype at = line.lastIndexOf(QLatin1String(" at "));
            QVERIFY2(line.startsWith(QLatin1String("melvane: start-up: ")) && at > 0,
                     qPrintable(line));
            what << line.mid(19, at - 19);
            const double time = line.mid(at + 4).toDouble();
            QVERIFY2(time >= last && time <= after, qPrintable(line));
            last = time;
        }
        QCOMPARE(what, QStringList({"notice painted", "notice closed", "main window painted"}));
    }

private:
    // The probe's lines so far.
    QStringList told() {
        std::fflush(stderr);
        QFile file(m_told.fileName());
        if (!file.open(QIODevice::ReadOnly))
            return {"cannot read " + m_told.fileName()};
        QStringList lines;
        for (const QString& line : QString::fromLocal8Bit(file.readAll()).split(u'\n'))
            if (line.startsWith(QLatin1String("melvane: start-up")))
                lines << line;
        return lines;
    }

    QTemporaryFile m_told;
    int m_stderr = -1;
};

QTEST_MAIN(TestStartupProbe)
#include "test_startup_probe.moc"
