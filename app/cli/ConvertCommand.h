#pragma once

#include "app/cli/ProgressPrinter.h"
#include "components/MDec.h"
#include "components/MEnc.h"
#include "components/WAEnc.h"
#include "components/WaDec.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <memory>

// What `convert` was asked to do, already checked for form.
struct ConvertRequest {
    enum class Target { Mp3, Wma, Wav };
    Target target = Target::Mp3;
    int bitrateKbps = 128;
    qint16 encoderSwitch = 0; // MEnc's meaning: 0 = LAME, 1 = shine
    QString outputFolder;
    QStringList files;
    // What to open for files[i] when it differs from the name: a name that is not valid UTF-8
    // reaches us spoilt, so the file is opened through /proc/self/fd instead.
    QStringList openAs;
    // Whether an output may replace a file of its name (never one of files).
    bool overwrite = false;
};

// The codecs the command drives; app code hands in the real ones.
struct ConvertCodecs {
    std::unique_ptr<MEnc> mEnc;
    std::unique_ptr<MDec> mDec;
    std::unique_ptr<WAEnc> waEnc;
    std::unique_ptr<WaDec> waDec;
};

// Converts the files of a request one after another, the way the convert panel chains them:
// the next file starts when the codec reports exactly 100 or reports a failure. A file that
// fails is remembered with its reason and the batch goes on; finished() carries the exit code.
class ConvertCommand final : public QObject {
    Q_OBJECT
public:
    ConvertCommand(ConvertRequest request, ConvertCodecs codecs, ProgressPrinter& printer,
                   QObject* parent = nullptr);

    // Starts the first file; the rest follows from the event loop.
    void start();
    // Cancels the running file (its temporary output is removed) and ends the batch. A file
    // whose output was already in place counts as converted.
    void interrupt(int signalNumber);

    // The output path for a source: its whole file name with the three-letter ending replaced,
    // in the output folder. (The 50-character cut is the convert panel's own.)
    static QString outputPathFor(const QString& folder, const QString& source,
                                 const QString& extension);

Q_SIGNALS:
    void finished(int exitCode);

private:
    void next();
    // Checks the source and starts its codec; raises Error when it cannot start.
    void startFile(const QString& source, const QString& output);
    void onProgress(double percent);
    void onFailed(const QString& message);
    void fail(const QString& reason);
    void cancelRunning();
    void end();
    void endInterrupted(int signalNumber);
    void reportFailures() const;

    ConvertRequest m_request;
    ConvertCodecs m_codecs;
    ProgressPrinter& m_printer;
    int m_index = -1;
    bool m_running = false;
    bool m_ended = false;
    bool m_interrupted = false;
    int m_converted = 0;
    QString m_extension;
    // Outputs of this run and their sources, so a second source of the same name cannot
    // replace a file the run has just written.
    QHash<QString, QString> m_outputs;
    QString m_currentOutput;
    QStringList m_failures;
};
