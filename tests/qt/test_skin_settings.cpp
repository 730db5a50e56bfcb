#include "backends/qt/QssSkin.h"
#include "backends/qt/QtSettingsStore.h"
#include "components/Error.h"

#include <QApplication>
#include <QLineEdit>
#include <QMainWindow>
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
        auto channel = [](double v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
        return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
    };
    const double la = luminance(a) + 0.05;
    const double lb = luminance(b) + 0.05;
    return la > lb ? la / lb : lb / la;
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
    void init() { m_palette = QApplication::palette(); }
    void cleanup() { QApplication::setPalette(m_palette); }

    void skinErrorsNameTheFile();
    void skinAppliesASheetAndItsColours();
    void skinNeedsLoadingFirst();
    void shippedSkinParsesAndIsReadable();

    void settingsRoundTrip();
    void settingsThatCannotBeWrittenRaise();
    void musicFolderHasNoTrailingSeparator();

private:
    QPalette m_palette;
};

void SkinAndSettingsTest::skinErrorsNameTheFile() {
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QssSkin skin;

    const QString missing = dir.filePath(QStringLiteral("melvane.skn"));
    QString message = errorOf([&] { skin.LoadSkin(missing); });
    QCOMPARE(message, QStringLiteral("Cannot load the skin %1: the file does not exist").arg(missing));

    const QString empty = writeFile(dir, QStringLiteral("empty.skn"), "  \n");
    message = errorOf([&] { skin.LoadSkin(empty); });
    QVERIFY2(message.startsWith(QStringLiteral("Cannot load the skin ") + empty) && message.contains(QLatin1String("empty")),
             qPrintable(message));

    message = errorOf([&] { skin.LoadSkin(dir.path()); });
    QVERIFY2(message.contains(dir.path()) && message.contains(QLatin1String("folder")), qPrintable(message));

    const QString broken = writeFile(dir, QStringLiteral("broken.skn"), "QPushButton { color: red; \n QLabel }}}");
    message = errorOf([&] { skin.LoadSkin(broken); });
    QVERIFY2(message.contains(broken) && message.contains(QLatin1String("style sheet")), qPrintable(message));

    // A failed load leaves the previous skin in place.
    const QString good = writeFile(dir, QStringLiteral("good.skn"), "QMainWindow { background-color: #102030; }");
    skin.LoadSkin(good);
    QVERIFY(!errorOf([&] { skin.LoadSkin(missing); }).isEmpty());
    QCOMPARE(skin.BackColor(), QColor(0x10, 0x20, 0x30));
    QCOMPARE(skin.styleSheet(), QStringLiteral("QMainWindow { background-color: #102030; }"));
}

void SkinAndSettingsTest::skinAppliesASheetAndItsColours() {
    QTemporaryDir dir;
    const QByteArray sheet = "QMainWindow, QDialog { background-color: #123456; color: #fafafa; }\n"
                             "QLineEdit { background-color: #010203; color: #f0f1f2; }\n";
    const QString path = writeFile(dir, QStringLiteral("melvane.skn"), sheet);
    QssSkin skin;
    skin.LoadSkin(path);
    QCOMPARE(skin.BackColor(), QColor(0x12, 0x34, 0x56));

    QMainWindow window;
    window.setObjectName(QStringLiteral("Form1"));
    auto* central = new QWidget(&window);
    window.setCentralWidget(central);
    auto* edit = new QLineEdit(central);
    skin.ApplySkin(&window);
    QCOMPARE(window.styleSheet(), QString::fromUtf8(sheet));
    window.ensurePolished();
    QCOMPARE(window.palette().color(QPalette::Window), QColor(0x12, 0x34, 0x56));
    QCOMPARE(edit->palette().color(QPalette::Base), QColor(0x01, 0x02, 0x03));
    // Widgets the sheet does not name take the input colours from the derived palette, so
    // that what the style and our own controls paint matches the sheet.
    QCOMPARE(central->palette().color(QPalette::Base), QColor(0x01, 0x02, 0x03));
    QCOMPARE(central->palette().color(QPalette::Text), QColor(0xf0, 0xf1, 0xf2));
}

void SkinAndSettingsTest::skinNeedsLoadingFirst() {
    QssSkin skin;
    QWidget window;
    window.setObjectName(QStringLiteral("frmBurnMethod"));
    const QString message = errorOf([&] { skin.ApplySkin(&window); });
    QVERIFY2(message.contains(QLatin1String("frmBurnMethod")) && message.contains(QLatin1String("no skin")),
             qPrintable(message));
    QVERIFY(window.styleSheet().isEmpty());
    QVERIFY(!errorOf([&] { skin.ApplySkin(nullptr); }).isEmpty());
}

