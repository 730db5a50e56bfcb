#pragma once

#include "components/Error.h"
#include "components/MDec.h"
#include "components/MEnc.h"
#include "components/WAEnc.h"
#include "components/WaDec.h"
#include "tests/fakes/CallLog.h"

#include <QList>

// The four codecs. They record every property write and call and convert nothing. Events come
// when the test asks: raiseProgress/raiseFailed emit at once; the values in progressOnEncode or
// progressOnDecode are posted to the event loop after each Encode/Decode, the way a real codec
// reports from its worker thread (a Cancel or a new start drops those not yet delivered).

class FakeMEnc final : public MEnc, public CallRecorder {
    Q_OBJECT
public:
    explicit FakeMEnc(CallLog* log = nullptr, QObject* parent = nullptr);

    void setEncoderSwitch(qint16 value) override;
    qint16 EncoderSwitch() const override;
    void setBitrate(double bitsPerSecond) override;
    double Bitrate() const override;
    void setInputFile(const QString& path) override;
    QString InputFile() const override;
    void setOutputFile(const QString& path) override;
    QString OutputFile() const override;
    void Encode() override;
    void Cancel() override;

    void raiseProgress(qint32 percent) { Q_EMIT Progress(percent); }
    void raiseFailed(const QString& message) { Q_EMIT Failed(message); }

    // When not empty, Encode raises Error with this text and starts nothing.
    QString encodeError;
    QList<qint32> progressOnEncode;

private:
    qint16 m_encoderSwitch = 0;
    double m_bitrate = 0;
    QString m_inputFile;
    QString m_outputFile;
    int m_run = 0;
};

class FakeWAEnc final : public WAEnc, public CallRecorder {
    Q_OBJECT
public:
    explicit FakeWAEnc(CallLog* log = nullptr, QObject* parent = nullptr);

    void setBitrate(double bitsPerSecond) override;
    double Bitrate() const override;
    void Encode(const QString& input, const QString& output) override;
    void Cancel() override;

    void raiseProgress(double percent) { Q_EMIT Progress(percent); }
    void raiseFailed(const QString& message) { Q_EMIT Failed(message); }

    QString encodeError;
    QList<double> progressOnEncode;
    // The paths of the last Encode.
    QString input;
    QString output;

private:
    double m_bitrate = 0;
    int m_run = 0;
};

namespace fakes_detail {

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

} // namespace fakes_detail

// The two decoders differ only in their component and the type of their percentage.
template <typename Codec, typename Percent> class FakeDecoder : public Codec, public CallRecorder {
public:
    void setInputFile(const QString& path) override {
        record(QStringLiteral("setInputFile"), {path});
        m_inputFile = path;
    }
    QString InputFile() const override {
        record(QStringLiteral("InputFile"));
        return m_inputFile;
    }
    void setOutputFile(const QString& path) override {
        record(QStringLiteral("setOutputFile"), {path});
        m_outputFile = path;
    }
    QString OutputFile() const override {
        record(QStringLiteral("OutputFile"));
        return m_outputFile;
    }
    void Decode() override {
        record(QStringLiteral("Decode"));
        if (!decodeError.isEmpty())
            throw Error(decodeError);
        ++m_run;
        fakes_detail::postProgress(this, progressOnDecode, &m_run);
    }
    void Cancel() override {
        record(QStringLiteral("Cancel"));
        ++m_run;
    }

    void raiseProgress(Percent percent) { Q_EMIT this->Progress(percent); }
    void raiseFailed(const QString& message) { Q_EMIT this->Failed(message); }

    // When not empty, Decode raises Error with this text and starts nothing.
    QString decodeError;
    QList<Percent> progressOnDecode;

protected:
    FakeDecoder(const QString& component, CallLog* log, QObject* parent)
        : Codec(parent), CallRecorder(component, log) {}

private:
    QString m_inputFile;
    QString m_outputFile;
    int m_run = 0;
};

class FakeMDec final : public FakeDecoder<MDec, qint32> {
public:
    explicit FakeMDec(CallLog* log = nullptr, QObject* parent = nullptr)
        : FakeDecoder(QStringLiteral("MDec"), log, parent) {}
};

class FakeWaDec final : public FakeDecoder<WaDec, double> {
public:
    explicit FakeWaDec(CallLog* log = nullptr, QObject* parent = nullptr)
        : FakeDecoder(QStringLiteral("WaDec"), log, parent) {}
};
