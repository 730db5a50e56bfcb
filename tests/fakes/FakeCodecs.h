#pragma once

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

class FakeMDec final : public MDec, public CallRecorder {
    Q_OBJECT
public:
    explicit FakeMDec(CallLog* log = nullptr, QObject* parent = nullptr);

    void setInputFile(const QString& path) override;
    QString InputFile() const override;
    void setOutputFile(const QString& path) override;
    QString OutputFile() const override;
    void Decode() override;
    void Cancel() override;

    void raiseProgress(qint32 percent) { Q_EMIT Progress(percent); }
    void raiseFailed(const QString& message) { Q_EMIT Failed(message); }

    QString decodeError;
    QList<qint32> progressOnDecode;

private:
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

class FakeWaDec final : public WaDec, public CallRecorder {
    Q_OBJECT
public:
    explicit FakeWaDec(CallLog* log = nullptr, QObject* parent = nullptr);

    void setInputFile(const QString& path) override;
    QString InputFile() const override;
    void setOutputFile(const QString& path) override;
    QString OutputFile() const override;
    void Decode() override;
    void Cancel() override;

    void raiseProgress(double percent) { Q_EMIT Progress(percent); }
    void raiseFailed(const QString& message) { Q_EMIT Failed(message); }

    QString decodeError;
    QList<double> progressOnDecode;

private:
    QString m_inputFile;
    QString m_outputFile;
    int m_run = 0;
};