void SkinAndSettingsTest::shippedSkinParsesAndIsReadable() {
    QssSkin skin;
    skin.LoadSkin(QStringLiteral(MELVANE_SKIN_FILE));
    const QPalette p = skin.palette();
    QCOMPARE(skin.BackColor(), p.color(QPalette::Window));
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
        QVERIFY2(ratio >= pair.least, qPrintable(QStringLiteral("roles %1/%2: contrast %3")
                                                      .arg(pair.back)
                                                      .arg(pair.text)
                                                      .arg(ratio)));
    }
    // Disabled text stays visible without looking enabled.
    const double disabled = contrast(p.color(QPalette::Disabled, QPalette::WindowText), p.color(QPalette::Window));
    QVERIFY2(disabled >= 2.0 && disabled < contrast(p.color(QPalette::WindowText), p.color(QPalette::Window)),
             qPrintable(QString::number(disabled)));
}

void SkinAndSettingsTest::settingsRoundTrip() {
    QTemporaryDir dir;
    {
        QtSettingsStore store(dir.path());
        QCOMPARE(store.GetSetting(QStringLiteral("QuillRecorder"), QStringLiteral("Settings"), QStringLiteral("Bitrate"),
                                  QStringLiteral("128")),
                 QStringLiteral("128"));
        store.SaveSetting(QStringLiteral("QuillRecorder"), QStringLiteral("Settings"), QStringLiteral("Bitrate"),
                          QStringLiteral("192"));
        store.SaveSetting(QStringLiteral("QuillRecorder"), QStringLiteral("Other"), QStringLiteral("Bitrate"),
                          QStringLiteral("64"));
        QCOMPARE(store.RegistryValue(QStringLiteral("Melvane"), QStringLiteral("Audio Rip CD Device")), QString());
        store.setRegistryValue(QStringLiteral("Melvane"), QStringLiteral("Audio Rip CD Device"), QStringLiteral("1"));
    }
    // A new store reads what the first one wrote, from the files in the folder.
    QtSettingsStore store(dir.path());
    QCOMPARE(store.GetSetting(QStringLiteral("QuillRecorder"), QStringLiteral("Settings"), QStringLiteral("Bitrate")),
             QStringLiteral("192"));
    QCOMPARE(store.GetSetting(QStringLiteral("QuillRecorder"), QStringLiteral("Other"), QStringLiteral("Bitrate")),
             QStringLiteral("64"));
    QCOMPARE(store.GetSetting(QStringLiteral("AnotherApp"), QStringLiteral("Settings"), QStringLiteral("Bitrate")),
             QString());
    QCOMPARE(store.RegistryValue(QStringLiteral("Melvane"), QStringLiteral("Audio Rip CD Device")), QStringLiteral("1"));
    QCOMPARE(store.RegistryValue(QStringLiteral("Software\\Melvane"), QStringLiteral("Audio Rip CD Device")),
             QStringLiteral("1"));
    QCOMPARE(store.RegistryValue(QStringLiteral("Other"), QStringLiteral("Audio Rip CD Device")), QString());

    QSettings recorder(dir.filePath(QStringLiteral("Melvane/QuillRecorder.conf")), QSettings::IniFormat);
    QCOMPARE(recorder.value(QStringLiteral("Settings/Bitrate")).toString(), QStringLiteral("192"));
    QSettings registry(dir.filePath(QStringLiteral("Melvane.conf")), QSettings::IniFormat);
    QCOMPARE(registry.value(QStringLiteral("Audio Rip CD Device")).toString(), QStringLiteral("1"));
}

void SkinAndSettingsTest::settingsThatCannotBeWrittenRaise() {
    QTemporaryDir dir;
    // A folder that cannot exist: its parent is a file (permissions would not stop root).
    const QString blocker = writeFile(dir, QStringLiteral("plain-file"), "x");
    QtSettingsStore store(blocker + QStringLiteral("/settings"));
    const QString message = errorOf([&] {
        store.SaveSetting(QStringLiteral("QuillRecorder"), QStringLiteral("Settings"), QStringLiteral("Bitrate"),
                          QStringLiteral("192"));
    });
    QVERIFY2(message.contains(QLatin1String("Bitrate")) && message.contains(blocker), qPrintable(message));
    QVERIFY(!errorOf([&] { store.RegistryValue(QString(), QStringLiteral("x")); }).isEmpty());
}

void SkinAndSettingsTest::musicFolderHasNoTrailingSeparator() {
    QTemporaryDir config;
    const QString music = config.filePath(QStringLiteral("Tunes"));
    writeFile(config, QStringLiteral("user-dirs.dirs"), QStringLiteral("XDG_MUSIC_DIR=\"%1/\"\n").arg(music).toUtf8());
    const QByteArray previous = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
    QtSettingsStore store;
    const QString folder = store.MusicFolder();
    if (previous.isNull())
        qunsetenv("XDG_CONFIG_HOME");
    else
        qputenv("XDG_CONFIG_HOME", previous);
    QCOMPARE(folder, music);
}

int runSkinAndSettingsTests(int argc, char** argv) {
    SkinAndSettingsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_skin_settings.moc"
