#include "backends/cdio/CdAudioMci.h"

#include "components/Error.h"

#include <QRegularExpression>

namespace cdio {
namespace {

constexpr qint32 kLeadInSectors = 150;

bool isFlag(const QString& word) {
    return word == QLatin1String("wait") || word == QLatin1String("notify");
}

// The first audio sector and the end of the last audio track.
qint32 audioStart(const Toc& toc) {
    for (const TocTrack& t : toc.tracks)
        if (t.audio())
            return t.start;
    return toc.tracks.first().start;
}

qint32 audioEnd(const Toc& toc) {
    for (auto t = toc.tracks.crbegin(); t != toc.tracks.crend(); ++t)
        if (t->audio())
            return t->start + t->sectors;
    return toc.leadout;
}

const TocTrack& trackAt(const Toc& toc, qint32 sector) {
    const TocTrack* found = &toc.tracks.first();
    for (const TocTrack& t : toc.tracks)
        if (t.start <= sector)
            found = &t;
    return *found;
}

QString twoDigits(qint64 n) {
    return QStringLiteral("%1").arg(n, 2, 10, QChar(u'0'));
}

} // namespace

CdAudioMci::CdAudioMci(std::shared_ptr<DriveTable> drives, std::unique_ptr<CdPlayer> player)
    : m_drives(std::move(drives)), m_player(std::move(player)) {}

CdAudioMci::~CdAudioMci() {
    if (!m_playing.isEmpty() && m_player)
        m_player->stop();
}

qint32 CdAudioMci::mciSendString(const QString& command, QString& reply) {
    QStringList words = command.simplified().split(u' ', Qt::SkipEmptyParts);
    for (QString& word : words)
        word = word.toLower();
    // "wait" and "notify" change nothing here: every command has ended when it returns.
    for (qsizetype i = words.size() - 1; i >= 2; --i)
        if (isFlag(words[i]))
            words.removeAt(i);
    Answer answer;
    try {
        settle();
        answer = run(words);
    } catch (const Error&) {
        answer.code = mcierr::Hardware;
    }
    if (answer.code == 0)
        reply = answer.text;
    return answer.code;
}

CdAudioMci::Answer CdAudioMci::run(const QStringList& words) {
    if (words.isEmpty())
        return {mcierr::MissingCommandString, {}};
    const QString& verb = words[0];
    if (verb == QLatin1String("open"))
        return open(words.mid(1));
    static const QStringList verbs = {
        QStringLiteral("close"), QStringLiteral("set"),   QStringLiteral("status"),
        QStringLiteral("play"),  QStringLiteral("pause"), QStringLiteral("resume"),
        QStringLiteral("stop"),
    };
    if (!verbs.contains(verb))
        return {mcierr::UnrecognizedCommand, {}};
    if (words.size() < 2)
        return {mcierr::MissingDeviceName, {}};
    const QString& alias = words[1];
    if (verb == QLatin1String("close"))
        return close(alias);
    const auto device = m_devices.find(alias);
    if (device == m_devices.end())
        return {mcierr::InvalidDeviceName, {}};
    const QStringList items = words.mid(2);
    if (verb == QLatin1String("set"))
        return set(*device, items);
    if (verb == QLatin1String("status"))
        return status(*device, items);
    if (verb == QLatin1String("play"))
        return play(*device, items);
    if (!items.isEmpty())
        return {mcierr::UnrecognizedKeyword, {}};
    if (verb == QLatin1String("pause"))
        return pause(*device);
    if (verb == QLatin1String("resume"))
        return resume(*device);
    return stop(*device);
}

CdAudioMci::Answer CdAudioMci::open(const QStringList& words) {
    if (words.isEmpty())
        return {mcierr::MissingDeviceName, {}};
    QString type;
    QString alias = words[0];
    for (qsizetype i = 1; i < words.size(); ++i) {
        if (words[i] == QLatin1String("shareable"))
            continue;
        if (words[i] != QLatin1String("type") && words[i] != QLatin1String("alias"))
            return {mcierr::UnrecognizedKeyword, {}};
        if (i + 1 >= words.size())
            return {mcierr::MissingParameter, {}};
        (words[i] == QLatin1String("type") ? type : alias) = words[i + 1];
        ++i;
    }
    // The first CD drive, or a drive letter: D is the first CD drive, E the second ...
    int index = 0;
    static const QRegularExpression root(QStringLiteral(R"(^([a-z]):\\?$)"));
    const QRegularExpressionMatch letter = root.match(words[0]);
    if (letter.hasMatch()) {
        if (type != QLatin1String("cdaudio"))
            return {mcierr::InvalidDeviceName, {}};
        index = letter.captured(1)[0].unicode() - u'd';
    } else if (words[0] != QLatin1String("cdaudio") ||
               !(type.isEmpty() || type == QLatin1String("cdaudio"))) {
        return {mcierr::InvalidDeviceName, {}};
    }
    if (index < 0 || index >= m_drives->count())
        return {mcierr::InvalidDeviceName, {}};
    if (m_devices.contains(alias))
        return {mcierr::DuplicateAlias, {}};
    Device device;
    device.alias = alias;
    device.id = m_nextId++;
    device.drive = m_drives->drives()[index];
    m_devices.insert(alias, device);
    return {0, QString::number(device.id)};
}

CdAudioMci::Answer CdAudioMci::close(const QString& alias) {
    const QStringList aliases =
        alias == QLatin1String("all") ? m_devices.keys() : QStringList{alias};
    for (const QString& a : aliases) {
        const auto device = m_devices.find(a);
        if (device == m_devices.end())
            return {mcierr::InvalidDeviceName, {}};
        if (owns(*device)) {
            m_player->stop();
            m_playing.clear();
        }
        m_devices.erase(device);
    }
    return {};
}

CdAudioMci::Answer CdAudioMci::set(Device& device, const QStringList& items) {
    if (items.isEmpty())
        return {mcierr::MissingParameter, {}};
    if (items.value(0) != QLatin1String("time") || items.value(1) != QLatin1String("format"))
        return {mcierr::UnrecognizedKeyword, {}};
    if (items.size() < 3)
        return {mcierr::MissingParameter, {}};
    if (items.size() > 3)
        return {mcierr::UnrecognizedKeyword, {}};
    if (items[2] == QLatin1String("tmsf"))
        device.tmsf = true;
    else if (items[2] == QLatin1String("msf"))
        device.tmsf = false;
    else
        return {mcierr::BadTimeFormat, {}};
    return {};
}

CdAudioMci::Answer CdAudioMci::status(Device& device, const QStringList& items) {
    if (items.isEmpty())
        return {mcierr::MissingParameter, {}};
    const QString item = items.join(u' ');
    if (item == QLatin1String("media present") || item == QLatin1String("ready"))
        return {0, tocOf(device, true) ? QStringLiteral("true") : QStringLiteral("false")};
    if (item == QLatin1String("time format"))
        return {0, device.tmsf ? QStringLiteral("tmsf") : QStringLiteral("msf")};
    const Toc* toc = tocOf(device);
    if (item == QLatin1String("mode")) {
        if (!toc)
            return {0, QStringLiteral("not ready")};
        if (owns(device))
            return {0, m_player->state() == CdPlayer::State::Playing ? QStringLiteral("playing")
                                                                     : QStringLiteral("paused")};
        return {0, QStringLiteral("stopped")};
    }
    static const QStringList needsDisc = {QStringLiteral("number of tracks"),
                                          QStringLiteral("length"), QStringLiteral("position"),
                                          QStringLiteral("current track")};
    const bool lengthOfTrack = items.size() == 3 && items[0] == QLatin1String("length") &&
                               items[1] == QLatin1String("track");
    if (!needsDisc.contains(item) && !lengthOfTrack)
        return {items.size() == 2 && items[0] == QLatin1String("length") &&
                        items[1] == QLatin1String("track")
                    ? mcierr::MissingParameter
                    : mcierr::UnrecognizedKeyword,
                {}};
    if (!toc)
        return {mcierr::DeviceNotReady, {}};
    if (item == QLatin1String("number of tracks"))
        return {0, QString::number(toc->tracks.size())};
    if (item == QLatin1String("length"))
        return {0, msfText(toc->lengthSectors())};
    if (item == QLatin1String("position"))
        return {0, positionText(device, *toc, positionOf(device, *toc))};
    if (item == QLatin1String("current track"))
        return {0, QString::number(trackAt(*toc, positionOf(device, *toc)).number)};
    bool number = false;
    const int n = items[2].toInt(&number);
    if (!number)
        return {mcierr::BadInteger, {}};
    const TocTrack* track = toc->track(n);
    if (!track)
        return {mcierr::OutOfRange, {}};
    return {0, msfText(track->sectors)};
}

CdAudioMci::Answer CdAudioMci::play(Device& device, const QStringList& items) {
    if (!m_player)
        return {mcierr::UnsupportedFunction, {}};
    const Toc* toc = tocOf(device);
    if (!toc)
        return {mcierr::DeviceNotReady, {}};
    qint32 from = INT_MIN;
    qint32 to = audioEnd(*toc);
    for (qsizetype i = 0; i < items.size(); i += 2) {
        if (items[i] != QLatin1String("from") && items[i] != QLatin1String("to"))
            return {mcierr::UnrecognizedKeyword, {}};
        if (i + 1 >= items.size())
            return {mcierr::MissingParameter, {}};
        qint32 code = 0;
        const qint32 sector = parsePosition(device, *toc, items[i + 1], code);
        if (code != 0)
            return {code, {}};
        (items[i] == QLatin1String("from") ? from : to) = sector;
    }
    if (from == INT_MIN && items.isEmpty() && owns(device)) {
        // Like a CD player's play button: go on after a pause, carry on while playing.
        if (m_player->state() == CdPlayer::State::Paused)
            m_player->resume();
        if (m_player->state() != CdPlayer::State::Stopped)
            return {};
    }
    if (from == INT_MIN)
        from = positionOf(device, *toc);
    if (!m_playing.isEmpty() && !owns(device))
        m_player->stop();
    m_player->play(device.drive, from, std::max(from, to));
    m_playing = device.alias;
    return {};
}

CdAudioMci::Answer CdAudioMci::pause(Device& device) {
    if (owns(device) && m_player->state() == CdPlayer::State::Playing)
        m_player->pause();
    return {};
}

CdAudioMci::Answer CdAudioMci::resume(Device& device) {
    if (owns(device) && m_player->state() == CdPlayer::State::Paused)
        m_player->resume();
    return {};
}

CdAudioMci::Answer CdAudioMci::stop(Device& device) {
    if (owns(device)) {
        m_player->stop();
        m_playing.clear();
    }
    // A stopped CD player starts again from the beginning.
    device.position = INT_MIN;
    return {};
}

const Toc* CdAudioMci::tocOf(Device& device, bool again) {
    if (again || !device.toc) {
        try {
            device.toc = Disc(device.drive).readToc();
        } catch (const Error&) {
            device.toc.reset(); // a drive gone, or an image that cannot be read: no disc
        }
    }
    return device.toc ? &*device.toc : nullptr;
}

bool CdAudioMci::owns(const Device& device) const {
    return m_player && m_playing == device.alias && m_player->state() != CdPlayer::State::Stopped;
}

void CdAudioMci::settle() {
    if (m_playing.isEmpty() || m_player->state() != CdPlayer::State::Stopped)
        return;
    const auto device = m_devices.find(m_playing);
    if (device != m_devices.end())
        device->position = INT_MIN;
    m_playing.clear();
}

qint32 CdAudioMci::positionOf(Device& device, const Toc& toc) {
    if (owns(device))
        device.position = m_player->position();
    return device.position == INT_MIN ? audioStart(toc) : device.position;
}

QString CdAudioMci::positionText(const Device& device, const Toc& toc, qint32 sector) const {
    if (!device.tmsf)
        return msfText(sector + kLeadInSectors);
    const TocTrack& track = trackAt(toc, sector);
    return twoDigits(track.number) + u':' + msfText(sector - track.start);
}

qint32 CdAudioMci::parsePosition(const Device& device, const Toc& toc, const QString& text,
                                 qint32& code) const {
    const QStringList fields = text.split(u':');
    QList<int> values;
    for (const QString& field : fields) {
        bool number = false;
        values.append(field.toInt(&number));
        if (!number || values.last() < 0) {
            code = mcierr::BadInteger;
            return 0;
        }
    }
    const int parts = device.tmsf ? 4 : 3;
    if (values.size() > parts) {
        code = mcierr::BadInteger;
        return 0;
    }
    while (values.size() < parts)
        values.append(0);
    const qint32 msf =
        (values[parts - 3] * 60 + values[parts - 2]) * kSectorsPerSecond + values[parts - 1];
    qint32 sector = msf - kLeadInSectors;
    if (device.tmsf) {
        const TocTrack* track = toc.track(values[0]);
        if (!track) {
            code = mcierr::OutOfRange;
            return 0;
        }
        sector = track->start + msf;
    }
    if (sector < toc.tracks.first().start || sector > toc.leadout)
        code = mcierr::OutOfRange;
    return sector;
}

} // namespace cdio
