// Fuzz target of the media probe, the path of melvane-cli info: one file, named .wav, .mp3 or
// .wma by what it starts with, described as the info command describes it (duration and size
// from its headers), its WMA tags read, and its first piece decoded as a conversion would.
//
// Besides memory errors and hangs, a broken promise aborts: a refusal names the file and says
// why, and what is described is finite and never negative.
#include "app/cli/InfoCommand.h"
#include "backends/media/Codecs.h"
#include "backends/media/FileSource.h"
#include "components/Error.h"
#include "tests/fuzz/FuzzPromise.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cmath>
#include <cstdint>

namespace {

const QString& folder() {
    static QTemporaryDir* dir = new QTemporaryDir;
    static const QString path = dir->path();
    return path;
}

// The name the file would have: its type from its first bytes.
QString nameFor(const QByteArray& bytes) {
    static const QByteArray asfHeader("\x30\x26\xb2\x75\x8e\x66\xcf\x11", 8);
    if (bytes.startsWith("RIFF"))
        return QStringLiteral("fuzz.wav");
    if (bytes.startsWith(asfHeader))
        return QStringLiteral("fuzz.wma");
    return QStringLiteral("fuzz.mp3");
}

void checkRefusal(const Error& e, const QString& path) {
    const QString message = e.message();
    if (!message.contains(path) || message.size() <= path.size() + 10)
        broken(QStringLiteral("a refusal that does not say what and why: ") + message);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const QString path = QDir(folder()).filePath(nameFor(bytes));
    writeFile(path, bytes);
    MediaInfo x;
    try {
        const QStringList fields = infoLine(x, path).split(u'\t');
        if (fields.size() != 4 || fields[0] != path)
            broken(QStringLiteral("an info line of another form: ") + fields.join(u'|'));
        for (const float value : {x.WavDuration(), x.Mp3Duration(), x.WmaDuration(), x.WavSizeMB(),
                                  x.Mp3SizeMB(), x.WmaSizeMB()})
            if (!std::isfinite(value) || value < 0)
                broken(QStringLiteral("a figure that is not a size or a duration: %1").arg(value));
    } catch (const Error& e) {
        checkRefusal(e, path);
    }
    try {
        WmaFileReader tags;
        tags.Open(path);
        if (tags.Duration() < 0 || !std::isfinite(tags.Duration()))
            broken(QStringLiteral("a WMA duration of %1").arg(tags.Duration()));
    } catch (const Error& e) {
        checkRefusal(e, path);
    }
    try {
        FileSource source(path, PcmFormat::cdAudio());
        std::vector<qint16> buffer(4096 * 2);
        const qint64 frames = source.read(buffer.data(), 4096);
        if (frames < 0 || frames > 4096)
            broken(QStringLiteral("a read of %1 frames").arg(frames));
    } catch (const Error& e) {
        checkRefusal(e, path);
    }
    return 0;
}
