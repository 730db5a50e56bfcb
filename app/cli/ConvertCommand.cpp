#include "app/cli/ConvertCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/TerminalText.h"
#include "components/Error.h"
#include "core/ConvertRules.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <cstdio>
#include <exception>

namespace {

QString targetName(ConvertRequest::Target target) {
    switch (target) {
    case ConvertRequest::Target::Mp3:
        return QStringLiteral("MP3");
    case ConvertRequest::Target::Wma:
        return QStringLiteral("WMA");
    case ConvertRequest::Target::Wav:
        break;
    }
    return QStringLiteral("WAV");
}

} // namespace

ConvertCommand::ConvertCommand(ConvertRequest request, ConvertCodecs codecs,
                               ProgressPrinter& printer, QObject* parent)
    : QObject(parent), m_request(std::move(request)), m_codecs(std::move(codecs)),
      m_printer(printer) {
    switch (m_request.target) {
    case ConvertRequest::Target::Mp3:
        m_extension = QStringLiteral("mp3");
        break;
    case ConvertRequest::Target::Wma:
        m_extension = QStringLiteral("wma");
        break;
    case ConvertRequest::Target::Wav:
        m_extension = QStringLiteral("wav");
        break;
    }
    connect(m_codecs.mEnc.get(), &MEnc::Progress, this, [this](qint32 p) { onProgress(p); });
    connect(m_codecs.mDec.get(), &MDec::Progress, this, [this](qint32 p) { onProgress(p); });
    connect(m_codecs.waEnc.get(), &WAEnc::Progress, this, &ConvertCommand::onProgress);
    connect(m_codecs.waDec.get(), &WaDec::Progress, this, &ConvertCommand::onProgress);
    connect(m_codecs.mEnc.get(), &MEnc::Failed, this, &ConvertCommand::onFailed);
    connect(m_codecs.mDec.get(), &MDec::Failed, this, &ConvertCommand::onFailed);
    connect(m_codecs.waEnc.get(), &WAEnc::Failed, this, &ConvertCommand::onFailed);
    connect(m_codecs.waDec.get(), &WaDec::Failed, this, &ConvertCommand::onFailed);
}

QString ConvertCommand::outputPathFor(const QString& folder, const QString& source,
                                      const QString& extension) {
    return QDir(folder).filePath(
        ConvertRules::outputName(ConvertRules::fileNameOf(source), extension));
}

void ConvertCommand::start() {
    next();
}

// Starts files until one is running; files that cannot even start are noted and skipped.
void ConvertCommand::next() {
    while (!m_ended && ++m_index < m_request.files.size()) {
        const QString& source = m_request.files[m_index];
        const QString output = outputPathFor(m_request.outputFolder, source, m_extension);
        m_printer.begin(source, output, m_index + 1, int(m_request.files.size()));
        try {
            startFile(source, output);
            m_running = true;
            return;
        } catch (const OutputExistsError& e) {
            fail(e.message() + QStringLiteral(" (--overwrite replaces it)"));
        } catch (const Error& e) {
            fail(e.message());
        } catch (const std::exception& e) {
            // Nothing may leave through the event loop; a failed start is that file's failure.
            fail(QString::fromUtf8(e.what()));
        }
    }
    end();
}

