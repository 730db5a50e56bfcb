#pragma once

#include "components/OverwriteRule.h"

#include <QObject>
#include <QString>

// The CD tools: the list of CD drives with their inquiry strings, the disc's table of contents
// and kind, eject, the blank test, and ripping one track to a WAV, MP3 or WMA file.
//
// Drives are named by a packed address: bits 16-23 host adapter, 8-15 target, 0-7 LUN, from
// the drive's SCSI address. CUE/BIN images listed in MELVANE_CD_IMAGES are drives too, after
// the physical ones, with host adapter 255 (target = their place in that list, LUN 0), which no
// real drive has. Once the burner's Image Recorder has burnt a disc, it is one more drive after
// those (vendor "Melvane", product "Image Recorder", address 255:255:0) holding the image of its
// last burn. An operation on a drive raises Error, naming the drive and the reason, when
// the address is unknown, when the drive cannot be opened, or when it is an image that cannot
// be read as it is (several FILE lines, MODE1/2048 tracks, a missing .bin ...).
//
// Every call returns at once except the table-of-contents reads, which take as long as the
// drive needs to answer. Ripping runs on a worker thread; its events arrive queued on the
// thread that started it.
class HarnTools : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Number of drives. Reads the drive list again, so a drive plugged in since shows up.
    virtual qint32 DriveCount() = 0;
    // Packed address of the drive at index (from 0, in DriveCount's order). Raises IndexError
    // when there is no such drive.
    virtual qint32 DriveAddress(qint32& index) = 0;
    // Each puts one INQUIRY string of the drive into InquiryText and returns its length. For
    // an image the vendor is "Melvane", the product "Image " + the sheet's name without its
    // ending, the revision Melvane's version.
    virtual qint32 DriveVendor(qint32 address) = 0;
    virtual qint32 DriveProduct(qint32 address) = 0;
    virtual qint32 DriveRevision(qint32 address) = 0;
    virtual QString InquiryText() const = 0;

    // Checks that the drive exists; every other operation names its drive itself.
    virtual void SelectDrive(qint32 address) = 0;
    // Reads the disc's table of contents: the number of tracks, also kept for TrackCount.
    // A drive without a readable disc has 0 tracks.
    virtual qint32 ReadTrackCount(qint32 address) = 0;
    // Reads the kind of disc for DiscType, and its track count for TrackCount. track 0 asks
    // about the whole disc, 1 to 99 about that track alone.
    virtual void ReadDiscInfo(qint32 address, qint32 track) = 0;
    // The kind of disc (or track) ReadDiscInfo read:
    //   0  audio: a CD-DA disc, or any disc with an audio track (mixed mode and enhanced CDs
    //      count as audio; ripping their data tracks raises Error); also no disc at all
    //   1  data of no single CD-ROM mode (a DVD or BD, data tracks of several modes, a track
    //      format the drive does not name)
    //   2  mode 0 (never reported: no drive tells mode 0 from mode 1 in its table of contents)
    //   3  CD-ROM mode 1 only
    //   4  CD-ROM XA, mode 2 only
    //   5  CD-i
    virtual qint32 DiscType() const = 0;
    // Tracks of the disc last read by ReadTrackCount or ReadDiscInfo.
    virtual qint32 TrackCount() const = 0;
    // Opens the drive's tray. For an image this does nothing.
    virtual void EjectDrive(qint32 address) = 0;
    // The recording state of the disc, from MMC READ DISC INFORMATION:
    //   2 blank, 1 appendable (not finalised), 0 finalised, 3 anything else.
    // A readable image is a finalised disc (0). Raises Error when the drive holds no disc.
    virtual qint32 DiscState(qint32 address) = 0;

    // Bits per second of MP3 and WMA rips; what a WMA rip makes of a low rate is in WAEnc.h.
    virtual void setMp3Bitrate(double bitsPerSecond) = 0;
    virtual double Mp3Bitrate() const = 0;
    // The MP3 encoder, as MEnc's EncoderSwitch: 0 = LAME, 1 = shine; any other value is 0.
    virtual void setMp3Option(qint16 value) = 0;
    virtual qint16 Mp3Option() const = 0;

    // Rip track (1-based) of the drive to the file at path, with full paranoia verification.
    // windowHandle is not used. Each checks what it can (drive, disc, an audio track, the
    // folder writable) and raises Error at once when that fails; otherwise it returns at once
    // and the rip reports through RipProgress, which ends with exactly one 100 once the file is
    // in place, or through Failed, after which no file is left behind.
    virtual void RipTrackToWav(qint32 address, const QString& path, qint32 track,
                               qint32 windowHandle) = 0;
    virtual void RipTrackToMp3(qint32 address, const QString& path, qint32 track,
                               qint32 windowHandle) = 0;
    virtual void RipTrackToWma(qint32 address, const QString& path, qint32 track,
                               qint32 windowHandle) = 0;
    // Stops the running rip at once, if any: its file is removed and nothing more is reported
    // for it (no RipProgress, no Failed), unless the file was already complete and in place;
    // then its 100 still comes.
    virtual void CancelRip() = 0;
    // What the rips do about a file already at their path (see OverwriteRule); by default they
    // refuse with OutputExistsError.
    virtual void setOverwrite(const OverwriteRule& rule) = 0;
    virtual OverwriteRule Overwrite() const = 0;
    // Sectors of the running rip's track read so far, and the track's length in sectors.
    virtual qint32 CurrentSector() const = 0;
    virtual qint32 TotalSectors() const = 0;

    // Every rip file is tagged: title, track number and count, and what the disc's CD-Text or
    // a lookup (DiscLookup) tells: artist, album, year, ISRC, MusicBrainz identifiers. The title
    // of the next rip is the track list's name of its row; empty gives "Track" + nn.
    virtual void setTrackTitle(const QString& title) = 0;
    // A rip job is the tracks ripped between two EndRipJob calls. Its end writes a log (drive,
    // disc, IDs, and per track its file, peak, checksums, AccurateRip result and paranoia
    // counts) and a cue sheet beside its files, named after the album, once the AccurateRip
    // database has answered; never over an existing file. Off: neither is written.
    virtual void setRipLog(bool on) = 0;
    virtual bool RipLog() const = 0;
    virtual void EndRipJob() = 0;
    // Sectors of sound hidden before track 1 of the disc ReadTrackCount read last (its INDEX 00
    // gap from the disc's start), 0 when there is none; track 0 of the rip operations.
    virtual qint32 HiddenTrackSectors() const = 0;

Q_SIGNALS:
    void RipProgress(double percent);
    // A rip failed after it started (disc removed, image deleted or cut short, an unreadable
    // sector, the disk full); the message names the drive or file and the reason.
    void Failed(const QString& message);
    // A line for the status list about the rips: a track's AccurateRip result ("Track03
    // accurately ripped (confidence 5, v2)", "... not in database", "... differs"), a track
    // paranoia could not read reliably, the log and cue sheet written.
    void RipNote(const QString& line);
};
