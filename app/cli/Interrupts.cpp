#include "app/cli/Interrupts.h"

#include "components/Error.h"

#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalSockets[2] = {-1, -1};
// Every signal whose default would end the program without a word: each cancels cleanly.
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM};
constexpr int kSignalCount = int(std::size(kSignals));
// What each signal did before: restored at the end.
struct sigaction previous[kSignalCount];
bool caught[kSignalCount] = {};

void onSignal(int signalNumber) {
    const int saved = errno;
    const unsigned char number = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(signalSockets[0], &number, 1);
    errno = saved;
}

} // namespace

Interrupts::Interrupts(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalSockets) != 0)
        throw Error(QStringLiteral("Cannot watch for interrupts: %1")
                        .arg(QString::fromLocal8Bit(std::strerror(errno))));
    m_notifier = new QSocketNotifier(signalSockets[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &Interrupts::readSignal);

    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int i = 0; i < kSignalCount; ++i) {
        ::sigaction(kSignals[i], nullptr, &previous[i]);
        // A signal ignored at start stays ignored: under nohup, SIGHUP must not stop the job.
        caught[i] = previous[i].sa_handler != SIG_IGN;
        if (caught[i])
            ::sigaction(kSignals[i], &action, nullptr);
    }
    // A reader that goes away (melvane-cli ... | head) must not kill a job mid-file, which
    // would leave its temporary file behind; the lost progress lines do not matter.
    ::signal(SIGPIPE, SIG_IGN);
}

Interrupts::~Interrupts() {
    for (int i = 0; i < kSignalCount; ++i)
        if (caught[i])
            ::sigaction(kSignals[i], &previous[i], nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    ::close(signalSockets[0]);
    ::close(signalSockets[1]);
    signalSockets[0] = signalSockets[1] = -1;
}

void Interrupts::readSignal() {
    unsigned char number = 0;
    if (::read(signalSockets[1], &number, 1) == 1)
        Q_EMIT interrupted(number);
}
