#pragma once

#include "components/SoundCard.h"

#include <QStringList>
#include <memory>

class AlsaMixer;

// The recorder's sound card mixer on ALSA. Mixer ids are the places in the machine's mixer
// list: 0 the `default` mixer, then one per sound card, as for the volume control.
//
// A capture device whose name names a sound card belongs to that card's mixer; any other (the
// sources of PulseAudio or PipeWire) to the `default` mixer, whose one recording line is the
// sound server's 'Capture'. The recording lines of a mixer are the items of its capture
// selector ("Capture Source", "Input Source") when it has one, otherwise its elements with a
// capture switch or volume. Selecting a line sets the selector to it, or switches its capture
// on and every other line's off.
class AlsaSoundCard final : public SoundCard {
public:
    AlsaSoundCard();
    ~AlsaSoundCard() override;

    qint32 FindMixer(const QString& deviceName, qint32& mixerId) override;
    void setMixerId(qint32 mixerId) override { m_mixerId = mixerId; }
    void setOpenMixer(bool open) override;
    qint32 LineCount() const override;
    void setLineIndex(qint32 index) override { m_lineIndex = index; }
    QString LineName() const override;
    void setLineSelected(bool selected) override;

private:
    struct Lines {
        QString selector; // the enumerated element that picks the input, or empty
        QStringList names;
    };
    static Lines recordingLines(const AlsaMixer& mixer);
    void checkLine() const;

    qint32 m_mixerId = -1;
    qint32 m_lineIndex = -1;
    std::unique_ptr<AlsaMixer> m_mixer;
    Lines m_lines;
};
