#include "backends/qt/QssSkin.h"

#include "components/Error.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QTreeView>

namespace {

// Qt reports a sheet it cannot parse only as a warning while polishing a widget. This catches
// that warning for the duration of one polish on the user-interface thread.
QtMessageHandler g_previousHandler = nullptr;
bool g_parseFailed = false;

void catchParseWarning(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtWarningMsg && message.startsWith(QLatin1String("Could not parse")))
        g_parseFailed = true;
    else if (g_previousHandler)
        g_previousHandler(type, context, message);
}

QColor blend(const QColor& a, const QColor& b, double weightOfB) {
    return QColor::fromRgbF(float(a.redF() * (1 - weightOfB) + b.redF() * weightOfB),
                            float(a.greenF() * (1 - weightOfB) + b.greenF() * weightOfB),
                            float(a.blueF() * (1 - weightOfB) + b.blueF() * weightOfB));
}

void copyRole(QPalette& to, const QPalette& from, QPalette::ColorRole role) {
    for (auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
        to.setBrush(group, role, from.brush(group, role));
}

// The palette a window gets from the sheet: each role taken from a widget whose own role it
// is (windows for Window, line edits for Base, buttons for Button), the shades computed.
QPalette paletteOf(QMainWindow& window, const QLineEdit& edit, const QPushButton& button,
                   const QTreeView& list) {
    QPalette result = window.palette();
    for (auto role : {QPalette::Base, QPalette::Text, QPalette::PlaceholderText})
        copyRole(result, edit.palette(), role);
    for (auto role : {QPalette::Button, QPalette::ButtonText})
        copyRole(result, button.palette(), role);
    copyRole(result, list.palette(), QPalette::AlternateBase);
    for (auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        const QColor back = result.color(group, QPalette::Window);
        const QColor text = result.color(group, QPalette::WindowText);
        const bool dark = back.lightnessF() < 0.5;
        result.setColor(group, QPalette::Mid, blend(back, text, 0.28));
        result.setColor(group, QPalette::Light, dark ? back.lighter(150) : back.lighter(115));
        result.setColor(group, QPalette::Midlight, dark ? back.lighter(125) : back.lighter(107));
        result.setColor(group, QPalette::Dark, dark ? back.darker(130) : back.darker(150));
        result.setColor(group, QPalette::Shadow, back.darker(250));
        result.setColor(group, QPalette::ToolTipBase, result.color(group, QPalette::Base));
        result.setColor(group, QPalette::ToolTipText, result.color(group, QPalette::Text));
    }
    return result;
}

} // namespace

void QssSkin::LoadSkin(const QString& path) {
    auto fail = [&path](const QString& reason) {
        return Error(QStringLiteral("Cannot load the skin %1: %2").arg(path, reason));
    };
    const QFileInfo info(path);
    if (path.isEmpty())
        throw fail(QStringLiteral("no file name was given"));
    if (!info.exists())
        throw fail(QStringLiteral("the file does not exist"));
    if (info.isDir())
        throw fail(QStringLiteral("it is a folder, not a file"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        throw fail(file.errorString());
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        throw fail(file.errorString());
    const QString sheet = QString::fromUtf8(bytes);
    if (sheet.trimmed().isEmpty())
        throw fail(QStringLiteral("the file is empty"));
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        throw fail(
            QStringLiteral("skins need the program's windows, and none can be created here"));

    // Polish stand-in widgets with the sheet: this checks that Qt can parse it and tells the
    // colours it gives each kind of widget.
    QMainWindow window;
    auto* central = new QWidget(&window);
    window.setCentralWidget(central);
    auto* edit = new QLineEdit(central);
    auto* button = new QPushButton(central);
    auto* list = new QTreeView(central);
    g_parseFailed = false;
    g_previousHandler = qInstallMessageHandler(catchParseWarning);
    window.setStyleSheet(sheet);
    window.ensurePolished();
    qInstallMessageHandler(g_previousHandler);
    g_previousHandler = nullptr;
    if (g_parseFailed)
        throw fail(QStringLiteral("it is not a valid Qt style sheet"));

    m_palette = paletteOf(window, *edit, *button, *list);
    m_path = path;
    m_sheet = sheet;
    m_loaded = true;
}

void QssSkin::ApplySkin(QWidget* window) {
    if (!window)
        throw Error(QStringLiteral("Cannot apply the skin: no window was given"));
    if (!m_loaded)
        throw Error(QStringLiteral("Cannot apply the skin to %1: no skin has been loaded")
                        .arg(window->objectName().isEmpty() ? QStringLiteral("the window")
                                                            : window->objectName()));
    // Widgets under a style sheet take their palette from the application, not from their
    // parent, so the derived palette has to be the application's.
    if (QApplication::palette() != m_palette)
        QApplication::setPalette(m_palette);
    window->setStyleSheet(m_sheet);
}

QColor QssSkin::BackColor() const {
    // Before a skin is loaded, windows have the application's own background.
    return m_loaded ? m_palette.color(QPalette::Window)
                    : QGuiApplication::palette().color(QPalette::Window);
}
