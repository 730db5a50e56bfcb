#include "panelkit/ErrorBoundary.h"

#include "components/Error.h"
#include "components/MessageBox.h"

#include <QPointer>
#include <cstdio>

namespace ErrorBoundary {

static MessageBox* g_box = nullptr;

void setMessageBox(MessageBox* box) {
    g_box = box;
}

void report(const QString& text) {
    std::fprintf(stderr, "Melvane: %s\n", qPrintable(text));
    if (g_box)
        g_box->MsgBox(text, MessageBox::Buttons::OkOnly, MessageBox::Icon::Critical,
                      QStringLiteral("Melvane"));
}

void reportCurrentException() {
    try {
        throw;
    } catch (const Error& e) {
        report(e.message());
    } catch (const std::bad_alloc&) {
        report(QStringLiteral("Out of memory."));
    } catch (const std::exception& e) {
        report(QString::fromLocal8Bit(e.what()));
    } catch (...) {
        report(QStringLiteral("An unknown error occurred."));
    }
}

} // namespace ErrorBoundary

MelvaneApplication::MelvaneApplication(int& argc, char** argv) : QApplication(argc, argv) {}

bool MelvaneApplication::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (...) {
        ErrorBoundary::reportCurrentException();
        return false;
    }
}
