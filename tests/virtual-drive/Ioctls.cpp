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

void setAddress(cdrom_addr& address, int format, int lba) {
    if (format == CDROM_MSF)
        lbaToMsf(lba, address.msf.minute, address.msf.second, address.msf.frame);
    else
        address.lba = lba;
}

// The ioctls a log line names; others appear as numbers.
#define NAMED(request)                                                                             \
    { request, #request }
const std::pair<unsigned long, const char*> kIoctlNames[] = {
    NAMED(CDROMREADTOCHDR),   NAMED(CDROMREADTOCENTRY),    NAMED(CDROMMULTISESSION),
    NAMED(CDROM_GET_MCN),     NAMED(CDROMSUBCHNL),         NAMED(CDROMVOLREAD),
    NAMED(CDROMEJECT),        NAMED(CDROM_SELECT_SPEED),   NAMED(CDROM_DRIVE_STATUS),
    NAMED(CDROM_DISC_STATUS), NAMED(CDROM_GET_CAPABILITY), NAMED(DVD_READ_STRUCT),
    NAMED(SG_GET_SCSI_ID),    NAMED(SCSI_IOCTL_GET_IDLUN), NAMED(SCSI_IOCTL_GET_BUS_NUMBER),
    NAMED(BLKRRPART),         NAMED(HDIO_GET_IDENTITY),
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

int driveIoctl(Drive& drive, unsigned long request, void* arg) {
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
    case CDROMVOLREAD: {
        auto* v = static_cast<cdrom_volctrl*>(arg);
        v->channel0 = v->channel1 = 0xff;
        v->channel2 = v->channel3 = 0;
        return 0;
    }
    case CDROMEJECT:
        // The kernel refuses while another opener has the drive, or it is locked.
        if (drive.opens != 1)
            return fail(EBUSY);
        k.send({0x1e, 0, 0, 0, 0}, nullptr, 0);
        return k.run({0x1b, 0, 0, 0, 2});
    case CDROM_SELECT_SPEED: {
        const long speed = reinterpret_cast<long>(arg);
        const int kbps = speed == 0 ? 0xffff : int(speed * 177);
        return k.run({0xbb, 0, uint8_t(kbps >> 8), uint8_t(kbps), 0xff, 0xff});
    }
    case CDROM_DRIVE_STATUS: {
        // In the order of Drive::Tray.
        static const int status[] = {CDS_DISC_OK, CDS_NO_DISC, CDS_TRAY_OPEN, CDS_DRIVE_NOT_READY};
        return status[int(drive.tray())];
    }
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
    case DVD_READ_STRUCT:
        return fail(ENOSYS); // a CD drive
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
    case BLKRRPART:
        return fail(EINVAL);
    default:
        return fail(ENOTTY);
    }
}

} // namespace vdrive
