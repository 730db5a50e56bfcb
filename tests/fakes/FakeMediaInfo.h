#pragma once

#include "components/HarnMediaUtils.h"
#include "components/WMAFile.h"
#include "tests/fakes/CallLog.h"

#include <QMap>

// File information answered from a table of paths. A path the table does not hold raises
// Error, as the real component does for a missing file.
class FakeHarnMediaUtils final : public HarnMediaUtils, public CallRecorder {
public:
    struct Info {
        float duration = 0; // seconds
        float sizeMB = 0;
    };

    explicit FakeHarnMediaUtils(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("HarnMediaUtils"), log) {}

    void ReadWmaInfo(const QString& path) override;
    float WmaDuration() const override;
    float WmaSizeMB() const override;
    void ReadMp3Info(const QString& path) override;
    float Mp3Duration() const override;
    float Mp3SizeMB() const override;
    void ReadWavInfo(const QString& path) override;
    float WavDuration() const override;
    float WavSizeMB() const override;

    QMap<QString, Info> files;

private:
    Info lookUp(const QString& path) const;

    Info m_wma;
    Info m_mp3;
    Info m_wav;
};

// The WMA header reader, answered from a table of paths; an unknown path raises Error.
class FakeWMAFile final : public WMAFile, public CallRecorder {
public:
    struct Info {
        QString title;
        QString author;
        QString album;
        double duration = 0;
        qint32 bitrate = 0;
        qint32 sampleRate = 0;
        qint32 channels = 0;
    };

    explicit FakeWMAFile(CallLog* log = nullptr) : CallRecorder(QStringLiteral("WMAFile"), log) {}

    void Open(const QString& path) override;
    QString Title() const override;
    QString Author() const override;
    QString Album() const override;
    double Duration() const override;
    qint32 Bitrate() const override;
    qint32 SampleRate() const override;
    qint32 Channels() const override;

    QMap<QString, Info> files;

private:
    Info m_open;
};
