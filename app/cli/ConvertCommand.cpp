#include "app/cli/ConvertCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/TerminalText.h"
#include "components/Error.h"
#include "core/ConvertRules.h"

#include <QDir>
#include <QFileInfo>
#include <QThread>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

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

ConvertCommand::ConvertCommand(ConvertRequest request, std::vector<ConvertCodecs> codecs,
                               ProgressPrinter& printer, QObject* parent)
    : QObject(parent), m_request(std::move(request)), m_printer(printer),
      m_files(size_t(m_request.files.size())) {
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
    for (File& file : m_files) {
        const qsizetype i = &file - m_files.data();
        file.output = outputPathFor(m_request.outputFolder, m_request.files[i], m_extension);
        file.key = QFileInfo(file.output).absoluteFilePath();
    }
    // Never more slots than files; the slots live as long as the command, so each may be
    // captured by reference.
    codecs.resize(std::min(codecs.size(), std::max(m_files.size(), size_t(1))));
    m_slots.resize(codecs.size());
    for (size_t i = 0; i < codecs.size(); ++i) {
        Slot& slot = m_slots[i];
        slot.codecs = std::move(codecs[i]);
        const ConvertCodecs& c = slot.codecs;
        const auto progress = [this, &slot](double p) { onProgress(slot, p); };
        const auto failed = [this, &slot](const QString& message) { onFailed(slot, message); };
        connect(c.mEnc.get(), &MEnc::Progress, this, progress);
        connect(c.mDec.get(), &MDec::Progress, this, progress);
        connect(c.waEnc.get(), &WAEnc::Progress, this, progress);
        connect(c.waDec.get(), &WaDec::Progress, this, progress);
        connect(c.mEnc.get(), &MEnc::Failed, this, failed);
        connect(c.mDec.get(), &MDec::Failed, this, failed);
        connect(c.waEnc.get(), &WAEnc::Failed, this, failed);
        connect(c.waDec.get(), &WaDec::Failed, this, failed);
    }
}

QString ConvertCommand::outputPathFor(const QString& folder, const QString& source,
                                      const QString& extension) {
    return QDir(folder).filePath(
        ConvertRules::outputName(ConvertRules::fileNameOf(source), extension));
}

void ConvertCommand::start() {
    fill();
}

bool ConvertCommand::anyRunning() const {
    return std::any_of(m_slots.begin(), m_slots.end(), [](const Slot& s) { return s.file >= 0; });
}

// Starts files in the free slots; files that cannot even start are noted and skipped.
void ConvertCommand::fill() {
    for (Slot& slot : m_slots) {
        while (!m_ended && !m_interrupted && slot.file < 0 && m_next < int(m_files.size())) {
            // A second source of a running file's name waits for it, so that it is refused
            // when that file is written and converted when it fails, as one after another.
            const QString& key = m_files[size_t(m_next)].key;
            if (std::any_of(m_slots.begin(), m_slots.end(), [&](const Slot& s) {
                    return s.file >= 0 && m_files[size_t(s.file)].key == key;
                }))
                break;
            const int index = m_next++;
            try {
                startFile(slot, index);
            } catch (const OutputExistsError& e) {
                fail(index, e.message() + QStringLiteral(" (--overwrite replaces it)"));
            } catch (const Error& e) {
                fail(index, e.message());
            } catch (const std::exception& e) {
                // Nothing may leave through the event loop; a failed start is that file's failure.
                fail(index, QString::fromUtf8(e.what()));
            }
        }
    }
    report();
    if (!anyRunning() && m_next >= int(m_files.size()))
        end();
}

void ConvertCommand::startFile(Slot& slot, int index) {
    const QString& source = m_request.files[index];
    File& file = m_files[size_t(index)];
    file.clock.start();
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
    if (const auto earlier = m_outputs.constFind(file.key); earlier != m_outputs.constEnd())
        throw Error(QStringLiteral("Cannot write %1: it was just written from %2, and %3 has the "
                                   "same name")
                        .arg(file.output, earlier.value(), source));

    const QString alias = m_request.openAs.value(index);
    const QString input = alias.isEmpty() ? source : alias;
    const QString& output = file.output;
    const double bitsPerSecond = m_request.bitrateKbps * 1000.0;
    // None of the files given is ever written over, --overwrite or not.
    OverwriteRule rule{m_request.overwrite, m_request.files};
    for (const QString& path : m_request.openAs)
        if (!path.isEmpty())
            rule.sources << path;
    const ConvertCodecs& codecs = slot.codecs;
    switch (target) {
    case ConvertRequest::Target::Mp3: {
        // While as many files are left as run side by side, each takes its share of the cores;
        // the last ones take them all, so that the end of the batch keeps every core busy.
        const int sideBySide = int(m_slots.size());
        const bool shared = sideBySide > 1 && int(m_files.size()) - index >= sideBySide;
        codecs.mEnc->setCores(shared ? std::max(1, QThread::idealThreadCount() / sideBySide) : 0);
        codecs.mEnc->setEncoderSwitch(m_request.encoderSwitch);
        codecs.mEnc->setBitrate(bitsPerSecond);
        codecs.mEnc->setInputFile(input);
        codecs.mEnc->setOutputFile(output);
        codecs.mEnc->setOverwrite(rule);
        codecs.mEnc->Encode();
        break;
    }
    case ConvertRequest::Target::Wma:
        codecs.waEnc->setBitrate(bitsPerSecond);
        codecs.waEnc->setOverwrite(rule);
        codecs.waEnc->Encode(input, output);
        break;
    case ConvertRequest::Target::Wav:
        if (type == FileType::Wma) {
            codecs.waDec->setInputFile(input);
            codecs.waDec->setOutputFile(output);
            codecs.waDec->setOverwrite(rule);
            codecs.waDec->Decode();
        } else {
            codecs.mDec->setInputFile(input);
            codecs.mDec->setOutputFile(output);
            codecs.mDec->setOverwrite(rule);
            codecs.mDec->Decode();
        }
        break;
    }
    file.state = File::State::Running;
    slot.file = index;
}