void ConvertCommand::startFile(const QString& source, const QString& output) {
    const ConvertRequest::Target target = m_request.target;
    using ConvertRules::FileType;
    const FileType type = ConvertRules::typeOf(source);
    if (target != ConvertRequest::Target::Wav && type != FileType::Wav)
        throw Error(QStringLiteral("Cannot convert %1 to %2: only WAV files (names ending in "
                                   "\"wav\") are encoded")
                        .arg(source, targetName(target)));
    if (target == ConvertRequest::Target::Wav && type != FileType::Mp3 && type != FileType::Wma)
        throw Error(QStringLiteral("Cannot convert %1 to WAV: only MP3 and WMA files (names "
                                   "ending in \"mp3\" or \"wma\") are decoded")
                        .arg(source));
    const QString key = QFileInfo(output).absoluteFilePath();
    if (const auto earlier = m_outputs.constFind(key); earlier != m_outputs.constEnd())
        throw Error(QStringLiteral("Cannot write %1: it was just written from %2, and %3 has the "
                                   "same name")
                        .arg(output, earlier.value(), source));

    const QString alias = m_request.openAs.value(m_index);
    const QString input = alias.isEmpty() ? source : alias;
    const double bitsPerSecond = m_request.bitrateKbps * 1000.0;
    // None of the files given is ever written over, --overwrite or not.
    OverwriteRule rule{m_request.overwrite, m_request.files};
    for (const QString& path : m_request.openAs)
        if (!path.isEmpty())
            rule.sources << path;
    switch (target) {
    case ConvertRequest::Target::Mp3:
        m_codecs.mEnc->setEncoderSwitch(m_request.encoderSwitch);
        m_codecs.mEnc->setBitrate(bitsPerSecond);
        m_codecs.mEnc->setInputFile(input);
        m_codecs.mEnc->setOutputFile(output);
        m_codecs.mEnc->setOverwrite(rule);
        m_codecs.mEnc->Encode();
        break;
    case ConvertRequest::Target::Wma:
        m_codecs.waEnc->setBitrate(bitsPerSecond);
        m_codecs.waEnc->setOverwrite(rule);
        m_codecs.waEnc->Encode(input, output);
        break;
    case ConvertRequest::Target::Wav:
        if (type == FileType::Wma) {
            m_codecs.waDec->setInputFile(input);
            m_codecs.waDec->setOutputFile(output);
            m_codecs.waDec->setOverwrite(rule);
            m_codecs.waDec->Decode();
        } else {
            m_codecs.mDec->setInputFile(input);
            m_codecs.mDec->setOutputFile(output);
            m_codecs.mDec->setOverwrite(rule);
            m_codecs.mDec->Decode();
        }
        break;
    }
    m_currentOutput = key;
}

void ConvertCommand::onProgress(double percent) {
    if (!m_running)
        return;
    if (percent != 100.0) {
        m_printer.update(percent);
        return;
    }
    m_running = false;
    m_outputs.insert(m_currentOutput, m_request.files[m_index]);
    ++m_converted;
    m_printer.done();
    if (!m_interrupted)
        next();
}

void ConvertCommand::onFailed(const QString& message) {
    if (!m_running)
        return;
    m_running = false;
    fail(message);
    if (!m_interrupted)
        next();
}

void ConvertCommand::fail(const QString& reason) {
    m_printer.failed();
    const QString& name = m_request.files[m_index];
    QString text = reason;
    if (const QString alias = m_request.openAs.value(m_index); !alias.isEmpty())
        text.replace(alias, name);
    m_failures << QStringLiteral("%1: %2").arg(name, text);
}

void ConvertCommand::cancelRunning() {
    if (!m_running)
        return;
    m_codecs.mEnc->Cancel();
    m_codecs.mDec->Cancel();
    m_codecs.waEnc->Cancel();
    m_codecs.waDec->Cancel();
}

void ConvertCommand::interrupt(int signalNumber) {
    if (m_ended || m_interrupted)
        return;
    m_interrupted = true;
    cancelRunning();
    // A file that was complete when the signal came still reports its 100, queued before this.
    QMetaObject::invokeMethod(
        this, [this, signalNumber] { endInterrupted(signalNumber); }, Qt::QueuedConnection);
}

void ConvertCommand::endInterrupted(int signalNumber) {
    if (m_ended)
        return;
    if (m_running)
        m_printer.interrupted();
    m_running = false;
    const qsizetype left = m_request.files.size() - m_converted - m_failures.size();
    if (left == 0) {
        end();
        return;
    }
    m_ended = true;
    printError(QString(), QStringLiteral("interrupted; %1 of %2 file(s) not converted")
                              .arg(left)
                              .arg(m_request.files.size()));
    reportFailures();
    Q_EMIT finished(128 + signalNumber);
}

void ConvertCommand::end() {
    if (m_ended)
        return;
    m_ended = true;
    reportFailures();
    Q_EMIT finished(m_failures.isEmpty() ? 0 : 1);
}

void ConvertCommand::reportFailures() const {
    if (m_failures.isEmpty())
        return;
    printError(QString(), QStringLiteral("%1 of %2 file(s) failed:")
                              .arg(m_failures.size())
                              .arg(m_request.files.size()));
    for (const QString& failure : m_failures)
        print(stderr, QStringLiteral("  %1\n").arg(terminalText(failure)));
}
