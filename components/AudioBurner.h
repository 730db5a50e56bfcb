#pragma once

#include <QObject>
#include <QString>

// The burning engine: a compilation of audio files, the list of recorders, the burn method and
// the write options, and the burn itself. Every member refers to the recorder chosen with
// CurrentRecorder. All members are called on the user-interface thread; a burn runs on worker
// threads and reports through Progress and BurnFinished (queued, so never inside StartBurn).
// Values the window hands over "by reference" (CurrentRecorder, WriteSpeed, AddTrack's path)
// are taken by value: the engine never writes back through them; read-back is by the getters.
//
// Recorders: the CD/DVD drives found on the machine, in the order the system lists them, then
// the "Image Recorder", whose blank 80-minute CD-R becomes a CUE/BIN pair in the image folder.
//
// RecorderType, from the media profiles the drive reports:
//   0 generic CD device (nothing known)   2 CD-R writer      3 CD-RW writer
//   4 CD-ROM reader                       5 DVD-ROM reader   6 DVD writer (any DVD-R/RW/+R/+RW/RAM)
//   1 is never reported. The image recorder is a CD-R writer (2).
// RecorderSupported: the drive writes CD-R or CD-RW media, so every burn method can drive it.
//
// MediaType (from the loaded medium's profile):
//   0 no disc   1 CD-ROM, DVD-ROM or any write-once medium   2 erasable (CD-RW, DVD±RW, BD-RE)
//   3 DVD-RAM
// MediaStatus: 0 blank, 1 appendable (an open session can follow), 2 write protected (closed or
//   read-only), 3 unknown (the drive cannot tell), 4 no disc (the window shows nothing for it).
// MediaUsedSize and CompilationSize count CD sectors of 2352 bytes (one sector of audio), so the
// two compare directly; 32-bit values are capped at 2147483647.
//
// WriteSpeed is a speed factor (1x = 176.4 kB/s). Writing it keeps the value when the current
// recorder offers that speed under the current burn method, and otherwise keeps the next lower
// speed it offers (the lowest one when none is lower): reading it back tells whether a speed is
// usable. MaxWriteSpeed is the recorder's highest speed for the loaded medium. A drive that
// cannot write CDs offers no speed: WriteSpeed and MaxWriteSpeed read 0.
//
// BurnMethod, 0 to 11: the write type and options of the burn (SAO = session at once, gapless,
// with CD-Text; TAO = track at once, 2-second gaps, no CD-Text; "burn proof" = the drive's
// buffer-underrun protection):
//   0  automatic: SAO when the drive and disc allow it, else TAO; burn proof when available
//   1  TAO, no burn proof, at most 4x          2  TAO, no burn proof, at most 8x
//   3  SAO, no burn proof, at most 8x          4  SAO, no burn proof, at most 16x
//   5  SAO, burn proof, at most 16x            6  SAO, burn proof, at most 24x
//   7  SAO, burn proof, at most 24x, speed set with the drive's exact-speed command
//   8  TAO, no burn proof, every drive command waits for completion and the drive's buffer is
//      kept below full (careful timing for old drives)
//   9  SAO, burn proof, the drive's buffer is kept below full (careful high-speed burn)
//   10 TAO, burn proof, the write modes the drive reports are not trusted (CyberDrive)
//   11 SAO, burn proof, the write modes the drive reports are not trusted (Plextor)
// Values outside 0-11 act as 0. Constant or angular velocity is the drive's own choice. The
// image recorder writes every method as SAO; the method only caps its speed.
//
// During a burn: State 2 while tracks are written (TrackPhase 1 filling the buffer before a
// track's data, or measuring the files' exact lengths first; 2 writing it; 3 closing it), 3
// while the disc is finalised, 4 while the finished disc is read back to verify it, 0
// otherwise. TotalBlocks and WrittenBlocks count the sectors of the tracks; BufferFill is the
// fill of the queue between the decoder and the writer, in percent. Progress carries the
// percentage of the whole writing while State is 2, of the finalising while State is 3 and of
// the reading while it is 4; a burn that succeeds reports 100 just before BurnFinished, in
// State 3 when it closed the disc, else in State 2. A test burn (RealBurn false) goes through
// the same track phases and writes nothing; like a drive's test write it closes no disc, so it
// never reports State 3, whatever KeepDiscOpen says. KeepDiscOpen true leaves the disc
// appendable and skips State 3. Once finalising has begun, CancelBurn is too late and the burn
// completes; during the verification it ends the reading (BurnCancelled, the disc written).
//
// The compilation: each file is one track, exactly as long as its decoder delivers it (an
// MP3's encoder delay and padding, stated by its LAME/Xing header, left out; other sample
// rates resampled to 44.1 kHz), and a file shorter than 4 seconds, the shortest track an audio
// CD allows, is padded with silence to 4 seconds (a Notice says so). Written session at once
// (and always on the image recorder) the tracks run on without silence between them: a track
// begins on the sector holding its first sample and only the last one is padded to a whole
// sector. Track at once puts the standard 2-second pause before each track after the first.
// A CUE sheet with its BIN (one FILE, as libcdio reads it) is a whole disc: it must be the
// compilation's only entry, and its tracks are written as they stand, with their INDEX 00
// gaps, the disc's catalogue number, the tracks' ISRCs and flags, and the CD-Text.
//
// VerifyAfterBurning: a burn that wrote well is read back with full paranoia, the drive's read
// and write offset found by correlation, and every track compared sample by sample with what
// was sent: a Notice per track ("Track 2: differs at 1:02.33"), and a difference fails the burn.
// Each burn leaves a log: beside the image on the image recorder, else in the program's data
// folder (a Notice names it).
class AudioBurner : public QObject {
    Q_OBJECT
public:
    // The status of BurnFinished.
    enum BurnStatus : qint32 { BurnSucceeded = 0, BurnCancelled = 1, BurnFailed = 2 };