void ConvertCommand::onProgress(Slot& slot, double percent) {
    if (slot.file < 0)
        return;
    File& file = m_files[size_t(slot.file)];
    if (percent != 100.0) {
        file.percent = percent;
        if (slot.file == m_shown)
            m_printer.update(percent);
        return;
    }
    file.state = File::State::Done;
    file.tookMs = file.clock.elapsed();
    m_outputs.insert(file.key, m_request.files[slot.file]);
    slot.file = -1;
    if (!m_interrupted)
        fill();
}

void ConvertCommand::onFailed(Slot& slot, const QString& message) {
    if (slot.file < 0)
        return;
    const int index = std::exchange(slot.file, -1);
    fail(index, message);
    if (!m_interrupted)
        fill();
}

void ConvertCommand::fail(int index, const QString& reason) {
    File& file = m_files[size_t(index)];
    file.state = File::State::Failed;
    file.tookMs = file.clock.isValid() ? file.clock.elapsed() : 0;
    file.failure = reason;
    if (const QString alias = m_request.openAs.value(index); !alias.isEmpty())
        file.failure.replace(alias, m_request.files[index]);
}

// Brings the printer up to date: the files before the first running or waiting one are
// reported, in order, and that one's progress is shown.
void ConvertCommand::report() {
    while (m_shown < int(m_files.size())) {
        const File& file = m_files[size_t(m_shown)];
        if (file.state == File::State::Waiting)
            return;
        if (!m_shownBegun) {
            m_printer.begin(m_request.files[m_shown], file.output, m_shown + 1, int(m_files.size()),
                            file.tookMs >= 0 ? file.tookMs
                                             : (file.clock.isValid() ? file.clock.elapsed() : 0));
            m_shownBegun = true;
        }
        switch (file.state) {
        case File::State::Waiting:
            return;
        case File::State::Running:
            m_printer.update(file.percent);
            return;
        case File::State::Done:
            m_printer.done();
            break;
        case File::State::Failed:
            m_printer.failed();
            break;
        case File::State::Cancelled:
            m_printer.interrupted();
            break;
        }
        ++m_shown;
        m_shownBegun = false;
    }
}

void ConvertCommand::interrupt(int signalNumber) {
    if (m_ended || m_interrupted)
        return;
    m_interrupted = true;
    for (Slot& slot : m_slots) {
        if (slot.file < 0)
            continue;
        slot.codecs.mEnc->Cancel();
        slot.codecs.mDec->Cancel();
        slot.codecs.waEnc->Cancel();
        slot.codecs.waDec->Cancel();
    }
    // A file that was complete when the signal came still reports its 100, queued before this.
    QMetaObject::invokeMethod(
        this, [this, signalNumber] { endInterrupted(signalNumber); }, Qt::QueuedConnection);
}

void ConvertCommand::endInterrupted(int signalNumber) {
    if (m_ended)
        return;
    for (Slot& slot : m_slots) {
        if (slot.file >= 0)
            m_files[size_t(std::exchange(slot.file, -1))].state = File::State::Cancelled;
    }
    report();
    const auto count = [this](File::State state) {
        return std::count_if(m_files.begin(), m_files.end(),
                             [state](const File& f) { return f.state == state; });
    };
    const qsizetype left =
        qsizetype(m_files.size()) - count(File::State::Done) - count(File::State::Failed);
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
    const bool anyFailed = std::any_of(m_files.begin(), m_files.end(), [](const File& f) {
        return f.state == File::State::Failed;
    });
    Q_EMIT finished(anyFailed ? 1 : 0);
}

void ConvertCommand::reportFailures() const {
    QStringList failures;
    for (size_t i = 0; i < m_files.size(); ++i) {
        if (m_files[i].state == File::State::Failed)
            failures << QStringLiteral("%1: %2").arg(m_request.files[qsizetype(i)],
                                                     m_files[i].failure);
    }
    if (failures.isEmpty())
        return;
    printError(QString(), QStringLiteral("%1 of %2 file(s) failed:")
                              .arg(failures.size())
                              .arg(m_request.files.size()));
    for (const QString& failure : failures)
        print(stderr, QStringLiteral("  %1\n").arg(terminalText(failure)));
}
