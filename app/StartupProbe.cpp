#include "app/StartupProbe.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QWidget>
#include <cstdio>
#include <ctime>

namespace {

void tell(const char* what) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::fprintf(stderr, "melvane: start-up: %s at %lld.%06ld\n", what,
                 static_cast<long long>(now.tv_sec), now.tv_nsec / 1000);
    std::fflush(stderr);
}

class StartupProbe final : public QObject {
public:
    explicit StartupProbe(QWidget* mainWindow) : QObject(qApp), m_main(mainWindow) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (!watched->isWidgetType())
            return false;
        QWidget* window = static_cast<QWidget*>(watched)->window();
        if (event->type() == QEvent::Hide && watched == window && m_notices.remove(window)) {
            tell("notice closed");
        } else if (event->type() == QEvent::Paint && window == m_main) {
            // Told once the whole window is painted, then the probe goes.
            qApp->removeEventFilter(this);
            QTimer::singleShot(0, this, [this] {
                tell("main window painted");
                deleteLater();
            });
        } else if (event->type() == QEvent::Paint && window->inherits("QMessageBox") &&
                   !m_notices.contains(window)) {
            m_notices.insert(window);
            QTimer::singleShot(0, this, [] { tell("notice painted"); });
        }
        return false;
    }

private:
    QPointer<QWidget> m_main;
    QSet<QWidget*> m_notices; // painted and not yet closed
};

} // namespace

void installStartupProbe(QWidget* mainWindow) {
    if (qEnvironmentVariableIsSet("MELVANE_STARTUP_PROBE"))
        qApp->installEventFilter(new StartupProbe(mainWindow));
}
