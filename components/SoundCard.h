#pragma once

#include <QString>

// The mixer of a sound card seen from the recorder: find the mixer that belongs to a capture
// device, walk its recording lines by index and make one of them the recording input.
//
// Lines run from 0 to LineCount() inclusive: LineCount is the highest line index, -1 when the
// mixer has no recording line. LineIndex selects the line that LineName and LineSelected refer
// to. Reads of a mixer that is not open, or of an index outside the lines, raise Error.
class SoundCard {
public:
    virtual ~SoundCard() = default;

    // The mixer of the capture device named deviceName: returns -1 when it has none, otherwise
    // a value above -1, and sets mixerId to the mixer's id.
    virtual qint32 FindMixer(const QString& deviceName, qint32& mixerId) = 0;
    virtual void setMixerId(qint32 mixerId) = 0;
    // Writing true opens the mixer chosen by MixerId; raises Error when it cannot be opened.
    virtual void setOpenMixer(bool open) = 0;
    virtual qint32 LineCount() const = 0;
    virtual void setLineIndex(qint32 index) = 0;
    virtual QString LineName() const = 0;
    // Writing true makes the selected line the recording input at once.
    virtual void setLineSelected(bool selected) = 0;
};
