#include "backends/audio/AlsaMixer.h"

#include "components/Error.h"

#include <alsa/asoundlib.h>
#include <poll.h>
#include <vector>

namespace {

using Channels = int (*)(snd_mixer_elem_t*, snd_mixer_selem_channel_id_t);

// The channels an element has for playback or capture; mono elements have channel 0 alone.
std::vector<snd_mixer_selem_channel_id_t> channels(snd_mixer_elem_t* elem, Channels has) {
    std::vector<snd_mixer_selem_channel_id_t> result;
    for (int c = SND_MIXER_SCHN_FRONT_LEFT; c <= SND_MIXER_SCHN_LAST; ++c)
        if (has(elem, snd_mixer_selem_channel_id_t(c)))
            result.push_back(snd_mixer_selem_channel_id_t(c));
    return result;
}

QString reason(int error) {
    return QString::fromLocal8Bit(snd_strerror(error));
}

} // namespace

AlsaMixer::AlsaMixer(const QString& device) : m_device(device) {
    const QByteArray name = device.toLocal8Bit();
    int rc = snd_mixer_open(&m_mixer, 0);
    if (rc >= 0 && (rc = snd_mixer_attach(m_mixer, name.constData())) >= 0 &&
        (rc = snd_mixer_selem_register(m_mixer, nullptr, nullptr)) >= 0)
        rc = snd_mixer_load(m_mixer);
    if (rc < 0) {
        if (m_mixer)
            snd_mixer_close(m_mixer);
        m_mixer = nullptr;
        throw Error(
            QStringLiteral("Cannot open the audio mixer \"%1\": %2.").arg(device, reason(rc)));
    }
}

AlsaMixer::~AlsaMixer() {
    snd_mixer_close(m_mixer);
}

QStringList AlsaMixer::deviceNames() {
    QStringList names{QStringLiteral("default")};
    int card = -1;
    while (snd_card_next(&card) >= 0 && card >= 0)
        names << QStringLiteral("hw:%1").arg(card);
    return names;
}

QStringList AlsaMixer::cardNames(const QString& device) {
    if (!device.startsWith(QLatin1String("hw:")))
        return {};
    bool ok = false;
    const int card = device.mid(3).toInt(&ok);
    if (!ok)
        return {};
    QStringList names;
    for (auto get : {snd_card_get_name, snd_card_get_longname}) {
        char* text = nullptr;
        if (get(card, &text) >= 0 && text)
            names << QString::fromLocal8Bit(text);
        free(text);
    }
    return names;
}

snd_mixer_elem_t* AlsaMixer::find(const QString& element) const {
    snd_mixer_selem_id_t* id = nullptr;
    snd_mixer_selem_id_alloca(&id);
    snd_mixer_selem_id_set_index(id, 0);
    snd_mixer_selem_id_set_name(id, element.toLocal8Bit().constData());
    return snd_mixer_find_selem(m_mixer, id);
}

QStringList AlsaMixer::elementNames() const {
    QStringList names;
    for (snd_mixer_elem_t* e = snd_mixer_first_elem(m_mixer); e; e = snd_mixer_elem_next(e))
        if (snd_mixer_selem_get_index(e) == 0)
            names << QString::fromLocal8Bit(snd_mixer_selem_get_name(e));
    return names;
}

bool AlsaMixer::hasPlaybackVolume(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_has_playback_volume(e);
}

std::pair<long, long> AlsaMixer::playbackRange(const QString& element) const {
    long low = 0, high = 0;
    if (hasPlaybackVolume(element))
        snd_mixer_selem_get_playback_volume_range(find(element), &low, &high);
    return {low, high};
}

long AlsaMixer::playbackVolume(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    if (!e || !snd_mixer_selem_has_playback_volume(e))
        return 0;
    long loudest = 0;
    bool first = true;
    for (auto c : channels(e, snd_mixer_selem_has_playback_channel)) {
        long value = 0;
        if (snd_mixer_selem_get_playback_volume(e, c, &value) >= 0 && (first || value > loudest))
            loudest = value;
        first = false;
    }
    return loudest;
}

