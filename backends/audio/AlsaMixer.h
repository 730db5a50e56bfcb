#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <utility>

struct _snd_mixer;
struct _snd_mixer_elem;

// One ALSA simple mixer, opened by its device name ("default", "hw:0"): its elements by name,
// their playback and capture values, and the poll descriptors by which the sound system says
// that something changed. What both the volume control's mixers and the recorder's sound card
// build on. Used from one thread.
//
// ALSA keeps what it last heard from the sound system: handleEvents() takes the news, so call it
// before reading values that may have been changed by another program.
class AlsaMixer {
public:
    // Opens and loads the mixer; raises Error naming the device and the reason.
    explicit AlsaMixer(const QString& device);
    ~AlsaMixer();
    AlsaMixer(const AlsaMixer&) = delete;
    AlsaMixer& operator=(const AlsaMixer&) = delete;

    // The mixer devices of the machine: "default" first, then "hw:N" for each sound card.
    static QStringList deviceNames();
    // The names a device's card goes by (short and long), for matching a capture device's
    // name to its mixer; empty for "default".
    static QStringList cardNames(const QString& device);

    QString device() const { return m_device; }
    // The simple elements, in ALSA's order ("Master", "PCM", "Capture" ...).
    QStringList elementNames() const;

    bool hasPlaybackVolume(const QString& element) const;
    // Bounds of the playback volume; {0, 0} when the element has none.
    std::pair<long, long> playbackRange(const QString& element) const;
    // The loudest channel's volume.
    long playbackVolume(const QString& element) const;
    bool setPlaybackVolume(const QString& element, long value);
    bool hasPlaybackSwitch(const QString& element) const;
    // On when any channel is on (sounding).
    bool playbackSwitch(const QString& element) const;
    bool setPlaybackSwitch(const QString& element, bool on);

    bool hasCaptureVolume(const QString& element) const;
    bool hasCaptureSwitch(const QString& element) const;
    bool setCaptureSwitch(const QString& element, bool on);

    // Enumerated elements that choose the capture input ("Capture Source", "Input Source").
    bool isCaptureEnum(const QString& element) const;
    QStringList enumItems(const QString& element) const;
    int enumItem(const QString& element) const;
    bool setEnumItem(const QString& element, int item);

    // The descriptors to watch for reading; when one is readable, call handleEvents().
    QList<int> pollDescriptors() const;
    // Takes what the sound system reported; true when it reported anything.
    bool handleEvents();

private:
    _snd_mixer_elem* find(const QString& element) const;
    void freshen();

    QString m_device;
    _snd_mixer* m_mixer = nullptr;
};
