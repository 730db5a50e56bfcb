#include "tests/fakes/FakeMediaInfo.h"

#include "components/Error.h"

namespace {

Error missing(const QString& path) {
    return Error(QStringLiteral("Cannot read %1: the file does not exist").arg(path));
}

} // namespace

FakeHarnMediaUtils::Info FakeHarnMediaUtils::lookUp(const QString& path) const {
    const auto found = files.constFind(path);
    if (found == files.constEnd())
        throw missing(path);
    return *found;
}

void FakeHarnMediaUtils::ReadWmaInfo(const QString& path) {
    record(QStringLiteral("ReadWmaInfo"), {path});
    m_wma = lookUp(path);
}

float FakeHarnMediaUtils::WmaDuration() const {
    record(QStringLiteral("WmaDuration"));
    return m_wma.duration;
}

float FakeHarnMediaUtils::WmaSizeMB() const {
    record(QStringLiteral("WmaSizeMB"));
    return m_wma.sizeMB;
}

void FakeHarnMediaUtils::ReadMp3Info(const QString& path) {
    record(QStringLiteral("ReadMp3Info"), {path});
    m_mp3 = lookUp(path);
}

float FakeHarnMediaUtils::Mp3Duration() const {
    record(QStringLiteral("Mp3Duration"));
    return m_mp3.duration;
}

float FakeHarnMediaUtils::Mp3SizeMB() const {
    record(QStringLiteral("Mp3SizeMB"));
    return m_mp3.sizeMB;
}

void FakeHarnMediaUtils::ReadWavInfo(const QString& path) {
    record(QStringLiteral("ReadWavInfo"), {path});
    m_wav = lookUp(path);
}

float FakeHarnMediaUtils::WavDuration() const {
    record(QStringLiteral("WavDuration"));
    return m_wav.duration;
}

float FakeHarnMediaUtils::WavSizeMB() const {
    record(QStringLiteral("WavSizeMB"));
    return m_wav.sizeMB;
}

void FakeWMAFile::Open(const QString& path) {
    record(QStringLiteral("Open"), {path});
    const auto found = files.constFind(path);
    if (found == files.constEnd())
        throw missing(path);
    m_open = *found;
}

QString FakeWMAFile::Title() const {
    record(QStringLiteral("Title"));
    return m_open.title;
}

QString FakeWMAFile::Author() const {
    record(QStringLiteral("Author"));
    return m_open.author;
}

QString FakeWMAFile::Album() const {
    record(QStringLiteral("Album"));
    return m_open.album;
}

double FakeWMAFile::Duration() const {
    record(QStringLiteral("Duration"));
    return m_open.duration;
}

qint32 FakeWMAFile::Bitrate() const {
    record(QStringLiteral("Bitrate"));
    return m_open.bitrate;
}

qint32 FakeWMAFile::SampleRate() const {
    record(QStringLiteral("SampleRate"));
    return m_open.sampleRate;
}

qint32 FakeWMAFile::Channels() const {
    record(QStringLiteral("Channels"));
    return m_open.channels;
}
