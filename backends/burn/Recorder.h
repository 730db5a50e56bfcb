#pragma once

#include "backends/burn/Program.h"

#include <QList>
#include <QString>

#include <memory>
#include <vector>

namespace burning {

class BurnRun;

// What the engine shows of a recorder; the value codes are those of the AudioBurner component.
struct RecorderFacts {
    QString vendor;
    QString product;
    QString revision;
    qint32 type = 0;
    qint16 maxReadSpeed = 0;
    QList<qint16> writeSpeeds; // ascending factors; empty when the drive cannot tell
    qint32 bufferBytes = 0;
    bool burnProof = false;
    bool supported = false;

    qint16 maxWriteSpeed() const { return writeSpeeds.isEmpty() ? 0 : writeSpeeds.last(); }
};

// The disc in a recorder.
struct DiscFacts {
    qint32 mediaType = 0;
    qint32 mediaStatus = 4;
    qint64 usedSectors = 0;
    qint64 freeSectors = 0; // what a burn may still write

    bool present() const { return mediaType != 0; }
};

// How the next burn writes; speed is a factor the recorder offers (0 = its fastest).
struct BurnSettings {
    qint32 method = 0;
    qint16 speed = 0;
    bool simulate = false;
    bool keepOpen = false;
    bool verify = false; // read the disc back and compare it with what was written
};

// Raises Error when needed sectors do not fit in the room the disc in the recorder has left.
void checkFits(qint64 needed, qint64 room, const QString& recorder);

// One entry of the engine's recorder list. Called on the user-interface thread.
class Recorder {
public:
    virtual ~Recorder() = default;

    // Learnt the first time it is asked (which may open the drive), then kept.
    virtual const RecorderFacts& facts() = 0;
    // What listing the recorder needs (vendor, product, revision), known without opening it.
    virtual const RecorderFacts& listing() { return facts(); }
    // Reads the disc again; raises Error when the drive cannot be opened.
    virtual DiscFacts refreshDisc() = 0;
    virtual void eject() = 0;
    // Checks the burn against the drive and the disc and returns it ready to start; raises
    // Error with the reason when it cannot be done. The tracks' feeds are open, not started.
    virtual std::unique_ptr<BurnRun> prepareBurn(std::vector<PlannedTrack> tracks,
                                                 const DiscInfo& disc,
                                                 const BurnSettings& settings) = 0;
    // Where the recorder is, for the burn log: "(/dev/sr0)"; empty when nowhere.
    virtual QString address() const { return {}; }
    // The recorder as messages name it.
    QString name() {
        const RecorderFacts& f = listing();
        return (f.vendor + u' ' + f.product).simplified();
    }
};

} // namespace burning
