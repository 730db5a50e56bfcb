#include "tests/fakes/FakeCodecs.h"

#include "components/Error.h"

namespace {

QString number(double value) {
    return QString::number(value);
}

void failIfScripted(const QString& error) {
    if (!error.isEmpty())
        throw Error(error);
}

// Posts the values one event each. run counts the starts and cancels of the codec: a value
// whose start has been cancelled or followed by another start is dropped.
template <typename Codec, typename Value>
void postProgress(Codec* codec, const QList<Value>& values, const int* run) {
    const int started = *run;
    for (const Value value : values)
        QMetaObject::invokeMethod(
            codec,
            [codec, value, run, started] {
                if (*run == started)
                    codec->raiseProgress(value);
            },
            Qt::QueuedConnection);
}

} // namespace

FakeMEnc::FakeMEnc(CallLog* log, QObject* parent)
    : MEnc(parent), CallRecorder(QStringLiteral("MEnc"), log) {}

void FakeMEnc::setEncoderSwitch(qint16 value) {
    record(QStringLiteral("setEncoderSwitch"), {QString::number(value)});
    m_encoderSwitch = value;
}

qint16 FakeMEnc::EncoderSwitch() const {
    record(QStringLiteral("EncoderSwitch"));
    return m_encoderSwitch;
}

void FakeMEnc::setBitrate(double bitsPerSecond) {
    record(QStringLiteral("setBitrate"), {number(bitsPerSecond)});
    m_bitrate = bitsPerSecond;
}

double FakeMEnc::Bitrate() const {
    record(QStringLiteral("Bitrate"));
    return m_bitrate;
}

void FakeMEnc::setInputFile(const QString& path) {
    record(QStringLiteral("setInputFile"), {path});
    m_inputFile = path;
}

QString FakeMEnc::InputFile() const {
    record(QStringLiteral("InputFile"));
    return m_inputFile;
}

void FakeMEnc::setOutputFile(const QString& path) {
    record(QStringLiteral("setOutputFile"), {path});
    m_outputFile = path;
}

QString FakeMEnc::OutputFile() const {
    record(QStringLiteral("OutputFile"));
    return m_outputFile;
}

void FakeMEnc::Encode() {
    record(QStringLiteral("Encode"));
    failIfScripted(encodeError);
    ++m_run;
    postProgress(this, progressOnEncode, &m_run);
}

void FakeMEnc::Cancel() {
    record(QStringLiteral("Cancel"));
    ++m_run;
}

FakeMDec::FakeMDec(CallLog* log, QObject* parent)
    : MDec(parent), CallRecorder(QStringLiteral("MDec"), log) {}

void FakeMDec::setInputFile(const QString& path) {
    record(QStringLiteral("setInputFile"), {path});
    m_inputFile = path;
}

QString FakeMDec::InputFile() const {
    record(QStringLiteral("InputFile"));
    return m_inputFile;
}

void FakeMDec::setOutputFile(const QString& path) {
    record(QStringLiteral("setOutputFile"), {path});
    m_outputFile = path;
}

QString FakeMDec::OutputFile() const {
    record(QStringLiteral("OutputFile"));
    return m_outputFile;
}

void FakeMDec::Decode() {
    record(QStringLiteral("Decode"));
    failIfScripted(decodeError);
    ++m_run;
    postProgress(this, progressOnDecode, &m_run);
}

void FakeMDec::Cancel() {
    record(QStringLiteral("Cancel"));
    ++m_run;
}

FakeWAEnc::FakeWAEnc(CallLog* log, QObject* parent)
    : WAEnc(parent), CallRecorder(QStringLiteral("WAEnc"), log) {}

void FakeWAEnc::setBitrate(double bitsPerSecond) {
    record(QStringLiteral("setBitrate"), {number(bitsPerSecond)});
    m_bitrate = bitsPerSecond;
}

double FakeWAEnc::Bitrate() const {
    record(QStringLiteral("Bitrate"));
    return m_bitrate;
}

void FakeWAEnc::Encode(const QString& inputPath, const QString& outputPath) {
    record(QStringLiteral("Encode"), {inputPath, outputPath});
    input = inputPath;
    output = outputPath;
    failIfScripted(encodeError);
    ++m_run;
    postProgress(this, progressOnEncode, &m_run);
}

void FakeWAEnc::Cancel() {
    record(QStringLiteral("Cancel"));
    ++m_run;
}

FakeWaDec::FakeWaDec(CallLog* log, QObject* parent)
    : WaDec(parent), CallRecorder(QStringLiteral("WaDec"), log) {}

void FakeWaDec::setInputFile(const QString& path) {
    record(QStringLiteral("setInputFile"), {path});
    m_inputFile = path;
}

QString FakeWaDec::InputFile() const {
    record(QStringLiteral("InputFile"));
    return m_inputFile;
}

void FakeWaDec::setOutputFile(const QString& path) {
    record(QStringLiteral("setOutputFile"), {path});
    m_outputFile = path;
}

QString FakeWaDec::OutputFile() const {
    record(QStringLiteral("OutputFile"));
    return m_outputFile;
}

void FakeWaDec::Decode() {
    record(QStringLiteral("Decode"));
    failIfScripted(decodeError);
    ++m_run;
    postProgress(this, progressOnDecode, &m_run);
}

void FakeWaDec::Cancel() {
    record(QStringLiteral("Cancel"));
    ++m_run;
}
