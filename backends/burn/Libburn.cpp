#include "backends/burn/Libburn.h"

#include "backends/burn/BurnMethods.h"
#include "components/Error.h"

#include <libburn/libburn.h>

#include <QThread>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

using namespace burn;

namespace burning {

namespace {

std::mutex g_libraryMutex;
int g_libraryUsers = 0;

// Profiles of media a drive can write that are DVD or BD.
constexpr int kWritableDvdProfiles[] = {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x1a,
                                        0x1b, 0x2a, 0x2b, 0x41, 0x42, 0x43};
constexpr int kErasableProfiles[] = {0x0a, 0x13, 0x14, 0x1a, 0x2a, 0x43};
constexpr int kCdRom = 0x08, kCdR = 0x09, kCdRw = 0x0a, kDvdRom = 0x10, kDvdRam = 0x12,
              kBdRom = 0x40;
// Speeds CD writers usually offer, for drives that report only their fastest one.
constexpr qint16 kCommonSpeeds[] = {1, 2, 4, 8, 10, 12, 16, 20, 24, 32, 40, 48, 52};

template <std::size_t N> bool contains(const int (&list)[N], int value) {
    return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

QString latin1(const char* text, std::size_t size) {
    return QString::fromLatin1(text, qsizetype(strnlen(text, size))).trimmed();
}

} // namespace

LibburnLibrary::LibburnLibrary() {
    std::lock_guard lock(g_libraryMutex);
    if (g_libraryUsers == 0) {
        if (!burn_initialize())
            throw Error(QStringLiteral("The CD burning library (libburn) cannot start."));
        burn_msgs_set_severities(const_cast<char*>("SORRY"), const_cast<char*>("NEVER"),
                                 const_cast<char*>("libburn: "));
    }
    ++g_libraryUsers;
}

LibburnLibrary::~LibburnLibrary() {
    std::lock_guard lock(g_libraryMutex);
    if (--g_libraryUsers == 0) {
        takeMessages();
        burn_finish();
    }
}

QString LibburnLibrary::takeMessages() {
    QStringList lines;
    int code = 0;
    int osErrno = 0;
    char text[BURN_MSGS_MESSAGE_LEN];
    char severity[80];
    while (burn_msgs_obtain(const_cast<char*>("SORRY"), &code, text, &osErrno, severity) == 1) {
        QString line = QString::fromLocal8Bit(text).simplified();
        if (osErrno != 0)
            line += QStringLiteral(" (%1)").arg(QString::fromLocal8Bit(std::strerror(osErrno)));
        if (!lines.contains(line))
            lines.append(line);
    }
    return lines.join(u'\n');
}

QList<ScannedDrive> scanDrives() {
    burn_drive_info* infos = nullptr;
    unsigned int count = 0;
    int done;
    // The scan runs on libburn's own thread and must be polled until it reports its end.
    while ((done = burn_drive_scan(&infos, &count)) == 0)
        QThread::msleep(5);
    if (done < 0) {
        const QString why = LibburnLibrary::takeMessages();
        throw Error(QStringLiteral("Cannot look for CD recorders: %1")
                        .arg(why.isEmpty() ? QStringLiteral("the system refused the scan") : why));
    }
    QList<ScannedDrive> drives;
    for (unsigned int i = 0; i < count; ++i) {
        burn_drive_info& info = infos[i];
        char address[BURN_DRIVE_ADR_LEN] = {};
        if (burn_drive_d_get_adr(info.drive, address) <= 0)
            continue;
        ScannedDrive d;
        d.address = address;
        d.vendor = latin1(info.vendor, sizeof info.vendor);
        d.product = latin1(info.product, sizeof info.product);
        d.revision = latin1(info.revision, sizeof info.revision);
        d.bufferBytes = info.buffer_size > 0 ? info.buffer_size * 1024 : 0;
        d.writesCd = info.write_cdr || info.write_cdrw;
        drives.append(d);
        // Each drive is opened again only when it is used, so that other programs keep it.
        burn_drive_info_forget(&info, 0);
    }
    if (infos)
        burn_drive_info_free(infos);
    // Complaints about devices that are no drives are no news to anyone.
    LibburnLibrary::takeMessages();
    return drives;
}

qint32 recorderTypeFor(const QList<int>& profiles, bool writesCdr, bool writesCdrw) {
    const auto has = [&](int p) { return profiles.contains(p); };
    if (std::any_of(profiles.begin(), profiles.end(),
                    [](int p) { return contains(kWritableDvdProfiles, p); }))
        return 6;
    if (has(kCdRw) || writesCdrw)
        return 3;
    if (has(kCdR) || writesCdr)
        return 2;
    if (has(kDvdRom) || has(kBdRom))
        return 5;
    if (has(kCdRom))
        return 4;
    return 0;
}

qint32 mediaTypeFor(int profile, bool discPresent) {
    if (!discPresent)
        return 0;
    if (profile == kDvdRam)
        return 3;
    return contains(kErasableProfiles, profile) ? 2 : 1;
}

qint32 mediaStatusFor(int discStatus) {
    switch (discStatus) {
    case BURN_DISC_BLANK:
        return 0;
    case BURN_DISC_APPENDABLE:
        return 1;
    case BURN_DISC_FULL:
        return 2;
    case BURN_DISC_EMPTY:
        return 4;
    default:
        return 3;
    }
}

LibburnDrive::LibburnDrive(const QByteArray& address) : m_address(address) {
    QByteArray writable = address;
    // Opening never closes the tray: a disc the user just ejected stays out.
    if (burn_drive_scan_and_grab(&m_infos, writable.data(), 0) <= 0 || !m_infos) {
        const QString why = LibburnLibrary::takeMessages();
        throw Error(
            QStringLiteral("Cannot open the recorder %1: %2")
                .arg(QString::fromLocal8Bit(address),
                     why.isEmpty() ? QStringLiteral("it is busy or no longer there") : why));
    }
    m_drive = m_infos[0].drive;
    LibburnLibrary::takeMessages();
}

LibburnDrive::~LibburnDrive() {
    burn_drive_release(m_drive, m_eject ? 1 : 0);
    burn_drive_info_free(m_infos);
}

RecorderFacts LibburnDrive::facts() const {
    const burn_drive_info& info = m_infos[0];
    RecorderFacts f;
    f.vendor = latin1(info.vendor, sizeof info.vendor);
    f.product = latin1(info.product, sizeof info.product);
    f.revision = latin1(info.revision, sizeof info.revision);
    f.bufferBytes = info.buffer_size > 0 ? info.buffer_size * 1024 : 0;

    int count = 0;
    int codes[64];
    char current[64];
    burn_drive_get_all_profiles(m_drive, &count, codes, current);
    const QList<int> profiles(codes, codes + std::clamp(count, 0, 64));
    f.type = recorderTypeFor(profiles, info.write_cdr, info.write_cdrw);
    f.supported =
        profiles.contains(kCdR) || profiles.contains(kCdRw) || info.write_cdr || info.write_cdrw;
    f.maxReadSpeed = speedFactor(burn_drive_get_read_speed(m_drive));

    burn_speed_descriptor* list = nullptr;
    if (burn_drive_get_speedlist(m_drive, &list) > 0) {
        for (burn_speed_descriptor* s = list; s; s = s->next) {
            const qint16 factor = speedFactor(s->write_speed);
            if (factor > 0 && !f.writeSpeeds.contains(factor))
                f.writeSpeeds.append(factor);
        }
        burn_drive_free_speedlist(&list);
    }
    const qint16 fastest = speedFactor(burn_drive_get_write_speed(m_drive));
    if (f.writeSpeeds.isEmpty() && fastest > 0) {
        for (qint16 s : kCommonSpeeds)
            if (s < fastest)
                f.writeSpeeds.append(s);
        f.writeSpeeds.append(fastest);
    }
    std::sort(f.writeSpeeds.begin(), f.writeSpeeds.end());

    burn_write_opts* opts = burn_write_opts_new(m_drive);
    if (opts) {
        f.burnProof = burn_write_opts_set_underrun_proof(opts, 1) == 1;
        burn_write_opts_free(opts);
    }
    return f;
}

DiscFacts LibburnDrive::disc() const {
    DiscFacts d;
    const burn_disc_status status = burn_disc_get_status(m_drive);
    int profile = 0;
    char profileName[80];
    burn_disc_get_profile(m_drive, &profile, profileName);
    d.mediaStatus = mediaStatusFor(status);
    d.mediaType = mediaTypeFor(profile, status != BURN_DISC_EMPTY);
    if (status == BURN_DISC_APPENDABLE || status == BURN_DISC_FULL) {
        if (burn_disc* written = burn_drive_get_disc(m_drive)) {
            d.usedSectors = std::max(0, burn_disc_get_sectors(written));
            burn_disc_free(written);
        }
    }
    if (status == BURN_DISC_BLANK || status == BURN_DISC_APPENDABLE)
        d.freeSectors = burn_disc_available_space(m_drive, nullptr) / 2048;
    return d;
}

} // namespace burning
