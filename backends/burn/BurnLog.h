#pragma once

#include "backends/burn/BurnRun.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace burning {

// What one burn did, as its log tells it.
struct BurnLogEntry {
    QString recorderName; // "VIRTUAL CD-RW WRITER"
    QString recorder;     // the same with its revision and address
    qint32 method = 0;
    QString writeMode; // how the recorder wrote, in words
    qint16 speed = 0;
    bool simulate = false;
    bool keepOpen = false;
    bool verify = false;
    QDateTime started;
    QDateTime ended;
    QString outcome; // the burn's end, in words
    QString image;   // the image written, on the image recorder
    std::vector<BurnRun::TrackReport> tracks;
    std::optional<qint32> offset; // the read offset the verification found
    QList<BurnRun::Notice> notices;
    QStringList recorderMessages; // what the recorder said, as it said it
};

// The log's text: the burn, then one line per track (source, sample count, sectors written,
// CRC-32 of the sectors written, verification), the notices and the recorder's messages.
QString burnLogText(const BurnLogEntry& entry);

// Writes the log as <imageBase>.log when imageBase is given and free, else in the user's data
// folder, where the window and melvane-cli both keep theirs (melvane/burn-logs under
// QStandardPaths::GenericDataLocation), named by the time and the recorder. Returns the path,
// or an empty text when neither could be written.
QString writeBurnLog(const BurnLogEntry& entry, const QString& imageBase = {});

} // namespace burning
