#pragma once

// What the window tests share besides the fakes: children that must be there, and errors
// that escape a handler reported on a fake message box.
#include "panelkit/ErrorBoundary.h"

#include <QObject>

// The child of parent called name; the test stops when there is none.
template <class T> T* namedChild(const QObject& parent, const QString& name) {
    T* found = parent.findChild<T*>(name);
    if (!found)
        qFatal("no %s", qPrintable(name));
    return found;
}

// While it lives, errors that escape a handler are reported on box.
struct ReportErrorsOn {
    explicit ReportErrorsOn(MessageBox* box) { ErrorBoundary::setMessageBox(box); }
    ~ReportErrorsOn() { ErrorBoundary::setMessageBox(nullptr); }
    ReportErrorsOn(const ReportErrorsOn&) = delete;
    ReportErrorsOn& operator=(const ReportErrorsOn&) = delete;
};
