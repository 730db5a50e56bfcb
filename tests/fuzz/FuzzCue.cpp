// Fuzz target of the CUE/TOC path: one CUE sheet, read as melvane-cli toc and rip read it (the
// sheet checked and rewritten, libcdio's table of contents, paranoia reading each end of every
// audio track, with a read offset that reaches across track edges), beside a fixed set of data
// files: a 20-second one, one in upper case, one not of whole sectors, an empty one, a folder,
// CD-Text files and named pipes.
//
// Besides memory errors and hangs, what the program promises is checked, and a broken promise
// aborts: messages say something and never fall back to vague words, lengths are never
// negative, numbers run from 1 to 99, and a track that the table of contents calls readable
// reads.
#include "backends/cdio/Checksums.h"
#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"
#include "components/Error.h"
#include "tests/fuzz/FuzzPromise.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cstdint>
#include <sys/stat.h>

namespace {

// Reads at most this many tracks of a sheet, to keep each run short.
constexpr int kTracksRead = 4;

QByteArray noise(qint64 bytes) {
    QByteArray data(bytes, Qt::Uninitialized);
    quint32 state = 1;
    for (char& c : data) {
        state = state * 1103515245u + 12345u;
        c = char(state >> 24);
    }
    return data;
}

// The folder every run shares: the data files, and the sheet each run writes.
const QString& folder() {
    static QTemporaryDir* dir = [] {
        auto* made = new QTemporaryDir;
        const QDir at(made->path());
        writeFile(at.filePath(QStringLiteral("fuzz.bin")), noise(1500 * 2352));
        writeFile(at.filePath(QStringLiteral("Other.BIN")), noise(75 * 2352));
        writeFile(at.filePath(QStringLiteral("odd.bin")), noise(1001));
        writeFile(at.filePath(QStringLiteral("empty.bin")), {});
        writeFile(at.filePath(QStringLiteral("text.cdt")), noise(18 * 4));
        writeFile(at.filePath(QStringLiteral("tiny.cdt")), "abc");
        at.mkdir(QStringLiteral("folder.bin"));
        for (const char* pipe : {"pipe.bin", "pipe.cdt", "pipe.cue"})
            ::mkfifo(QFile::encodeName(at.filePath(QString::fromLatin1(pipe))).constData(), 0600);
        return made;
    }();
    static const QString path = dir->path();
    return path;
}

void checkMessage(const QString& message, const QString& cue) {
    if (message.trimmed().isEmpty())
        broken(QStringLiteral("an empty message"));
    for (const char* vague : {"libcdio cannot read it", "holds no audio tracks", "Track  ",
                              "scratched or dirty", "it gives no reason"})
        if (message.contains(QLatin1String(vague)))
            broken(QStringLiteral("a vague message: ") + message);
    if (!message.contains(cue) && !message.contains(QLatin1String("Track ")))
        broken(QStringLiteral("a message that names neither the sheet nor a track: ") + message);
}

void checkToc(const cdio::Toc& toc) {
    if (toc.tracks.isEmpty() || toc.leadout < 0 || toc.lengthSectors() < 0)
        broken(QStringLiteral("an empty table of contents or a negative length"));
    int number = toc.tracks.first().number - 1;
    qint32 start = -1;
    for (const cdio::TocTrack& t : toc.tracks) {
        if (t.number != number + 1 || t.number < 1 || t.number > 99)
            broken(QStringLiteral("track numbers out of sequence: %1").arg(t.number));
        if (t.start <= start || t.sectors < 0)
            broken(QStringLiteral("track %1 starts at %2, %3 sectors")
                       .arg(t.number)
                       .arg(t.start)
                       .arg(t.sectors));
        if (t.problem.isEmpty() && t.start + t.sectors > toc.leadout)
            broken(QStringLiteral("track %1 runs past the lead-out unrefused").arg(t.number));
        number = t.number;
        start = t.start;
    }
}

// Reads a few sectors; a track the table of contents calls readable must read.
void readSome(cdio::DiscReader& reader, const QString& what) {
    std::vector<qint16> buffer(588 * 2 * 3);
    try {
        while (reader.read(buffer.data(), 588 * 3) > 0) {
        }
    } catch (const Error& e) {
        broken(what + QStringLiteral(" does not read: ") + e.message());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString cue = QDir(folder()).filePath(QStringLiteral("fuzz.cue"));
    writeFile(cue, QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    const cdio::Drive drive = cdio::DriveTable::imageDrive(cue, 0);
    cdio::Toc toc;
    try {
        cdio::Disc disc(drive);
        const std::optional<cdio::Toc> read = disc.readToc();
        if (!read)
            broken(QStringLiteral("a disc that opened without a table of contents"));
        toc = *read;
        disc.discType(0);
    } catch (const Error& e) {
        checkMessage(e.message(), cue);
        return 0;
    }
    checkToc(toc);
    cdio::accurateRipDiscId(toc);
    // An offset from the sheet's length, so that reads reach into the neighbours.
    const qint32 offset = qint32(size % 1201) - 600;
    int read = 0;
    for (const cdio::TocTrack& t : toc.tracks) {
        if (!t.audio() || read == kTracksRead)
            continue;
        ++read;
        try {
            if (!t.problem.isEmpty()) {
                cdio::DiscReader::track(drive, t.number);
                broken(QStringLiteral("track %1 read though refused").arg(t.number));
            }
            auto head = cdio::DiscReader::sectors(drive, t.start, t.start + 2, {true, offset});
            readSome(*head, QStringLiteral("the start of track %1").arg(t.number));
            const qint32 end = t.start + t.sectors;
            auto tail = cdio::DiscReader::sectors(drive, end - 2, end + 1, {true, -offset});
            readSome(*tail, QStringLiteral("the end of track %1").arg(t.number));
            auto whole = cdio::DiscReader::track(drive, t.number, {false, offset});
            std::vector<qint16> buffer(588 * 2);
            whole->read(buffer.data(), 588);
        } catch (const Error& e) {
            checkMessage(e.message(), cue);
            if (t.problem.isEmpty())
                broken(QStringLiteral("readable track %1 refused: ").arg(t.number) + e.message());
        }
    }
    return 0;
}
