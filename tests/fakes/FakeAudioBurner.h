#pragma once

#include "components/AudioBurner.h"
#include "tests/fakes/CallLog.h"

#include <QList>
#include <QMap>

#include <functional>

// The burning engine. Every member call is recorded, property reads too
// ("AudioBurner.setCurrentRecorder(2)", "AudioBurner.RecorderVendor()"). The answers come from
// the public members: the recorders, the disc, the sizes of the files, the speed read-back.
// StartBurn plays the scripted events, inside the call when finishInsideStart is set (a burn
// that ends before StartBurn returns), else posted to the event loop one by one, as a real
// burn reports. A Progress event first sets the status members it carries, then raises
// Progress. CancelBurn during a burn drops the events not yet raised and posts
// BurnFinished(BurnCancelled), as the engine does.
class FakeAudioBurner final : public AudioBurner, public CallRecorder {
    Q_OBJECT
public:
    struct Recorder {
        QString vendor;
        QString product;
        QString revision;
        qint32 type = 2;
        qint16 maxReadSpeed = 0;
        qint16 maxWriteSpeed = 0;
        qint32 bufferSize = 0;
        bool burnProof = false;
        bool supported = true;
    };

    struct Event {
        bool finished = false;
        // Progress
        qint16 percent = 0;
        qint32 state = 0;
        qint32 trackPhase = 0;
        qint32 totalBlocks = 0;
        qint32 writtenBlocks = 0;
        qint16 bufferFill = 0;
        qint16 track = 0;
        // BurnFinished
        qint32 status = 0;
        QString text;
    };
    static Event progress(qint32 state, qint32 trackPhase, qint16 percent, qint32 writtenBlocks = 0,
                          qint32 totalBlocks = 0, qint16 bufferFill = 0) {
        return {false,         percent,    state, trackPhase, totalBlocks,
                writtenBlocks, bufferFill, 1,     0,          {}};
    }
    static Event burnFinished(qint32 status = BurnSucceeded, const QString& text = {}) {
        return {true, 0, 0, 0, 0, 0, 0, 0, status, text};
    }

    explicit FakeAudioBurner(CallLog* log = nullptr, QObject* parent = nullptr)
        : AudioBurner(parent), CallRecorder(QStringLiteral("AudioBurner"), log) {}

    void Eject() override { call("Eject"); }
    void RefreshDisc() override { call("RefreshDisc"); }
    void StartBurn() override;
    void CancelBurn() override;
    void AddTrack(const QString& path) override;
    void RemoveTrack() override;
    void ClearTracks() override;

    qint32 CompilationSize() const override;
    qint16 RecorderCount() override { return read("RecorderCount", qint16(recorders.size())); }
    qint16 CurrentRecorder() const override { return read("CurrentRecorder", currentRecorder); }
    void setCurrentRecorder(qint16 recorder) override;
    qint32 RecorderType() const override { return read("RecorderType", current().type); }
    QString RecorderVendor() const override { return read("RecorderVendor", current().vendor); }
    QString RecorderProduct() const override { return read("RecorderProduct", current().product); }
    QString RecorderRevision() const override {
        return read("RecorderRevision", current().revision);
    }
    qint16 MaxReadSpeed() const override { return read("MaxReadSpeed", current().maxReadSpeed); }
    qint16 MaxWriteSpeed() const override { return read("MaxWriteSpeed", current().maxWriteSpeed); }
    qint32 BufferSize() const override { return read("BufferSize", current().bufferSize); }
    qint16 BufferFill() const override { return read("BufferFill", status.bufferFill); }
    bool BurnProofFlag() const override { return read("BurnProofFlag", current().burnProof); }
    qint32 State() const override { return read("State", status.state); }
    bool RecorderSupported() const override {
        return read("RecorderSupported", current().supported);
    }
    qint32 MediaType() const override { return read("MediaType", mediaType); }
    qint32 MediaStatus() const override { return read("MediaStatus", mediaStatus); }
    qint32 MediaUsedSize() const override { return read("MediaUsedSize", mediaUsedSize); }
    qint16 SelectedTrack() const override { return read("SelectedTrack", selectedTrack); }
    void setSelectedTrack(qint16 track) override {
        write("setSelectedTrack", selectedTrack, track);
    }
    qint16 WriteSpeed() const override { return read("WriteSpeed", writeSpeed); }
    void setWriteSpeed(qint16 factor) override;
    qint32 BurnMethod() const override { return read("BurnMethod", burnMethod); }
    void setBurnMethod(qint32 method) override { write("setBurnMethod", burnMethod, method); }
    bool RealBurn() const override { return read("RealBurn", realBurn); }
    void setRealBurn(bool real) override { write("setRealBurn", realBurn, real); }
    bool KeepDiscOpen() const override { return read("KeepDiscOpen", keepDiscOpen); }
    void setKeepDiscOpen(bool open) override { write("setKeepDiscOpen", keepDiscOpen, open); }
    qint32 TotalBlocks() const override { return read("TotalBlocks", status.totalBlocks); }
    qint32 WrittenBlocks() const override { return read("WrittenBlocks", status.writtenBlocks); }
    qint32 TrackPhase() const override { return read("TrackPhase", status.trackPhase); }
    qint16 CurrentTrack() const override { return read("CurrentTrack", status.track); }
    bool VerifyAfterBurning() const override {
        return read("VerifyAfterBurning", verifyAfterBurning);
    }
    void setVerifyAfterBurning(bool verify) override {
        write("setVerifyAfterBurning", verifyAfterBurning, verify);
    }

    // Raise one event now.
    void raise(const Event& event);
    void raiseNotice(const QString& text, bool warning = false) { Q_EMIT Notice(text, warning); }

    QList<Recorder> recorders;
    // The disc of every recorder.
    qint32 mediaType = 1;
    qint32 mediaStatus = 0;
    qint32 mediaUsedSize = 0;
    // CompilationSize is the sum of the files' sizes; an unknown file counts 0.
    QMap<QString, qint32> fileBytes;
    // What WriteSpeed keeps of a written value; every value when unset.
    std::function<qint16(qint16)> acceptSpeed;
    QList<Event> burnEvents;
    bool finishInsideStart = false;

    // The engine's state as the calls left it.
    QStringList tracks;
    qint16 currentRecorder = 1;
    qint16 selectedTrack = 0;
    qint16 writeSpeed = 0;
    qint32 burnMethod = 0;
    bool realBurn = true;
    bool keepDiscOpen = false;
    bool verifyAfterBurning = false;
    Event status;

private:
    const Recorder& current() const;

    int m_run = 0;
    bool m_burning = false;
};
