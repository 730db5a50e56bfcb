#pragma once

#include "components/Error.h"
#include "components/MDec.h"
#include "components/MEnc.h"
#include "components/WAEnc.h"
#include "components/WaDec.h"
#include "tests/fakes/CallLog.h"

#include <QList>

// The four codecs. They record every property write and call and convert nothing. Events come
// when the test asks: raiseProgress/raiseFailed emit at once; the values in progressOn are
// posted to the event loop after each start, the way a real codec reports from its worker
// thread (a Cancel or a new start drops those not yet delivered). A start raises Error with
// startError when that is set, and starts nothing; a start whose output is listed in existing
// raises OutputExistsError unless the overwrite rule allows replacing, as the real codecs do.
template <class Codec, class Percent> class FakeCodec : public Codec, public CallRecorder {
public:
    void Cancel() override {
        record(QStringLiteral("Cancel"));
        ++m_run;
    }
    void setOverwrite(const OverwriteRule& rule) override {
        write("setOverwrite", overwrite, rule);
    }
    OverwriteRule Overwrite() const override { return read("Overwrite", overwrite); }
    void raiseProgress(Percent percent) { Q_EMIT this->Progress(percent); }
    void raiseFailed(const QString& message) { Q_EMIT this->Failed(message); }

    QString startError;
    QList<Percent> progressOn;
    QStringList existing;
    OverwriteRule overwrite;

protected:
    FakeCodec(const QString& component, CallLog* log) : CallRecorder(component, log) {}

    void start(const char* member, const QStringList& args = {}) {
        record(QLatin1String(member), args);
        if (!startError.isEmpty())
            throw Error(startError);
        const QString output = args.isEmpty() ? m_outputFile : args.value(1);
        if (existing.contains(output) && !overwrite.replace)
            throw OutputExistsError(output, QStringLiteral("Cannot write %1: a file of that name "
                                                           "exists already")
                                                .arg(output));
        const int started = ++m_run;
        for (const Percent value : progressOn)
            QMetaObject::invokeMethod(
                this,
                [this, value, started] {
                    if (m_run == started)
                        raiseProgress(value);
                },
                Qt::QueuedConnection);
    }

    QString m_inputFile;
    QString m_outputFile;
    double m_bitrate = 0;

private:
    int m_run = 0;
};

class FakeMEnc final : public FakeCodec<MEnc, qint32> {
public:
    explicit FakeMEnc(CallLog* log = nullptr) : FakeCodec(QStringLiteral("MEnc"), log) {}
    void setEncoderSwitch(qint16 v) override { write("setEncoderSwitch", m_switch, v); }
    qint16 EncoderSwitch() const override { return read("EncoderSwitch", m_switch); }
    void setBitrate(double v) override { write("setBitrate", m_bitrate, v); }
    double Bitrate() const override { return read("Bitrate", m_bitrate); }
    void setInputFile(const QString& v) override { write("setInputFile", m_inputFile, v); }
    QString InputFile() const override { return read("InputFile", m_inputFile); }
    void setOutputFile(const QString& v) override { write("setOutputFile", m_outputFile, v); }
    QString OutputFile() const override { return read("OutputFile", m_outputFile); }
    void Encode() override { start("Encode"); }
    void setCores(qint32 v) override { write("setCores", m_cores, v); }

private:
    qint16 m_switch = 0;
    qint32 m_cores = 0;
};

class FakeWAEnc final : public FakeCodec<WAEnc, double> {
public:
    explicit FakeWAEnc(CallLog* log = nullptr) : FakeCodec(QStringLiteral("WAEnc"), log) {}
    void setBitrate(double v) override { write("setBitrate", m_bitrate, v); }
    double Bitrate() const override { return read("Bitrate", m_bitrate); }
    void Encode(const QString& input, const QString& output) override {
        start("Encode", {input, output});
    }
};

// The two decoders differ only in their component and the type of their percentage.
template <class Codec, class Percent> class FakeDecoder : public FakeCodec<Codec, Percent> {
public:
    void setInputFile(const QString& v) override {
        this->write("setInputFile", this->m_inputFile, v);
    }
    QString InputFile() const override { return this->read("InputFile", this->m_inputFile); }
    void setOutputFile(const QString& v) override {
        this->write("setOutputFile", this->m_outputFile, v);
    }
    QString OutputFile() const override { return this->read("OutputFile", this->m_outputFile); }
    void Decode() override { this->start("Decode"); }

protected:
    using FakeCodec<Codec, Percent>::FakeCodec;
};

class FakeMDec final : public FakeDecoder<MDec, qint32> {
public:
    explicit FakeMDec(CallLog* log = nullptr) : FakeDecoder(QStringLiteral("MDec"), log) {}
};

class FakeWaDec final : public FakeDecoder<WaDec, double> {
public:
    explicit FakeWaDec(CallLog* log = nullptr) : FakeDecoder(QStringLiteral("WaDec"), log) {}
};
