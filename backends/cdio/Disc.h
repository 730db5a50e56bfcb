#pragma once

#include "backends/cdio/DriveTable.h"

#include <QList>
#include <memory>
#include <optional>

typedef struct _CdIo CdIo_t;

namespace cdio {

class CueSheet;

constexpr int kFramesPerSector = 588; // stereo samples in one 2352-byte sector
constexpr int kSectorsPerSecond = 75;

// "mm:ss:ff" of a count of sectors (75 frames a second), as MCI and the track list show it.
QString msfText(qint64 sectors);

struct TocTrack {
    enum class Kind { Audio, Mode1, Mode2, CdI, Other };
    int number = 0;
    qint32 start = 0; // sector (LSN) of INDEX 01
    // Up to the next track's INDEX 01, so its INDEX 00 gap counts here; the last track of a
    // session ends at that session's lead-out.
    qint32 sectors = 0;
    Kind kind = Kind::Audio;
    // Why the track cannot be read, naming it: it lies wholly or partly past the end of the
    // disc or image, or holds no sectors. Its sectors are then those before the end, never
    // fewer than none. Empty for a track that can be read.
    QString problem;

    bool audio() const { return kind == Kind::Audio; }
};

// A disc's table of contents.
struct Toc {
    QList<TocTrack> tracks;
    qint32 leadout = 0; // sector (LSN) of the lead-out of the last session

    // The track with this number, nullptr when the disc has none.
    const TocTrack* track(int number) const;
    // From the first track's start to the lead-out; none when the first starts past it.
    qint32 lengthSectors() const;
    int audioTrackCount() const;
    // Why track `number` (from 1) of the disc in the drive so named cannot be ripped, as a
    // clause: the disc has no such track, or it is a data track. Empty for an audio track.
    QString whyNotAudio(int number, const QString& driveName) const;
};

// An open drive or image. Opening checks what it can: an image libcdio cannot read as it is
// raises Error saying why, as does a drive that cannot be opened. Not shared between threads:
// every user opens its own.
class Disc {
public:
    explicit Disc(const Drive& drive);
    ~Disc();
    Disc(const Disc&) = delete;
    Disc& operator=(const Disc&) = delete;

    const Drive& drive() const { return m_drive; }
    CdIo_t* handle() const { return m_cd; }
    // An image's data file, as its sheet names it; empty for a drive.
    QString dataFile() const;
    // libcdio's number for track number of the table of contents: an image's sheet may
    // start at another number than 1, libcdio counts its tracks from 1.
    int libcdioTrack(int number) const { return number - m_numberOffset; }

    // The table of contents, read once; nothing when the drive holds no readable disc.
    std::optional<Toc> readToc();
    // The same, raising Error that names the drive when there is no disc.
    Toc toc();
    // The kind of disc (track 0) or of one track, as HarnTools::DiscType reports it.
    qint32 discType(int track);
    // The recording state, as HarnTools::DiscState reports it.
    qint32 discState();
    void eject();

private:
    Drive m_drive;
    // An image's sheet, as libcdio reads it; its tracks are numbered from 1 there.
    std::unique_ptr<CueSheet> m_sheet;
    int m_numberOffset = 0;
    CdIo_t* m_cd = nullptr;
    std::optional<Toc> m_toc;
};

} // namespace cdio
