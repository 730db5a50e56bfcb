#include "app/cli/ProgressPrinter.h"

#include "app/cli/CommandKit.h"
#include "app/cli/TerminalText.h"

#include <algorithm>
#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

// Steps at which the plain-line style reports; 100 is the "done" line.
constexpr int kLineSteps[] = {25, 50, 75};

int terminalWidth(int fd) {
    winsize size{};
    if (ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col >= 20)
        return size.ws_col;
    return 80;
}

// Shortens from the left, where long paths carry the least telling part.
QString fitLeft(const QString& text, int width) {
    if (text.size() <= width)
        return text;
    if (width <= 3)
        return text.right(width);
    return QStringLiteral("...") + text.right(width - 3);
}

} // namespace

ProgressPrinter::ProgressPrinter() : ProgressPrinter(Style::Lines, stdout, 80) {
    if (isatty(STDOUT_FILENO)) {
        *this = ProgressPrinter(Style::Bar, stdout, terminalWidth(STDOUT_FILENO));
    } else if (isatty(STDERR_FILENO)) {
        *this = ProgressPrinter(Style::Bar, stderr, terminalWidth(STDERR_FILENO));
    }
}

ProgressPrinter::ProgressPrinter(Style style, std::FILE* barStream, int barWidth)
    : m_style(style), m_barStream(barStream), m_width(barWidth) {}

void ProgressPrinter::begin(const QString& source, const QString& output, int index, int count,
                            qint64 startedMsAgo) {
    const int digits = int(QString::number(count).size());
    m_label = QStringLiteral("[%1/%2] %3 -> %4")
                  .arg(index, digits)
                  .arg(count)
                  .arg(terminalText(source), terminalText(output));
    m_shown = -1;
    m_clock.start();
    m_startedMsAgo = startedMsAgo;
    if (m_style == Style::Bar)
        update(0);
}

void ProgressPrinter::update(double percent) {
    const int whole = std::clamp(int(std::floor(percent)), 0, 99);
    if (whole <= m_shown)
        return;
    if (m_style == Style::Bar) {
        m_shown = whole;
        drawBar();
        return;
    }
    // Only the highest step passed is written, so a jump from 10 % to 80 % gives one line.
    int step = -1;
    for (int s : kLineSteps) {
        if (whole >= s && s > m_shown)
            step = s;
    }
    if (step < 0)
        return;
    m_shown = step;
    print(stdout, QStringLiteral("%1: %2%\n").arg(m_label).arg(step));
}

void ProgressPrinter::drawBar() {
    // "<label> [#####.....]  45%": the bar takes what the label leaves, within limits.
    const int barCells = std::clamp(m_width / 4, 10, 40);
    const int labelWidth = std::max(10, m_width - barCells - 9);
    const int filled = m_shown * barCells / 100;
    const QString bar = QString(filled, u'#') + QString(barCells - filled, u'.');
    print(m_barStream, QStringLiteral("\r%1 [%2] %3%\033[K")
                           .arg(fitLeft(m_label, labelWidth), -labelWidth)
                           .arg(bar)
                           .arg(m_shown, 3));
    m_barVisible = true;
}

void ProgressPrinter::clearBar() {
    if (!m_barVisible)
        return;
    print(m_barStream, QStringLiteral("\r\033[K"));
    m_barVisible = false;
}

void ProgressPrinter::finish(const QString& outcome) {
    clearBar();
    print(stdout, QStringLiteral("%1: %2\n").arg(m_label, outcome));
}

void ProgressPrinter::done() {
    finish(QStringLiteral("done (%1 s)")
               .arg(double(m_clock.elapsed() + m_startedMsAgo) / 1000.0, 0, 'f', 1));
}

void ProgressPrinter::failed() {
    finish(QStringLiteral("failed"));
}

void ProgressPrinter::interrupted() {
    finish(QStringLiteral("interrupted"));
}
