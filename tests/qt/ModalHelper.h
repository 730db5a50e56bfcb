#pragma once

#include <QApplication>
#include <QPointer>
#include <QTimer>
#include <functional>

// Runs `show`, which blocks in a modal dialog's exec(), and hands that dialog to `answer` once
// it is open. False when no dialog of type T opened. A dialog left open (a check failed before
// the answer closed it) or one nobody answers (say, a question the dialog asks in turn) is
// closed, so that a failing test ends instead of waiting forever.
template <typename T>
bool answerModal(const std::function<void()>& show, const std::function<void(T*)>& answer) {
    bool answered = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        QPointer<T> dialog = qobject_cast<T*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll.stop();
        answered = true;
        answer(dialog);
        if (dialog && dialog->isVisible())
            dialog->close();
    });
    QTimer guard;
    QObject::connect(&guard, &QTimer::timeout, [] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            qWarning("closing the unanswered dialog \"%s\"", qPrintable(modal->windowTitle()));
            modal->close();
        }
    });
    poll.start(10);
    guard.start(5000);
    show();
    return answered;
}
