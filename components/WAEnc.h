#pragma once

#include "components/OverwriteRule.h"

#include <QObject>
#include <QString>

// Wave to WMA encoder (WMA version 2 in an ASF file). Progress is a percentage as a double and
// ends with exactly one 100.0 once the file is in place.
//
// Bit rates: the file gets the rate asked for, at the source's sample rate and channels (at most
// two, at most 48 kHz), with one exception: the encoder takes nothing below 24 kbit/s, whatever
// the sample rate or channels, so a lower rate gets 24 kbit/s. Of the rates the panels offer,
// 22 kbit/s thus becomes 24 kbit/s (44.1 kHz stereo for CD audio), and 32 kbit/s stays 32 kbit/s
// at 44.1 kHz stereo: the encoder takes it as it is, a lower sample rate measured no closer to
// the source, and mono would lose the stereo picture. The same holds for WMA rips and for
// melvane-cli.
class WAEnc : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    virtual void setBitrate(double bitsPerSecond) = 0;
    virtual double Bitrate() const = 0;
    virtual void Encode(const QString& input, const QString& output) = 0;
    // What Encode does about a file already at the output (see OverwriteRule); by default
    // it refuses with OutputExistsError.
    virtual void setOverwrite(const OverwriteRule& rule) = 0;
    virtual OverwriteRule Overwrite() const = 0;
    virtual void Cancel() = 0;

Q_SIGNALS:
    void Progress(double percent);
    void Failed(const QString& message);
};