bool AlsaMixer::setPlaybackVolume(const QString& element, long value) {
    freshen();
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_has_playback_volume(e) &&
           snd_mixer_selem_set_playback_volume_all(e, value) >= 0;
}

bool AlsaMixer::hasPlaybackSwitch(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_has_playback_switch(e);
}

bool AlsaMixer::playbackSwitch(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    if (!e || !snd_mixer_selem_has_playback_switch(e))
        return false;
    for (auto c : channels(e, snd_mixer_selem_has_playback_channel)) {
        int on = 0;
        if (snd_mixer_selem_get_playback_switch(e, c, &on) >= 0 && on)
            return true;
    }
    return false;
}

bool AlsaMixer::setPlaybackSwitch(const QString& element, bool on) {
    freshen();
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_has_playback_switch(e) &&
           snd_mixer_selem_set_playback_switch_all(e, on ? 1 : 0) >= 0;
}

bool AlsaMixer::hasCaptureVolume(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_has_capture_volume(e);
}

bool AlsaMixer::hasCaptureSwitch(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_has_capture_switch(e);
}

bool AlsaMixer::setCaptureSwitch(const QString& element, bool on) {
    freshen();
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_has_capture_switch(e) &&
           snd_mixer_selem_set_capture_switch_all(e, on ? 1 : 0) >= 0;
}

bool AlsaMixer::isCaptureEnum(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    return e && snd_mixer_selem_is_enumerated(e) && snd_mixer_selem_is_enum_capture(e);
}

QStringList AlsaMixer::enumItems(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    QStringList items;
    if (!e || !snd_mixer_selem_is_enumerated(e))
        return items;
    const int count = snd_mixer_selem_get_enum_items(e);
    for (int i = 0; i < count; ++i) {
        char name[128] = {};
        snd_mixer_selem_get_enum_item_name(e, unsigned(i), sizeof name - 1, name);
        items << QString::fromLocal8Bit(name);
    }
    return items;
}

int AlsaMixer::enumItem(const QString& element) const {
    snd_mixer_elem_t* e = find(element);
    unsigned item = 0;
    if (!e || snd_mixer_selem_get_enum_item(e, SND_MIXER_SCHN_FRONT_LEFT, &item) < 0)
        return -1;
    return int(item);
}

bool AlsaMixer::setEnumItem(const QString& element, int item) {
    freshen();
    snd_mixer_elem_t* e = find(element);
    if (!e || !snd_mixer_selem_is_enumerated(e))
        return false;
    // Every channel that has an item of its own gets the same one.
    bool done = false;
    for (int c = SND_MIXER_SCHN_FRONT_LEFT; c <= SND_MIXER_SCHN_LAST; ++c) {
        const auto channel = snd_mixer_selem_channel_id_t(c);
        unsigned current = 0;
        if (snd_mixer_selem_get_enum_item(e, channel, &current) < 0)
            continue;
        if (snd_mixer_selem_set_enum_item(e, channel, unsigned(item)) < 0)
            return false;
        done = true;
    }
    return done;
}

QList<int> AlsaMixer::pollDescriptors() const {
    const int count = snd_mixer_poll_descriptors_count(m_mixer);
    std::vector<pollfd> fds(size_t(std::max(count, 0)));
    const int filled = snd_mixer_poll_descriptors(m_mixer, fds.data(), unsigned(fds.size()));
    QList<int> result;
    for (int i = 0; i < filled; ++i)
        result << fds[size_t(i)].fd;
    return result;
}

// ALSA skips a write that matches what it last heard; take the news first, so a value another
// program changed meanwhile is written all the same.
void AlsaMixer::freshen() {
    snd_mixer_handle_events(m_mixer);
}

bool AlsaMixer::handleEvents() {
    return snd_mixer_handle_events(m_mixer) > 0;
}
