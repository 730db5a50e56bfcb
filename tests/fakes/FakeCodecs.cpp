#include "tests/fakes/FakeCodecs.h"

#include "components/Error.h"

namespace {

void failIfScripted(const QString& error) {
    if (!error.isEmpty())
        throw Error(error);
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
    record(QStringLiteral("setBitrate"), {QString::number(bitsPerSecond)});
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
    fakes_detail::postProgress(this, progressOnEncode, &m_run);
}

void FakeMEnc::Cancel() {
    record(QStringLiteral("Cancel"));
    ++m_run;
}

FakeWAEnc::FakeWAEnc(CallLog* log, QObject* parent)
    : WAEnc(parent), CallRecorder(QStringLiteral("WAEnc"), log) {}

void FakeWAEnc::setBitrate(double bitsPerSecond) {
    record(QStringLiteral("setBitrate"), {QString::number(bitsPerSecond)});
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
    fakes_detail::postProgress(this, progressOnEncode, &m_run);
}

void FakeWAEnc::Cancel() {
    record(QStringLiteral("Cancel"));
    ++m_run;
}
