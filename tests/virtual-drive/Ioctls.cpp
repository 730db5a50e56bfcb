#include "Ioctls.h"

#include "Log.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/cdrom.h>
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <scsi/scsi.h>
#include <scsi/scsi_ioctl.h>
#include <scsi/sg.h>
#include <utility>
#include <vector>

namespace vdrive {
namespace {

constexpr int kSgVersion = 30527;

int fail(int error) {
    errno = error;
    return -1;
}

struct Kernel {
    Drive& drive;
    int error = 0;

    // Sends a command as the kernel would; false (with error set) when it fails.
    bool send(std::vector<uint8_t> cdb, uint8_t* data, size_t length, bool toDevice = false) {
        Command c;
        cdb.resize(12, 0);
        c.cdb = cdb.data();
        c.cdbLength = cdb[0] >= 0xa0 ? 12 : cdb[0] >= 0x20 ? 10 : 6;
        c.data = data;
        c.length = length;
        c.toDevice = toDevice;
        drive.execute(c, "kernel");
        if (c.good)
            return true;
        error = c.sense.key == 2 && c.sense.asc == 0x3a ? ENOMEDIUM : EIO;
        return false;
    }
    // A command without data, as an ioctl's result.
    int run(std::vector<uint8_t> cdb) { return send(std::move(cdb), nullptr, 0) ? 0 : fail(error); }
};

int32_t be32(const uint8_t* b) {
    return int32_t(uint32_t(b[0]) << 24 | b[1] << 16 | b[2] << 8 | b[3]);
}

void toMsf(int lba, cdrom_msf0& msf) {
    uint8_t m, s, f;
    lbaToMsf(lba, m, s, f);
    msf.minute = m;
    msf.second = s;
    msf.frame = f;
}

int fromAddress(const cdrom_addr& address, int format) {
    return format == CDROM_MSF ? msfToLba(address.msf.minute, address.msf.second, address.msf.frame)
                               : address.lba;
}

void setAddress(cdrom_addr& address, int format, int lba) {
    if (format == CDROM_MSF)
        toMsf(lba, address.msf);
    else
        address.lba = lba;
}

// The ioctls a log line names; others appear as numbers.
#define NAMED(request)                                                                             \
    { request, #request }
const std::pair<unsigned long, const char*> kIoctlNames[] = {
    NAMED(CDROMREADTOCHDR),
    NAMED(CDROMREADTOCENTRY),
    NAMED(CDROMMULTISESSION),
    NAMED(CDROM_GET_MCN),
    NAMED(CDROMSUBCHNL),
    NAMED(CDROMPLAYMSF),
    NAMED(CDROMPLAYTRKIND),
    NAMED(CDROMPAUSE),
    NAMED(CDROMRESUME),
    NAMED(CDROMSTOP),
    NAMED(CDROMSTART),
    NAMED(CDROMVOLREAD),
    NAMED(CDROMVOLCTRL),
    NAMED(CDROMEJECT),
    NAMED(CDROMCLOSETRAY),
    NAMED(CDROMEJECT_SW),
    NAMED(CDROM_LOCKDOOR),
    NAMED(CDROM_SELECT_SPEED),
    NAMED(CDROM_DRIVE_STATUS),
    NAMED(CDROM_DISC_STATUS),
    NAMED(CDROM_MEDIA_CHANGED),
    NAMED(CDROM_GET_CAPABILITY),
    NAMED(CDROMREADAUDIO),
    NAMED(CDROMREADMODE1),
    NAMED(CDROMREADRAW),
    NAMED(CDROM_SET_OPTIONS),
    NAMED(CDROM_CLEAR_OPTIONS),
    NAMED(CDROM_CHANGER_NSLOTS),
    NAMED(DVD_READ_STRUCT),
    NAMED(SG_GET_VERSION_NUM),
    NAMED(SG_GET_SCSI_ID),
    NAMED(SG_EMULATED_HOST),
    NAMED(SG_GET_TIMEOUT),
    NAMED(SG_SET_TIMEOUT),
    NAMED(SG_GET_RESERVED_SIZE),
    NAMED(SG_SET_RESERVED_SIZE),
    NAMED(SCSI_IOCTL_GET_IDLUN),
    NAMED(SCSI_IOCTL_GET_BUS_NUMBER),
    NAMED(BLKGETSIZE),
    NAMED(BLKGETSIZE64),
    NAMED(BLKSSZGET),
    NAMED(BLKBSZGET),
    NAMED(BLKRRPART),
    NAMED(BLKFLSBUF),
    NAMED(BLKROGET),
    NAMED(HDIO_GET_IDENTITY),
};
#undef NAMED

const char* ioctlName(unsigned long request) {
    for (const auto& [value, name] : kIoctlNames)
        if (value == request)
            return name;
    return nullptr;
}

int sgIo(Drive& drive, sg_io_hdr_t* h) {
    if (!h || h->interface_id != 'S')
        return fail(ENOSYS);
    if (h->iovec_count != 0 || h->cmd_len < 6 || h->cmd_len > 16 || !h->cmdp)
        return fail(EINVAL);
    Command c;
    c.cdb = h->cmdp;
    c.cdbLength = h->cmd_len;
    c.toDevice = h->dxfer_direction == SG_DXFER_TO_DEV;
    c.data = static_cast<uint8_t*>(h->dxferp);
    c.length = h->dxfer_direction == SG_DXFER_NONE ? 0 : h->dxfer_len;
    drive.execute(c, "SG_IO");
    h->status = c.good ? 0 : 0x02;
    h->masked_status = uint8_t(h->status >> 1);
    h->msg_status = 0;
    h->host_status = 0;
    h->driver_status = c.good ? 0 : 0x08; // DRIVER_SENSE
    h->sb_len_wr = 0;
    if (!c.good && h->sbp && h->mx_sb_len > 0) {
        uint8_t sense[18];
        c.sense.write(sense);
        h->sb_len_wr = uint8_t(std::min<int>(h->mx_sb_len, 18));
        std::memcpy(h->sbp, sense, h->sb_len_wr);
    }
    h->resid = c.toDevice ? 0 : int(h->dxfer_len) - int(c.transferred);
    if (h->dxfer_direction == SG_DXFER_NONE)
        h->resid = 0;
    h->duration = 0;
    h->info = c.good ? 0 : SG_INFO_CHECK;
    return 0;
}

int sendPacket(Drive& drive, cdrom_generic_command* g) {
    if (!g)
        return fail(EFAULT);
    Command c;
    c.cdb = g->cmd;
    c.cdbLength = CDROM_PACKET_SIZE;
    c.toDevice = g->data_direction == CGC_DATA_WRITE;
    c.data = g->buffer;
    c.length = g->data_direction == CGC_DATA_NONE ? 0 : g->buflen;
    drive.execute(c, "SEND_PACKET");
    if (c.good) {
        g->stat = 0;
        return 0;
    }
    if (g->sense) {
        uint8_t sense[18];
        c.sense.write(sense);
        std::memcpy(g->sense, sense, sizeof sense);
    }
    g->stat = 0x02;
    return fail(EIO);
}

} // namespace

int driveIoctl(Drive& drive, bool sgNode, unsigned long request, void* arg) {
    if (request == SG_IO)
        return sgIo(drive, static_cast<sg_io_hdr_t*>(arg));
    if (request == CDROM_SEND_PACKET)
        return sendPacket(drive, static_cast<cdrom_generic_command*>(arg));
    const char* name = ioctlName(request);
    char unknown[40];
    if (!name) {
        std::snprintf(unknown, sizeof unknown, "0x%lX", request);
        name = unknown;
    }
    Log::instance().line(drive.name(), "ioctl", name);
    Kernel k{drive};
    const DriveOptions& o = drive.options();
    switch (request) {
    case CDROMREADTOCHDR: {
        auto* h = static_cast<cdrom_tochdr*>(arg);
        uint8_t data[12] = {};
        if (!k.send({0x43, 0, 0, 0, 0, 0, 0, 0, 12}, data, sizeof data))
            return fail(k.error);
        h->cdth_trk0 = data[2];
        h->cdth_trk1 = data[3];
        return 0;
    }
    case CDROMREADTOCENTRY: {
        auto* e = static_cast<cdrom_tocentry*>(arg);
        uint8_t data[12] = {};
        if (e->cdte_format != CDROM_MSF && e->cdte_format != CDROM_LBA)
            return fail(EINVAL);
        if (!k.send({0x43, 0, 0, 0, 0, 0, e->cdte_track, 0, 12}, data, sizeof data))
            return fail(k.error == EIO ? EINVAL : k.error);
        if (data[6] != e->cdte_track)
            return fail(EINVAL);
        e->cdte_ctrl = data[5] & 0x0f;
        e->cdte_adr = data[5] >> 4;
        e->cdte_datamode = (e->cdte_ctrl & 0x04) ? 1 : 0;
        setAddress(e->cdte_addr, e->cdte_format, be32(data + 8));
        return 0;
    }
    case CDROMMULTISESSION: {
        auto* ms = static_cast<cdrom_multisession*>(arg);
        uint8_t data[12] = {};
        int lba = 0;
        if (k.send({0x43, 0, 1, 0, 0, 0, 0, 0, 12}, data, sizeof data) && data[3] > 1)
            lba = be32(data + 8);
        if (k.error == ENOMEDIUM)
            return fail(k.error);
        ms->xa_flag = lba > 0;
        setAddress(ms->addr, ms->addr_format, lba);
        return 0;
    }
    case CDROM_GET_MCN: {
        auto* mcn = static_cast<cdrom_mcn*>(arg);
        uint8_t data[24] = {};
        if (!k.send({0x42, 0, 0x40, 2, 0, 0, 0, 0, 24}, data, sizeof data))
            return fail(k.error);
        std::memcpy(mcn->medium_catalog_number, data + 9, 13);
        mcn->medium_catalog_number[13] = 0;
        return 0;
    }
    case CDROMSUBCHNL: {
        auto* s = static_cast<cdrom_subchnl*>(arg);
        uint8_t data[16] = {};
        const bool msf = s->cdsc_format == CDROM_MSF;
        if (!k.send({0x42, uint8_t(msf ? 2 : 0), 0x40, 1, 0, 0, 0, 0, 16}, data, sizeof data))
            return fail(k.error);
        s->cdsc_audiostatus = data[1];
        s->cdsc_adr = data[5] >> 4;
        s->cdsc_ctrl = data[5] & 0x0f;
        s->cdsc_trk = data[6];
        s->cdsc_ind = data[7];
        if (msf) {
            s->cdsc_absaddr.msf = {data[9], data[10], data[11]};
            s->cdsc_reladdr.msf = {data[13], data[14], data[15]};
        } else {
            s->cdsc_absaddr.lba = be32(data + 8);
            s->cdsc_reladdr.lba = be32(data + 12);
        }
        return 0;
    }
    case CDROMPLAYMSF: {
        auto* m = static_cast<cdrom_msf*>(arg);
        return k.run({0x47, 0, 0, m->cdmsf_min0, m->cdmsf_sec0, m->cdmsf_frame0, m->cdmsf_min1,
                      m->cdmsf_sec1, m->cdmsf_frame1});
    }
    case CDROMPLAYTRKIND: {
        auto* ti = static_cast<cdrom_ti*>(arg);
        uint8_t from[12] = {};
        uint8_t to[12] = {};
        if (!k.send({0x43, 0, 0, 0, 0, 0, ti->cdti_trk0, 0, 12}, from, sizeof from))
            return fail(k.error);
        if (!k.send({0x43, 0, 0, 0, 0, 0, uint8_t(ti->cdti_trk1 + 1), 0, 12}, to, sizeof to) &&
            !k.send({0x43, 0, 0, 0, 0, 0, 0xaa, 0, 12}, to, sizeof to))
            return fail(k.error);
        const int start = be32(from + 8);
        const int end = be32(to + 8);
        uint8_t a[3], b[3];
        lbaToMsf(start, a[0], a[1], a[2]);
        lbaToMsf(end, b[0], b[1], b[2]);
        return k.run({0x47, 0, 0, a[0], a[1], a[2], b[0], b[1], b[2]});
    }
    case CDROMPAUSE:
    case CDROMRESUME:
        return k.run({0x4b, 0, 0, 0, 0, 0, 0, 0, uint8_t(request == CDROMRESUME)});
    case CDROMSTOP:
        k.send({0x4e}, nullptr, 0);
        return k.run({0x1b, 0, 0, 0, 0});
    case CDROMSTART:
        return k.run({0x1b, 0, 0, 0, 1});
    case CDROMVOLREAD: {
        auto* v = static_cast<cdrom_volctrl*>(arg);
        v->channel0 = v->channel1 = 0xff;
        v->channel2 = v->channel3 = 0;
        return 0;
    }
    case CDROMVOLCTRL:
        return 0;
    case CDROMEJECT:
        // The kernel refuses while another opener has the drive, or it is locked.
        if (drive.opens != 1)
            return fail(EBUSY);
        k.send({0x1e, 0, 0, 0, 0}, nullptr, 0);
        return k.run({0x1b, 0, 0, 0, 2});
    case CDROMCLOSETRAY:
        return k.run({0x1b, 0, 0, 0, 3});
    case CDROMEJECT_SW:
    case CDROM_CLEAR_OPTIONS:
        return 0;
    case CDROM_SET_OPTIONS:
        return int(reinterpret_cast<long>(arg));
    case CDROM_CHANGER_NSLOTS:
        return 1;
    case CDROM_LOCKDOOR:
        return k.run({0x1e, 0, 0, 0, uint8_t(arg != nullptr)});
    case CDROM_SELECT_SPEED: {
        const long speed = reinterpret_cast<long>(arg);
        const int kbps = speed == 0 ? 0xffff : int(speed * 177);
        return k.run({0xbb, 0, uint8_t(kbps >> 8), uint8_t(kbps), 0xff, 0xff});
    }
    case CDROM_DRIVE_STATUS:
        switch (drive.tray()) {
        case Drive::Tray::Open:
            return CDS_TRAY_OPEN;
        case Drive::Tray::NoDisc:
            return CDS_NO_DISC;
        case Drive::Tray::NotReady:
            return CDS_DRIVE_NOT_READY;
        case Drive::Tray::DiscOk:
            return CDS_DISC_OK;
        }
        return CDS_NO_INFO;
    case CDROM_DISC_STATUS: {
        if (!drive.hasDisc())
            return CDS_NO_DISC;
        uint8_t data[804] = {};
        if (!k.send({0x43, 0, 0, 0, 0, 0, 0, uint8_t(sizeof data >> 8), uint8_t(sizeof data)}, data,
                    sizeof data))
            return CDS_NO_INFO;
        int audio = 0;
        int other = 0;
        const int length = (data[0] << 8 | data[1]) + 2;
        for (int at = 4; at + 8 <= length && at + 8 <= int(sizeof data); at += 8)
            if (data[at + 2] != 0xaa)
                ++((data[at + 1] & 0x04) ? other : audio);
        if (audio && other)
            return CDS_MIXED;
        return other ? CDS_DATA_1 : CDS_AUDIO;
    }
    case CDROM_MEDIA_CHANGED:
        return drive.takeMediaChanged() ? 1 : 0;
    case CDROM_GET_CAPABILITY: {
        int mask = CDC_CLOSE_TRAY | CDC_OPEN_TRAY | CDC_LOCK | CDC_SELECT_SPEED |
                   CDC_MULTI_SESSION | CDC_MCN | CDC_MEDIA_CHANGED | CDC_PLAY_AUDIO | CDC_RESET |
                   CDC_DRIVE_STATUS | CDC_GENERIC_PACKET;
        if (o.kind != DriveKind::Rom)
            mask |= CDC_CD_R;
        if (o.kind == DriveKind::CdRw)
            mask |= CDC_CD_RW;
        return mask;
    }
    case CDROMREADAUDIO: {
        auto* ra = static_cast<cdrom_read_audio*>(arg);
        if (ra->nframes < 1 || ra->nframes > CD_FRAMES ||
            (ra->addr_format != CDROM_MSF && ra->addr_format != CDROM_LBA))
            return fail(EINVAL);
        const int lba = fromAddress(ra->addr, ra->addr_format);
        const int n = ra->nframes;
        if (!k.send({0xbe, 0x04, uint8_t(lba >> 24), uint8_t(lba >> 16), uint8_t(lba >> 8),
                     uint8_t(lba), 0, 0, uint8_t(n), 0x10},
                    ra->buf, size_t(n) * CD_FRAMESIZE_RAW))
            return fail(k.error);
        return 0;
    }
    case CDROMREADMODE1:
    case CDROMREADRAW: {
        auto* m = static_cast<cdrom_msf*>(arg);
        const int lba = msfToLba(m->cdmsf_min0, m->cdmsf_sec0, m->cdmsf_frame0);
        const bool raw = request == CDROMREADRAW;
        std::vector<uint8_t> buffer(raw ? CD_FRAMESIZE_RAW : CD_FRAMESIZE);
        if (!k.send({0xbe, uint8_t(raw ? 0 : 0x08), uint8_t(lba >> 24), uint8_t(lba >> 16),
                     uint8_t(lba >> 8), uint8_t(lba), 0, 0, 1, uint8_t(raw ? 0xf8 : 0x10)},
                    buffer.data(), buffer.size()))
            return fail(k.error);
        std::memcpy(arg, buffer.data(), buffer.size());
        return 0;
    }
    case DVD_READ_STRUCT:
        return fail(ENOSYS); // a CD drive
    case SG_GET_VERSION_NUM:
        *static_cast<int*>(arg) = kSgVersion;
        return 0;
    case SG_GET_SCSI_ID: {
        if (!sgNode)
            return fail(ENOTTY); // only the sg driver knows it
        auto* id = static_cast<struct sg_scsi_id*>(arg);
        std::memset(id, 0, sizeof *id);
        id->host_no = o.host;
        id->channel = o.channel;
        id->scsi_id = o.target;
        id->lun = o.lun;
        id->scsi_type = 5;
        id->h_cmd_per_lun = 1;
        id->d_queue_depth = 1;
        return 0;
    }
    case SG_EMULATED_HOST:
        *static_cast<int*>(arg) = 0;
        return 0;
    case SG_GET_TIMEOUT:
        return 60 * 100;
    case SG_SET_TIMEOUT:
    case SG_SET_RESERVED_SIZE:
        return 0;
    case SG_GET_RESERVED_SIZE:
        *static_cast<int*>(arg) = 32768;
        return 0;
    case SCSI_IOCTL_GET_IDLUN: {
        auto* idlun = static_cast<int*>(arg);
        idlun[0] = (o.target & 0xff) | (o.lun & 0xff) << 8 | (o.channel & 0xff) << 16 |
                   (o.host & 0xff) << 24;
        idlun[1] = o.host;
        return 0;
    }
    case SCSI_IOCTL_GET_BUS_NUMBER:
        *static_cast<int*>(arg) = o.host;
        return 0;
    case BLKGETSIZE:
        *static_cast<unsigned long*>(arg) = static_cast<unsigned long>(driveSize(drive) / 512);
        return 0;
    case BLKGETSIZE64:
        *static_cast<uint64_t*>(arg) = uint64_t(driveSize(drive));
        return 0;
    case BLKSSZGET:
    case BLKBSZGET:
        *static_cast<int*>(arg) = 2048;
        return 0;
    case BLKROGET:
        *static_cast<int*>(arg) = 0;
        return 0;
    case BLKFLSBUF:
        return 0;
    case BLKRRPART:
        return fail(EINVAL);
    default:
        return fail(ENOTTY);
    }
}

long long driveSize(Drive& drive) {
    if (!drive.hasDisc())
        return 0;
    Kernel k{drive};
    uint8_t data[8] = {};
    if (!k.send({0x25}, data, sizeof data))
        return 0;
    const long long last = be32(data);
    return (last + 1) * 2048;
}

ssize_t driveRead(Drive& drive, long long& position, void* buffer, size_t size) {
    Kernel k{drive};
    size_t done = 0;
    uint8_t block[2048];
    while (done < size) {
        const int lba = int(position / 2048);
        const size_t skip = size_t(position % 2048);
        if (!k.send({0x28, 0, uint8_t(lba >> 24), uint8_t(lba >> 16), uint8_t(lba >> 8),
                     uint8_t(lba), 0, 0, 1},
                    block, sizeof block)) {
            if (done > 0)
                break;
            return fail(k.error);
        }
        const size_t n = std::min(size - done, sizeof block - skip);
        std::memcpy(static_cast<uint8_t*>(buffer) + done, block + skip, n);
        done += n;
        position += static_cast<long long>(n);
    }
    return ssize_t(done);
}

} // namespace vdrive
