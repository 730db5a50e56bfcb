#include "backends/audio/AlsaSoundCard.h"

#include "backends/audio/AlsaMixer.h"
#include "components/Error.h"

AlsaSoundCard::AlsaSoundCard() = default;

AlsaSoundCard::~AlsaSoundCard() = default;

AlsaSoundCard::Lines AlsaSoundCard::recordingLines(const AlsaMixer& mixer) {
    Lines lines;
    const QStringList elements = mixer.elementNames();
    for (const QString& name : {QStringLiteral("Capture Source"), QStringLiteral("Input Source")})
        if (elements.contains(name) && mixer.isCaptureEnum(name))
            return {name, mixer.enumItems(name)};
    for (const QString& element : elements)
        if (!mixer.isCaptureEnum(element) &&
            (mixer.hasCaptureSwitch(element) || mixer.hasCaptureVolume(element)))
            lines.names << element;
    return lines;
}

qint32 AlsaSoundCard::FindMixer(const QString& deviceName, qint32& mixerId) {
    const QStringList devices = AlsaMixer::deviceNames();
    qint32 found = 0; // the sound server's, unless a card is named
    for (qint32 i = 1; i < devices.size(); ++i)
        for (const QString& card : AlsaMixer::cardNames(devices[i]))
            if (!card.isEmpty() && deviceName.contains(card, Qt::CaseInsensitive))
                found = i;
    try {
        const AlsaMixer mixer(devices[found]);
        if (recordingLines(mixer).names.isEmpty())
            return -1;
    } catch (const Error&) {
        return -1;
    }
    mixerId = found;
    return 0;
}

void AlsaSoundCard::setOpenMixer(bool open) {
    m_mixer.reset();
    m_lines = {};
    if (!open)
        return;
    const QStringList devices = AlsaMixer::deviceNames();
    if (m_mixerId < 0 || m_mixerId >= devices.size())
        throw Error(QStringLiteral("There is no audio mixer number %1.").arg(m_mixerId));
    m_mixer = std::make_unique<AlsaMixer>(devices[m_mixerId]);
    m_lines = recordingLines(*m_mixer);
}

qint32 AlsaSoundCard::LineCount() const {
    if (!m_mixer)
        throw Error(QStringLiteral("The sound card's mixer is not open."));
    return qint32(m_lines.names.size()) - 1;
}

void AlsaSoundCard::checkLine() const {
    if (m_lineIndex < 0 || m_lineIndex > LineCount())
        throw IndexError(QStringLiteral("the mixer \"%1\" has no recording line %2")
                             .arg(m_mixer->device())
                             .arg(m_lineIndex));
}

QString AlsaSoundCard::LineName() const {
    checkLine();
    return m_lines.names[m_lineIndex];
}

void AlsaSoundCard::setLineSelected(bool selected) {
    if (!selected)
        return;
    checkLine();
    const QString& line = m_lines.names[m_lineIndex];
    bool done = true;
    if (!m_lines.selector.isEmpty()) {
        done = m_mixer->setEnumItem(m_lines.selector, m_lineIndex);
    } else {
        for (const QString& other : m_lines.names)
            if (m_mixer->hasCaptureSwitch(other))
                done = m_mixer->setCaptureSwitch(other, other == line) && done;
    }
    if (!done)
        throw Error(QStringLiteral("Cannot make \"%1\" the recording input of the audio mixer "
                                   "\"%2\": the sound system refused.")
                        .arg(line, m_mixer->device()));
}
