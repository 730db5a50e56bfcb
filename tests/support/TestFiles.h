#pragma once

// Files and folders as the tests make them and look at them.

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <stdexcept>

inline void writeBytes(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

// What a file holds; empty when it cannot be read.
inline QByteArray fileBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline QString readText(const QString& path) {
    return QString::fromUtf8(fileBytes(path));
}

// Content hash and time stamp: what proves a file untouched.
inline std::pair<QByteArray, QDateTime> fileState(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return {QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1),
            QFileInfo(path).lastModified()};
}

// Every entry of a folder, hidden ones (temporary files) and special files included.
inline QStringList folderEntries(const QString& folder) {
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// The header of a PCM WAV file holding dataBytes of audio.
inline QByteArray wavHeader(quint32 rate, quint16 channels, quint16 bits, quint32 dataBytes) {
    QByteArray h;
    const auto le = [&h](quint32 value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            h.append(char((value >> (8 * i)) & 0xff));
    };
    const quint16 block = quint16(channels * bits / 8);
    h.append("RIFF");
    le(36 + dataBytes, 4);
    h.append("WAVEfmt ");
    le(16, 4);
    le(1, 2);
    le(channels, 2);
    le(rate, 4);
    le(rate * block, 4);
    le(block, 2);
    le(bits, 2);
    h.append("data");
    le(dataBytes, 4);
    return h;
}

// A test's own folder: its files by name, and empty folders made fresh inside it.
class TestFolder {
public:
    bool isValid() const { return m_dir.isValid(); }
    QString path(const QString& name = {}) const {
        return name.isEmpty() ? m_dir.path() : m_dir.filePath(name);
    }
    // An empty folder of that name, emptied if it was there; without a name, a new one.
    QString fresh(const QString& name = {}) {
        const QString folder = path(name.isEmpty() ? QStringLiteral("out%1").arg(++m_made) : name);
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        return folder;
    }

private:
    QTemporaryDir m_dir;
    int m_made = 0;
};
