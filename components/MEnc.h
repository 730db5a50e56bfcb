#pragma once

#include "components/OverwriteRule.h"

#include <QObject>
#include <QString>

// Wave to MP3 encoder. Encode starts the file on a worker thread and returns; the advance is
// reported only through Progress, which ends with exactly one 100 once the file is in place.
//
// EncoderSwitch picks the MP3 encoder: 0 = LAME (the default, best quality per bit),
// 1 = shine (fixed-point, fastest). Any other value is treated as 0.
class MEnc : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    virtual void setEncoderSwitch(qint16 value) = 0;
    virtual qint16 EncoderSwitch() const = 0;
    virtual void setBitrate(double bitsPerSecond) = 0;
    virtual double Bitrate() const = 0;
    virtual void setInputFile(const QString& path) = 0;
    virtual QString InputFile() const = 0;
    virtual void setOutputFile(const QString& path) = 0;
    virtual QString OutputFile() const = 0;
    // Raises Error at once when the input cannot be decoded or the output folder not written.
    virtual void Encode() = 0;
    // What Encode does about a file already at the output (see OverwriteRule); by default
    // it refuses with OutputExistsError.
    virtual void setOverwrite(const OverwriteRule& rule) = 0;
    virtual OverwriteRule Overwrite() const = 0;
    // Stops a running file; its partial output is removed and no 100 follows.
    virtual void Cancel() = 0;
    // The cores one file may use (LAME only): 0, the default, every core; a batch that converts
    // files side by side gives each one its share.
    virtual void setCores(qint32 cores) = 0;

Q_SIGNALS:
    void Progress(qint32 percent);
    // A file failed while being encoded; its partial output has been removed.
    void Failed(const QString& message);
};
