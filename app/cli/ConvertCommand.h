#pragma once

#include "app/cli/ProgressPrinter.h"
#include "components/MDec.h"
#include "components/MEnc.h"
#include "components/WAEnc.h"
#include "components/WaDec.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <memory>
#include <vector>

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

// Converts the files of a request, several side by side (one set of codecs each), the way the
// convert panel chains them one at a time: a file is over when its codec reports exactly 100 or
// a failure, and the next one starts in its place. Files are reported in the order given, each
// with its own progress. A file that fails is remembered with its reason and the batch goes on;
// finished() carries the exit code.
class ConvertCommand final : public QObject {
    Q_OBJECT
public:
    // One set of codecs per file converted at once; there must be at least one.
    ConvertCommand(ConvertRequest request, std::vector<ConvertCodecs> codecs,
                   ProgressPrinter& printer, QObject* parent = nullptr);

    // Starts the first files; the rest follows from the event loop.
    void start();
    // Cancels the running files (their temporary outputs are removed) and ends the batch. A
    // file whose output was already in place counts as converted.
    void interrupt(int signalNumber);

    // The output path for a source: its whole file name with the three-letter ending replaced,
    // in the output folder. (The 50-character cut is the convert panel's own.)
    static QString outputPathFor(const QString& folder, const QString& source,
                                 const QString& extension);

Q_SIGNALS:
    void finished(int exitCode);

private:
    struct File {
        enum class State { Waiting, Running, Done, Failed, Cancelled };
        State state = State::Waiting;
        QString output;
        QString key; // the output's absolute path
        double percent = 0;
        QString failure;
        QElapsedTimer clock; // from its start
        qint64 tookMs = -1;  // once over
    };
    struct Slot {
        ConvertCodecs codecs;
        int file = -1; // the file it converts; -1 when free
    };

    void fill();
    // Checks the source and starts its codecs; raises Error when it cannot start.
    void startFile(Slot& slot, int index);
    void onProgress(Slot& slot, double percent);
    void onFailed(Slot& slot, const QString& message);
    void fail(int index, const QString& reason);
    void report();
    void end();
    void endInterrupted(int signalNumber);
    void reportFailures() const;
    bool anyRunning() const;

    ConvertRequest m_request;
    std::vector<Slot> m_slots;
    ProgressPrinter& m_printer;
    std::vector<File> m_files;
    int m_next = 0;  // the next file to start
    int m_shown = 0; // the file the printer shows, the first not yet reported
    bool m_shownBegun = false;
    bool m_ended = false;
    bool m_interrupted = false;
    QString m_extension;
    // Outputs of this run and their sources, so a second source of the same name cannot
    // replace a file the run has just written.
    QHash<QString, QString> m_outputs;
};
