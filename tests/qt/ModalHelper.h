#pragma once

#include <QApplication>
#include <QDeadlineTimer>
#include <QPointer>
#include <QTimer>
#include <functional>

// Runs an action on the next modal dialog of type T once it is open, so a test can answer a
// dialog whose exec() it is blocked in. Gives up after a few seconds, and closes a dialog the
// action left open, so that a failing test ends instead of waiting forever.
template <typename T>
void whenModal(std::function<void(T*)> action) {
    auto* timer = new QTimer;
    const QDeadlineTimer deadline(5000);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, action, deadline] {
        if (auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget())) {
            timer->deleteLater();
            timer->stop();
            action(dialog);
            QPointer<QWidget> left(dialog);
            QTimer::singleShot(3000, [left] {
                if (left && left->isVisible()) {
                    qWarning("the dialog was still open after the test's answer; closing it");
                    left->close();
                }
            });
        } else if (deadline.hasExpired()) {
            timer->deleteLater();
            timer->stop();
        }
    });
    timer->start(10);
}
