#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2 and SIGALRM into a Qt signal on the main
// thread, so a conversion that is stopped from the shell can cancel its job and leave no temporary
// file behind. The handler only writes the signal number into a socket pair; everything else
// happens in the event loop. A signal that was ignored when the program started (SIGHUP under
// nohup) stays ignored. SIGPIPE is ignored meanwhile. One instance per process.
class Interrupts final : public QObject {
    Q_OBJECT
public:
    explicit Interrupts(QObject* parent = nullptr);
    ~Interrupts() override;

Q_SIGNALS:
    void interrupted(int signalNumber);

private:
    void readSignal();

    QSocketNotifier* m_notifier = nullptr;
};
