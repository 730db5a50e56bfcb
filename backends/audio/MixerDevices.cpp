#include "backends/audio/MixerDevices.h"

#include "backends/audio/AlsaMixer.h"
#include "components/Error.h"

#include <QSocketNotifier>
#include <algorithm>
#include <array>
#include <limits>

namespace {

struct LineName {
    quint32 componentType;
    const char* element;
};

// The classic lines and the element names sound cards give them. A line's id is its place
// here; its volume and mute controls get the ids 2 * id + 1 and 2 * id + 2.
constexpr std::array<LineName, 7> lineNames{{{Mixer::DstSpeakers, "Master"},
                                             {Mixer::SrcDigital, "IEC958"},
                                             {Mixer::SrcLine, "Line"},
                                             {Mixer::SrcMicrophone, "Mic"},
                                             {Mixer::SrcCompactDisc, "CD"},
                                             {Mixer::SrcWaveOut, "PCM"},
                                             {Mixer::SrcAuxiliary, "Aux"}}};

qint32 bound(long value) {
    return qint32(std::clamp<long>(value, std::numeric_limits<qint32>::min(),
                                   std::numeric_limits<qint32>::max()));
}

} // namespace

MixerDevices::MixerDevices(QObject* parent) : Mixer(parent) {}

bool MixerDevices::decode(quint32 controlId, ControlRef& ref) {
    if (controlId == 0 || (controlId - 1) / 2 >= lineNames.size())
        return false;
    ref.element = QLatin1String(lineNames[(controlId - 1) / 2].element);
    ref.mute = (controlId - 1) % 2 == 1;
    return true;
}

MixerDevices::~MixerDevices() = default;

AlsaMixer* MixerDevices::mixer(Handle handle) {
    const auto it = m_open.find(handle);
    return it == m_open.end() ? nullptr : it->second.mixer.get();
}

quint32 MixerDevices::mixerGetNumDevs() {
    return quint32(AlsaMixer::deviceNames().size());
}

quint32 MixerDevices::mixerOpen(Handle& handle, quint32 device) {
    const QStringList names = AlsaMixer::deviceNames();
    if (device >= quint32(names.size()))
        return BadDeviceId;
    Open open;
    try {
        open.mixer = std::make_unique<AlsaMixer>(names[int(device)]);
    } catch (const Error& e) {
        qWarning("%s", qPrintable(e.message()));
        return Failed;
    }
    const Handle opened = m_nextHandle++;
    watch(opened, open);
    m_open.emplace(opened, std::move(open));
    handle = opened;
    return NoError;
}

void MixerDevices::watch(Handle handle, Open& open) {
    AlsaMixer* alsa = open.mixer.get();
    for (int fd : alsa->pollDescriptors()) {
        auto notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
        connect(notifier.get(), &QSocketNotifier::activated, this, [this, alsa, handle] {
            if (alsa->handleEvents())
                Q_EMIT ControlChanged(handle);
        });
        open.notifiers.push_back(std::move(notifier));
    }
    open.age.start();
}

// A notifier may be the very one whose signal led here: it goes when that returns.
void MixerDevices::release(Open& open) {
    for (auto& notifier : open.notifiers) {
        notifier->setEnabled(false);
        notifier.release()->deleteLater();
    }
    open.notifiers.clear();
}

void MixerDevices::freshen(Handle handle) {
    const auto it = m_open.find(handle);
    if (it == m_open.end() || it->second.mixer->device() != QLatin1String("default") ||
        it->second.age.elapsed() < ReopenAfter)
        return;
    Open fresh;
    try {
        fresh.mixer = std::make_unique<AlsaMixer>(it->second.mixer->device());
    } catch (const Error&) {
        // The server went away for a moment: the old one serves until the next try.
        it->second.age.start();
        return;
    }
    release(it->second);
    watch(handle, fresh);
    it->second = std::move(fresh);
}

quint32 MixerDevices::mixerGetLineInfo(Handle handle, quint32 componentType, Line& line) {
    AlsaMixer* alsa = mixer(handle);
    if (!alsa)
        return InvalidHandle;
    for (size_t i = 0; i < lineNames.size(); ++i) {
        const QString element = QLatin1String(lineNames[i].element);
        if (lineNames[i].componentType != componentType)
            continue;
        if (!alsa->hasPlaybackVolume(element) && !alsa->hasPlaybackSwitch(element))
            return InvalidLine;
        line = {quint32(i), componentType, element};
        return NoError;
    }
    return InvalidLine;
}

quint32 MixerDevices::mixerGetLineControls(Handle handle, quint32 lineId, quint32 controlType,
                                           Control& control) {
    AlsaMixer* alsa = mixer(handle);
    if (!alsa)
        return InvalidHandle;
    if (lineId >= lineNames.size())
        return InvalidLine;
    const QString element = QLatin1String(lineNames[lineId].element);
    if (controlType == VolumeControl && alsa->hasPlaybackVolume(element)) {
        const auto [low, high] = alsa->playbackRange(element);
        control = {2 * lineId + 1, controlType, element + QStringLiteral(" Volume"), bound(low),
                   bound(high)};
        return NoError;
    }
    if (controlType == MuteControl && alsa->hasPlaybackSwitch(element)) {
        control = {2 * lineId + 2, controlType, element + QStringLiteral(" Mute"), 0, 1};
        return NoError;
    }
    return InvalidControl;
}

quint32 MixerDevices::find(Handle handle, quint32 controlId, AlsaMixer*& alsa, ControlRef& ref) {
    freshen(handle);
    alsa = mixer(handle);
    if (!alsa)
        return InvalidHandle;
    return decode(controlId, ref) ? NoError : InvalidControl;
}

quint32 MixerDevices::mixerGetControlDetails(Handle handle, quint32 controlId, quint32& value) {
    AlsaMixer* alsa = nullptr;
    ControlRef ref;
    if (const quint32 rc = find(handle, controlId, alsa, ref); rc != NoError)
        return rc;
    alsa->handleEvents();
    if (ref.mute) {
        if (!alsa->hasPlaybackSwitch(ref.element))
            return InvalidControl;
        value = alsa->playbackSwitch(ref.element) ? 0 : 1;
    } else {
        if (!alsa->hasPlaybackVolume(ref.element))
            return InvalidControl;
        value = quint32(std::max(0L, alsa->playbackVolume(ref.element)));
    }
    return NoError;
}

quint32 MixerDevices::mixerSetControlDetails(Handle handle, quint32 controlId, quint32 value) {
    AlsaMixer* alsa = nullptr;
    ControlRef ref;
    if (const quint32 rc = find(handle, controlId, alsa, ref); rc != NoError)
        return rc;
    const bool done = ref.mute ? alsa->setPlaybackSwitch(ref.element, value == 0)
                               : alsa->setPlaybackVolume(ref.element, long(value));
    return done ? NoError : Failed;
}

quint32 MixerDevices::mixerClose(Handle handle) {
    const auto it = m_open.find(handle);
    if (it == m_open.end())
        return InvalidHandle;
    release(it->second);
    m_open.erase(it);
    return NoError;
}