    using QObject::QObject;

    virtual void Eject() = 0;
    virtual void RefreshDisc() = 0;
    // Raises Error at once, and starts nothing, when the burn cannot be done: no recorder, an
    // empty compilation, a file that cannot be decoded, no disc or one that is not writable, a
    // compilation longer than the disc, a method the drive cannot write with, an image folder
    // that cannot be written. Otherwise returns while the burn runs.
    virtual void StartBurn() = 0;
    // Returns at once; the burn ends cleanly and BurnFinished(BurnCancelled) follows, with no
    // Progress in between (unless finalising had begun: then the burn completes).
    virtual void CancelBurn() = 0;
    // Any path is taken; a file that cannot be decoded counts 0 bytes and fails StartBurn.
    virtual void AddTrack(const QString& path) = 0;
    // Removes track SelectedTrack; raises IndexError when there is no such track.
    virtual void RemoveTrack() = 0;
    virtual void ClearTracks() = 0;

    virtual qint32 CompilationSize() const = 0;
    virtual qint16 RecorderCount() = 0;
    virtual qint16 CurrentRecorder() const = 0;
    // Raises IndexError for a number outside 1..RecorderCount, Error while a burn runs.
    // Empties the compilation, as the window empties its list on a change of recorder.
    virtual void setCurrentRecorder(qint16 recorder) = 0;
    virtual qint32 RecorderType() const = 0;
    virtual QString RecorderVendor() const = 0;
    virtual QString RecorderProduct() const = 0;
    virtual QString RecorderRevision() const = 0;
    virtual qint16 MaxReadSpeed() const = 0;
    virtual qint16 MaxWriteSpeed() const = 0;
    virtual qint32 BufferSize() const = 0;
    virtual qint16 BufferFill() const = 0;
    virtual bool BurnProofFlag() const = 0;
    virtual qint32 State() const = 0;
    virtual bool RecorderSupported() const = 0;
    virtual qint32 MediaType() const = 0;
    virtual qint32 MediaStatus() const = 0;
    virtual qint32 MediaUsedSize() const = 0;
    virtual qint16 SelectedTrack() const = 0;
    virtual void setSelectedTrack(qint16 track) = 0;
    virtual qint16 WriteSpeed() const = 0;
    virtual void setWriteSpeed(qint16 factor) = 0;
    virtual qint32 BurnMethod() const = 0;
    virtual void setBurnMethod(qint32 method) = 0;
    virtual bool RealBurn() const = 0;
    virtual void setRealBurn(bool real) = 0;
    virtual bool KeepDiscOpen() const = 0;
    virtual void setKeepDiscOpen(bool open) = 0;
    virtual qint32 TotalBlocks() const = 0;
    virtual qint32 WrittenBlocks() const = 0;
    virtual qint32 TrackPhase() const = 0;
    // The track being written, 1-based; 0 when no burn runs.
    virtual qint16 CurrentTrack() const = 0;
    // Read the disc back and compare it after a burn; off until set.
    virtual bool VerifyAfterBurning() const = 0;
    virtual void setVerifyAfterBurning(bool verify) = 0;

Q_SIGNALS:
    void Progress(qint16 percent);
    // Raised exactly once per started burn, after the last Progress.
    void BurnFinished(qint32 status, const QString& text);
    // A line for the status during a burn: a track padded, what a burn method leaves out, a
    // track's verification, where the log went. A warning tells of something the burn will
    // not do as asked.
    void Notice(const QString& text, bool warning);
    // A burn failed after StartBurn returned; raised just before BurnFinished(BurnFailed).
    void Failed(const QString& message);
};
