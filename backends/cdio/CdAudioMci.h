#pragma once

#include "backends/cdio/CdPlayer.h"
#include "backends/cdio/Disc.h"
#include "components/Mci.h"

#include <QMap>
#include <climits>
#include <memory>

namespace cdio {

// MCI's "cdaudio" device over the shared drive table: "open cdaudio" is the first drive, a
// drive letter "D:\" the drive at that place of Drives' list. Tables of contents come from
// libcdio, read when first needed after open and again by "media present"; play, pause, resume
// and stop go to the player. User-interface thread only.
class CdAudioMci final : public Mci {
public:
    // player may be null: then play answers UnsupportedFunction.
    CdAudioMci(std::shared_ptr<DriveTable> drives, std::unique_ptr<CdPlayer> player);
    ~CdAudioMci() override;

    qint32 mciSendString(const QString& command, QString& reply) override;

private:
    struct Device {
        QString alias;
        qint32 id = 0;
        Drive drive;
        bool tmsf = false;         // the time format; MSF otherwise, MCI's default
        std::optional<Toc> toc;    // read when first needed
        qint32 position = INT_MIN; // where play goes on from; INT_MIN: the disc's start
    };
    struct Answer {
        qint32 code = 0;
        QString text;
    };

    Answer run(const QStringList& words);
    Answer open(const QStringList& words);
    Answer close(const QString& alias);
    Answer set(Device& device, const QStringList& items);
    Answer status(Device& device, const QStringList& items);
    Answer play(Device& device, const QStringList& items);
    Answer pause(Device& device);
    Answer resume(Device& device);
    Answer stop(Device& device);

    // The table of contents, reading it when not yet read; nothing when there is no disc.
    const Toc* tocOf(Device& device, bool again = false);
    bool owns(const Device& device) const;
    // Forgets the player's device once its sound has ended by itself.
    void settle();
    qint32 positionOf(Device& device, const Toc& toc);
    QString positionText(const Device& device, const Toc& toc, qint32 sector) const;
    // A position in the device's time format; sets code on failure.
    qint32 parsePosition(const Device& device, const Toc& toc, const QString& text,
                         qint32& code) const;

    std::shared_ptr<DriveTable> m_drives;
    std::unique_ptr<CdPlayer> m_player;
    QMap<QString, Device> m_devices; // by alias, in lower case
    QString m_playing;               // the alias whose sound the player makes
    qint32 m_nextId = 1;
};

} // namespace cdio
