#pragma once

#include "components/AudioBurner.h"

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

#include <optional>

// melvane-cli recorders: the burning engine's recorders, the image recorder last, each with
// its type, speeds and the disc it holds.
int runRecordersCommand(const QStringList& arguments);

// melvane-cli burn: the files as an audio CD on a recorder, with a progress line.
int runBurnCommand(const QStringList& arguments);

// The recorder --recorder names: its number from 'melvane-cli recorders', or 'image' (the last
// of count); nothing, with why, for anything else.
std::optional<qint16> recorderNumber(const QString& text, qint16 count, QString* why);

// What `burn` was asked to do, already checked for form.
struct BurnRequest {
    qint16 recorder = 1; // 1-based; RecorderCount() is the image recorder
    qint16 speed = 0;    // 0: the recorder's highest
    qint32 method = 0;
    bool simulate = false;
    bool keepOpen = false;
    bool verify = false;
    QStringList files;
    QString command = QStringLiteral("burn"); // how messages name the command
};

// One burn followed through the engine's events. finished() carries the exit code: 0 when the
// burn went well, 1 when it could not start or failed, 128 + the signal's number when a signal
// cancelled it.
class BurnCommand final : public QObject {
    Q_OBJECT
public:
    BurnCommand(AudioBurner& burner, BurnRequest request, QObject* parent = nullptr);

    // Sets the options, compiles the files and starts the burn.
    void start();
    // Cancels the burn; it ends cleanly, leaving no image.
    void interrupt(int signalNumber);

    // "Burn Track", "Finalise Disc" … for a State and TrackPhase of the engine.
    static QString phaseText(qint32 state, qint32 trackPhase);
    // The recorder's write speeds as the speed dialog finds them, for `recorders`.
    static QString speedsText(AudioBurner& burner);

Q_SIGNALS:
    void finished(int exitCode);

private:
    void onProgress(qint16 percent);
    void onFinished(qint32 status, const QString& text);
    void onNotice(const QString& text, bool warning);
    void drawLine(const QString& line);
    void clearLine();

    AudioBurner& m_burner;
    BurnRequest m_request;
    bool m_terminal = false;
    bool m_lineShown = false;
    QString m_lastPhase;
    qint16 m_tracks = 0; // on the disc: a disc image brings several
    int m_lastStep = -1;
    int m_signal = 0;
    QString m_failure;
    QElapsedTimer m_clock;
};
