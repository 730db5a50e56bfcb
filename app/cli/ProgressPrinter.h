#pragma once

#include <QElapsedTimer>
#include <QString>
#include <cstdio>

// Per-file progress of a batch conversion. On a terminal a bar is redrawn in place; when the
// output goes to a file or a pipe, plain lines are written at a few steps instead, so logs stay
// readable. The closing line of each file always goes to standard output.
class ProgressPrinter {
public:
    enum class Style { Bar, Lines };

    // A bar when standard output or standard error is a terminal (drawn on that one), lines on
    // standard output otherwise.
    ProgressPrinter();
    ProgressPrinter(Style style, std::FILE* barStream, int barWidth);

    Style style() const { return m_style; }

    // startedMsAgo: how long the file has been converting already (it ran out of sight).
    void begin(const QString& source, const QString& output, int index, int count,
               qint64 startedMsAgo = 0);
    void update(double percent);
    void done();
    void failed();
    void interrupted();

private:
    void drawBar();
    void clearBar();
    void finish(const QString& outcome);

    Style m_style;
    std::FILE* m_barStream;
    int m_width;
    QString m_label;
    int m_shown = -1; // last whole percent drawn or written
    bool m_barVisible = false;
    QElapsedTimer m_clock;
    qint64 m_startedMsAgo = 0;
};
