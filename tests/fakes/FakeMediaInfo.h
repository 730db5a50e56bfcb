#pragma once

#include "components/Error.h"
#include "components/HarnMediaUtils.h"
#include "components/WMAFile.h"
#include "tests/fakes/CallLog.h"

#include <QMap>

// The entry of path in files; a path the table does not hold raises Error.
template <class Info> Info lookUpFile(const QMap<QString, Info>& files, const QString& path) {
    const auto found = files.constFind(path);
    if (found == files.constEnd())
        throw Error(QStringLiteral("Cannot read %1: the file does not exist").arg(path));
    return *found;
}

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

    void ReadWmaInfo(const QString& path) override { m_wma = open("ReadWmaInfo", path); }
    float WmaDuration() const override { return read("WmaDuration", m_wma.duration); }
    float WmaSizeMB() const override { return read("WmaSizeMB", m_wma.sizeMB); }
    void ReadMp3Info(const QString& path) override { m_mp3 = open("ReadMp3Info", path); }
    float Mp3Duration() const override { return read("Mp3Duration", m_mp3.duration); }
    float Mp3SizeMB() const override { return read("Mp3SizeMB", m_mp3.sizeMB); }
    void ReadWavInfo(const QString& path) override { m_wav = open("ReadWavInfo", path); }
    float WavDuration() const override { return read("WavDuration", m_wav.duration); }
    float WavSizeMB() const override { return read("WavSizeMB", m_wav.sizeMB); }

    QMap<QString, Info> files;

private:
    Info open(const char* member, const QString& path) {
        call(member, path);
        return lookUpFile(files, path);
    }

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

    void Open(const QString& path) override {
        call("Open", path);
        m_open = lookUpFile(files, path);
    }
    QString Title() const override { return read("Title", m_open.title); }
    QString Author() const override { return read("Author", m_open.author); }
    QString Album() const override { return read("Album", m_open.album); }
    double Duration() const override { return read("Duration", m_open.duration); }
    qint32 Bitrate() const override { return read("Bitrate", m_open.bitrate); }
    qint32 SampleRate() const override { return read("SampleRate", m_open.sampleRate); }
    qint32 Channels() const override { return read("Channels", m_open.channels); }

    QMap<QString, Info> files;

private:
    Info m_open;
};
