#pragma once

#include "components/OverwriteRule.h"

#include <QObject>
#include <QString>

// WMA to wave decoder. Progress is a percentage as a double and ends with exactly one 100.0.
class WaDec : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    virtual void setInputFile(const QString& path) = 0;
    virtual QString InputFile() const = 0;
    virtual void setOutputFile(const QString& path) = 0;
    virtual QString OutputFile() const = 0;
    virtual void Decode() = 0;
    // What Decode does about a file already at the output (see OverwriteRule); by default
    // it refuses with OutputExistsError.
    virtual void setOverwrite(const OverwriteRule& rule) = 0;
    virtual OverwriteRule Overwrite() const = 0;
    virtual void Cancel() = 0;

Q_SIGNALS:
    void Progress(double percent);
    void Failed(const QString& message);
};
