#pragma once

#include "components/OverwriteRule.h"

#include <QObject>
#include <QString>

// Wave to WMA encoder (WMA version 2 in an ASF file). Progress is a percentage as a double and
// ends with exactly one 100.0 once the file is in place.
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
