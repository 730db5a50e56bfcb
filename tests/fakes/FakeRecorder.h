#pragma once

#include "components/Error.h"
#include "components/Player.h"
#include "components/Record.h"
#include "tests/fakes/CallLog.h"

#include <QList>
#include <QMap>
#include <QPair>
#include <QStringList>

// The recorder. It keeps the state a real one would (recording, paused) and records every call;
// the listings answer from devices, formats and bitrates, and RecordingStopped comes when the
// test raises it. StartRecording raises Error with startError when that is set; the interrupted
// recordings and their recovery answer from interrupted, recovered and recoverError.
class FakeRecord final : public Record, public CallRecorder {
public:
    explicit FakeRecord(CallLog* log = nullptr) : CallRecorder(QStringLiteral("Record"), log) {}

    void setFileName(const QString& v) override { write("setFileName", m_fileName, v); }
    QString FileName() const override { return read("FileName", m_fileName); }
    void setOutputFormat(qint32 v) override { write("setOutputFormat", outputFormat, v); }
    void setPCMFormat(qint32 v) override { write("setPCMFormat", pcmFormat, v); }
    void setMP3Bitrate(qint32 v) override { write("setMP3Bitrate", mp3Bitrate, v); }
    void setEncoderDLL(const QString& v) override { write("setEncoderDLL", encoderDLL, v); }
    void setDevice(const QString& v) override { write("setDevice", device, v); }
    bool IsRecording() const override { return read("IsRecording", recording); }
    bool IsPaused() const override { return read("IsPaused", paused); }
    double RecordedTime() const override { return read("RecordedTime", recordedTime); }

    void StartRecording() override {
        record(QStringLiteral("StartRecording"));
        if (!startError.isEmpty())
            throw Error(startError);
        recording = true;
        paused = false;
    }
    void PauseRecording() override {
        record(QStringLiteral("PauseRecording"));
        paused = recording;
    }
    void ResumeRecording() override {
        record(QStringLiteral("ResumeRecording"));
        paused = false;
    }
    void StopRecording() override {
        record(QStringLiteral("StopRecording"));
        recording = paused = false;
    }

    void ListDevices() override {
        record(QStringLiteral("ListDevices"));
        for (const auto& [name, id] : std::as_const(devices))
            Q_EMIT DeviceListed(name, id);
    }
    void ListBitrates() override {
        record(QStringLiteral("ListBitrates"));
        for (const QString& text : std::as_const(bitrates))
            Q_EMIT BitrateListed(text);
    }
    void ListFormats(const QString& deviceId) override {
        record(QStringLiteral("ListFormats"), {deviceId});
        const QStringList names = formats.value(deviceId);
        for (qsizetype i = 0; i < names.size(); ++i)
            Q_EMIT FormatListed(qint32(i), names.at(i));
    }
    QString DefaultDevice() const override { return read("DefaultDevice", defaultDevice); }
    QStringList InterruptedRecordings(const QString& folder) override {
        record(QStringLiteral("InterruptedRecordings"), {folder});
        return interrupted;
    }
    QString RecoverRecording(const QString& path) override {
        record(QStringLiteral("RecoverRecording"), {path});
        if (!recoverError.isEmpty())
            throw Error(recoverError);
        interrupted.removeAll(path);
        return recovered.value(path);
    }

    void raiseRecordingStopped() {
        recording = paused = false;
        Q_EMIT RecordingStopped();
    }

    QList<QPair<QString, QString>> devices; // name, id
    QMap<QString, QStringList> formats;     // by device id
    QStringList bitrates;
    QString defaultDevice;
    QString startError;
    // Interrupted recordings, and the name each one is recovered under (empty: it held nothing).
    QStringList interrupted;
    QMap<QString, QString> recovered;
    QString recoverError;

    bool recording = false;
    bool paused = false;
    double recordedTime = 0;
    qint32 outputFormat = -1;
    qint32 pcmFormat = -1;
    qint32 mp3Bitrate = -1;
    QString encoderDLL;
    QString device;

private:
    QString m_fileName;
};

// The player: keeps its state as a real one would and records every call; the position is what
// the test sets, PlaybackFinished comes when the test raises it.
class FakePlayer final : public Player, public CallRecorder {
public:
    explicit FakePlayer(CallLog* log = nullptr) : CallRecorder(QStringLiteral("Player"), log) {}

    void Play(const QString& fileName) override {
        record(QStringLiteral("Play"), {fileName});
        state = Playing;
    }
    void PausePlayback() override {
        record(QStringLiteral("PausePlayback"));
        if (state == Playing)
            state = Paused;
    }
    void ResumePlayback() override {
        record(QStringLiteral("ResumePlayback"));
        if (state == Paused)
            state = Playing;
    }
    void StopPlayback() override {
        record(QStringLiteral("StopPlayback"));
        state = Stopped;
    }
    qint32 PlayerState() const override { return read("PlayerState", state); }
    double Position() const override { return read("Position", position); }

    void raisePlaybackFinished() {
        state = Stopped;
        Q_EMIT PlaybackFinished();
    }

    qint32 state = Stopped;
    double position = 0;
};
