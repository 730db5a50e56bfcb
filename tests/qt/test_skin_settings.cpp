#include "backends/qt/QssSkin.h"
#include "backends/qt/QtSettingsStore.h"
#include "components/Error.h"

#include <QApplication>
#include <QComboBox>
#include <QMainWindow>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

namespace {

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& bytes) {
    const QString path = dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

// WCAG contrast ratio of two colours, 1 to 21.
double contrast(const QColor& a, const QColor& b) {
    auto luminance = [](const QColor& c) {
        auto channel = [](double v) {
            return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) +
               0.0722 * channel(c.blueF()) + 0.05;
    };
    return std::max(luminance(a), luminance(b)) / std::min(luminance(a), luminance(b));
}

QString errorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Error& e) {
        return e.message();
    }
    return {};
}

} // namespace

class SkinAndSettingsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Applying a skin changes the application's palette.
    void init() { m_palette = QApplication::palette(); }
    void cleanup() { QApplication::setPalette(m_palette); }

    void skinErrorsNameTheFile() {
        QTemporaryDir dir;
        const QByteArray goodSheet = "QMainWindow { background-color: #102030; }";
        const struct {
            QString path;
            const char* reason;
        } cases[] = {
            {dir.filePath(QStringLiteral("melvane.skn")), "does not exist"},
            {writeFile(dir, QStringLiteral("empty.skn"), "  \n"), "empty"},
            {dir.path(), "folder"},
            {writeFile(dir, QStringLiteral("broken.skn"),
                       "QPushButton { color: red; \n QLabel }}}"),
             "style sheet"},
        };
        QssSkin skin;
        skin.LoadSkin(writeFile(dir, QStringLiteral("good.skn"), goodSheet));
        for (const auto& c : cases) {
            const QString message = errorOf([&] { skin.LoadSkin(c.path); });
            QVERIFY2(message.startsWith(QStringLiteral("Cannot load the skin ") + c.path) &&
                         message.contains(QLatin1String(c.reason)),
                     qPrintable(message));
        }
        // A failed load leaves the previous skin in place.
        QCOMPARE(skin.BackColor(), QColor(0x10, 0x20, 0x30));
        QCOMPARE(skin.styleSheet(), QString::fromUtf8(goodSheet));
    }

    void skinAppliesOnlyALoadedSheet() {
        QMainWindow window;
        window.setObjectName(QStringLiteral("Form1"));
        auto* central = new QWidget(&window);
        window.setCentralWidget(central);
        QssSkin skin;
        const QString message = errorOf([&] { skin.ApplySkin(&window); });
        QVERIFY2(message.contains(QLatin1String("Form1")) &&
                     message.contains(QLatin1String("no skin")),
                 qPrintable(message));
        QVERIFY(window.styleSheet().isEmpty());
        QVERIFY(!errorOf([&] { skin.ApplySkin(nullptr); }).isEmpty());

        QTemporaryDir dir;
        const QByteArray sheet =
            "QMainWindow, QDialog { background-color: #123456; color: #fafafa; }\n"
            "QLineEdit { background-color: #010203; color: #f0f1f2; }\n";
        skin.LoadSkin(writeFile(dir, QStringLiteral("melvane.skn"), sheet));
        skin.ApplySkin(&window);
        window.ensurePolished();
        QCOMPARE(window.palette().color(QPalette::Window), QColor(0x12, 0x34, 0x56));
        // Widgets the sheet does not name take the input colours from the derived palette, so
        // that what the style and our own controls paint matches the sheet.
        QCOMPARE(central->palette().color(QPalette::Base), QColor(0x01, 0x02, 0x03));
        QCOMPARE(central->palette().color(QPalette::Text), QColor(0xf0, 0xf1, 0xf2));
    }

    void shippedSkinIsReadable() {
        QssSkin skin;
        skin.LoadSkin(QStringLiteral(MELVANE_SKIN_FILE));
        const QPalette p = skin.palette();
        const struct {
            QPalette::ColorRole back, text;
            double least;
        } pairs[] = {
            {QPalette::Window, QPalette::WindowText, 7.0},
            {QPalette::Base, QPalette::Text, 7.0},
            {QPalette::Button, QPalette::ButtonText, 4.5},
            {QPalette::Highlight, QPalette::HighlightedText, 3.0},
        };
        for (const auto& pair : pairs) {
            const double ratio = contrast(p.color(pair.back), p.color(pair.text));
            QVERIFY2(ratio >= pair.least,
                     qPrintable(QStringLiteral("role %1: %2").arg(pair.back).arg(ratio)));
        }
        // Disabled text stays visible without looking enabled.
        const double disabled =
            contrast(p.color(QPalette::Disabled, QPalette::WindowText), p.color(QPalette::Window));
        QVERIFY2(disabled >= 2.0 &&
                     disabled < contrast(p.color(QPalette::WindowText), p.color(QPalette::Window)),
                 qPrintable(QString::number(disabled)));
    }

    // The combo box's drop-down sits inside its rounded border on the box's own colour: no
    // darker square of the platform style over the border.
    void shippedSkinDrawsTheComboBoxFlat() {
        QssSkin skin;
        skin.LoadSkin(QStringLiteral(MELVANE_SKIN_FILE));
        QMainWindow window;
        auto* combo = new QComboBox;
        combo->addItem(QStringLiteral("320"));
        window.setCentralWidget(combo);
        skin.ApplySkin(&window);
        window.resize(200, 40);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QImage image = combo->grab().toImage();
        const int box = QColor(0x2f, 0x36, 0x40).lightness();
        int darker = 0;
        // Inside the border, clear of the rounded corners.
        for (int y = 5; y < image.height() - 5; ++y)
            for (int x = image.width() - 22; x < image.width() - 1; ++x)
                darker += image.pixelColor(x, y).lightness() < box - 8;
        QCOMPARE(darker, 0);
    }

    void settingsRoundTrip() {
        QTemporaryDir dir;
        const QString app = QStringLiteral("QuillRecorder"), section = QStringLiteral("Settings");
        const QString key = QStringLiteral("Bitrate"),
                      device = QStringLiteral("Audio Rip CD Device");
        {
            QtSettingsStore store(dir.path());
            QCOMPARE(store.GetSetting(app, section, key, QStringLiteral("128")),
                     QStringLiteral("128"));
            store.SaveSetting(app, section, key, QStringLiteral("192"));
            store.setRegistryValue(QStringLiteral("Melvane"), device, QStringLiteral("1"));
        }
        // A new store reads what the first one wrote, from files laid out as the program's own.
        QtSettingsStore store(dir.path());
        QCOMPARE(store.GetSetting(app, section, key), QStringLiteral("192"));
        QCOMPARE(store.GetSetting(QStringLiteral("AnotherApp"), section, key), QString());
        QCOMPARE(store.RegistryValue(QStringLiteral("Software\\Melvane"), device),
                 QStringLiteral("1"));
        QCOMPARE(store.RegistryValue(QStringLiteral("Other"), device), QString());
        QSettings recorder(dir.filePath(QStringLiteral("Melvane/QuillRecorder.conf")),
                           QSettings::IniFormat);
        QCOMPARE(recorder.value(QStringLiteral("Settings/Bitrate")).toString(),
                 QStringLiteral("192"));
        QSettings registry(dir.filePath(QStringLiteral("Melvane.conf")), QSettings::IniFormat);
        QCOMPARE(registry.value(device).toString(), QStringLiteral("1"));
    }

    void settingsThatCannotBeWrittenRaise() {
        QTemporaryDir dir;
        // A folder that cannot exist: its parent is a file (permissions would not stop root).
        const QString blocker = writeFile(dir, QStringLiteral("plain-file"), "x");
        QtSettingsStore store(blocker + QStringLiteral("/settings"));
        const QString message = errorOf([&] {
            store.SaveSetting(QStringLiteral("QuillRecorder"), QStringLiteral("Settings"),
                              QStringLiteral("Bitrate"), QStringLiteral("192"));
        });
        QVERIFY2(message.contains(QLatin1String("Bitrate")) && message.contains(blocker),
                 qPrintable(message));
        QVERIFY(!errorOf([&] { store.RegistryValue(QString(), QStringLiteral("x")); }).isEmpty());
    }

    void musicFolderHasNoTrailingSeparator() {
        QTemporaryDir config;
        const QString music = config.filePath(QStringLiteral("Tunes"));
        writeFile(config, QStringLiteral("user-dirs.dirs"),
                  "XDG_MUSIC_DIR=\"" + music.toUtf8() + "/\"\n");
        const QByteArray previous = qgetenv("XDG_CONFIG_HOME");
        const auto restore = qScopeGuard([&previous] {
            previous.isNull() ? qunsetenv("XDG_CONFIG_HOME") : qputenv("XDG_CONFIG_HOME", previous);
        });
        qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
        QCOMPARE(QtSettingsStore().MusicFolder(), music);
    }

private:
    QPalette m_palette;
};

int runSkinAndSettingsTests(int argc, char** argv) {
    SkinAndSettingsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_skin_settings.moc"
