#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

// The sound recorder: captures from a capture device into an MP3 or WAVE file.
//
// Set the properties, then StartRecording(). It checks what it can at once (the device is
// there and takes the PCM format, the encoder is known, the folder can be written; a missing
// folder named "Recordings" is made) and raises Error naming what is wrong. Capturing and
// encoding then run on threads of their own. The file appears complete under FileName only when
// the recording has ended: RecordingStopped comes when it is in place, and it replaces a file of
// that name (whoever starts a recording asks first). A device that goes away, or a disk that
// fills up, ends the recording too; what was recorded until then is kept (Failed tells why it
// ended and where the audio is, then RecordingStopped). A recording that ends before any audio
// arrived leaves no file: Failed says so, then RecordingStopped.
//
// While it runs, the recording is also visible in the same folder as "take.mp3.recording" for
// "take.mp3" ("take (2).mp3.recording" and so on when that name is taken), written to the disk
// every second, so that a crash, a kill or a power cut keeps all but the last second of it.
// InterruptedRecordings finds such files afterwards and RecoverRecording makes them playable.
//
// EncoderDLL names the MP3 encoder by the file names users know: "lame_enc.dll" is LAME
// (constant bit rate, best quality per bit), "bladeenc.dll" is shine (fixed point, fast; it
// encodes at 44.1 or 48 kHz, so other rates are resampled). Case does not matter; any other
// name is an error at StartRecording. For WAVE files the encoder is not used.
//
// PCMFormat indexes the capture formats that ListFormats reports for the device, counted from
// 0: sample rates 8000, 11025, 22050, 44100 and 48000 Hz, each with 8 and 16 bits, each mono
// and stereo, in that order, leaving out those the device cannot take. On a device that takes
// all twenty, 15 is 44.1 kHz 16-bit stereo. The format is what is captured; an MP3 file is
// encoded from it, a WAVE file holds it as it is.
//
// Calls that do not apply in a state are harmless: pausing or stopping when nothing records,
// resuming when not paused. Listing reports its items through the events before it returns.
class Record : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual void setFileName(const QString& path) = 0;
    // The file of the recording last started (or about to start). StartRecording gives it the
    // ending of the output format (see recordingFileName below).
    virtual QString FileName() const = 0;
    // 1 = MP3, 0 = WAVE; other values are refused by StartRecording.
    virtual void setOutputFormat(qint32 format) = 0;
    virtual void setPCMFormat(qint32 index) = 0;
    // kbit/s, for MP3; the nearest rate the MP3 format allows at the captured sample rate.
    virtual void setMP3Bitrate(qint32 kbps) = 0;
    virtual void setEncoderDLL(const QString& name) = 0;
    // A device id as DeviceListed reports it; empty for the system's default input.
    virtual void setDevice(const QString& id) = 0;

    // From StartRecording until StopRecording or the end of the recording; also while paused.
    virtual bool IsRecording() const = 0;
    virtual bool IsPaused() const = 0;
    // Milliseconds of audio captured into the running (or last) recording; paused time does not
    // count, and neither does the time a device takes to deliver its first data.
    virtual double RecordedTime() const = 0;

    virtual void StartRecording() = 0;
    virtual void PauseRecording() = 0;
    virtual void ResumeRecording() = 0;
    // Returns at once; RecordingStopped follows when the file is complete and in place.
    virtual void StopRecording() = 0;

    // DeviceListed for every capture device, the system's default input first (its id empty).
    virtual void ListDevices() = 0;
    // BitrateListed for every MP3 bit rate offered, in kbit/s, lowest first.
    virtual void ListBitrates() = 0;
    // FormatListed for every capture format of the device (empty id: the default input), with
    // its index for PCMFormat. Nothing for a device that is not there.
    virtual void ListFormats(const QString& deviceId) = 0;
    // The id of the system's default capture device; empty when there is none.
    virtual QString DefaultDevice() const = 0;

    // The ".recording" files that no recording writes any more: those of the recordings
    // started on this computer, wherever they went, and any in `folder`. Oldest first.
    virtual QStringList InterruptedRecordings(const QString& folder) = 0;
    // Makes an interrupted recording a playable file in its folder: the name it was recorded
    // for, or "<name> (2).mp3" and so on when that is taken (nothing is replaced). Returns that
    // name; an empty one when the file held no audio at all (it is removed then). Raises Error.
    virtual QString RecoverRecording(const QString& path) = 0;

Q_SIGNALS:
    void RecordingStopped();
    void DeviceListed(const QString& name, const QString& id);
    void FormatListed(qint32 index, const QString& name);
    void BitrateListed(const QString& text);
    // Why a recording ended before StopRecording, or why it left no file, in words for the user.
    void Failed(const QString& message);
};

// The file a recording in `outputFormat` goes to: MP3 (1) under an ".mp3" name, WAVE (0) under
// a ".wav" one. The wrong one of the two endings is replaced, any other name gets the ending
// added; case does not matter.
inline QString recordingFileName(const QString& path, qint32 outputFormat) {
    const QString wanted = outputFormat == 0 ? QStringLiteral(".wav") : QStringLiteral(".mp3");
    const QString other = outputFormat == 0 ? QStringLiteral(".mp3") : QStringLiteral(".wav");
    if (path.endsWith(wanted, Qt::CaseInsensitive))
        return path;
    if (path.endsWith(other, Qt::CaseInsensitive))
        return path.chopped(other.size()) + wanted;
    return path + wanted;
}
