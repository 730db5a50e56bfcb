#include "Nodes.h"

#include "Libc.h"
#include "Log.h"
#include "Options.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/mman.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <unordered_map>

namespace vdrive {
namespace {

constexpr int kMaxFd = 65536;
std::atomic<bool> g_ours[kMaxFd];

class Registry {
public:
    std::vector<std::unique_ptr<Drive>> drives;
    std::mutex mutex;
    std::unordered_map<int, OpenNode> open;

    Registry() {
        const char* spec = std::getenv("VIRTUAL_DRIVE");
        if (!spec || !*spec)
            return;
        std::vector<DriveOptions> options;
        std::string error;
        if (!parseDrives(spec, options, error))
            die("VIRTUAL_DRIVE: " + error);
        for (const DriveOptions& o : options) {
            auto drive = std::make_unique<Drive>(o, error);
            if (!error.empty())
                die(o.node + ": " + error);
            drives.push_back(std::move(drive));
        }
    }

    [[noreturn]] static void die(const std::string& why) {
        const std::string text = "virtual drive: " + why + "\n";
        libc().write(2, text.data(), text.size());
        _exit(98);
    }

    Drive* find(const char* path) {
        if (!path)
            return nullptr;
        for (auto& d : drives)
            if (d->options().node == path)
                return d.get();
        return nullptr;
    }

    // A device number of its own: the sr major and the node's number where it has one.
    dev_t rdev(const Drive& d) const {
        const std::string& n = d.name();
        int minor = 200 + index(d);
        if (n.rfind("sr", 0) == 0 && n.size() > 2 &&
            n.find_first_not_of("0123456789", 2) == std::string::npos)
            minor = std::atoi(n.c_str() + 2);
        return makedev(11, unsigned(minor));
    }

    int index(const Drive& d) const {
        for (size_t i = 0; i < drives.size(); ++i)
            if (drives[i].get() == &d)
                return int(i);
        return 0;
    }

    void fill(const Drive& d, struct stat* st) const {
        std::memset(st, 0, sizeof *st);
        st->st_dev = makedev(0, 5);
        st->st_ino = ino_t(0x7d000 + index(d));
        st->st_mode = S_IFBLK | 0660;
        st->st_nlink = 1;
        st->st_uid = 0;
        st->st_gid = getgid();
        st->st_rdev = rdev(d);
        st->st_blksize = 2048;
    }

    // The SCSI device folder sysfs shows for the drive.
    std::string sysDevice(const Drive& d) const {
        const DriveOptions& o = d.options();
        const std::string hctl = std::to_string(o.host) + ":" + std::to_string(o.channel) + ":" +
                                 std::to_string(o.target);
        return "/sys/devices/virtual-drive/host" + std::to_string(o.host) + "/target" + hctl + "/" +
               hctl + ":" + std::to_string(o.lun);
    }

    // What a sysfs path of a drive resolves to; empty for any other path.
    std::string sysPath(const std::string& p) const {
        for (auto& d : drives) {
            for (const char* root : {"/sys/class/block/", "/sys/block/"}) {
                const std::string dir = root + d->name();
                if (p == dir)
                    return sysDevice(*d) + "/block/" + d->name();
                if (p == dir + "/device")
                    return sysDevice(*d);
            }
            if (p == sysDevice(*d))
                return p;
        }
        return {};
    }
};

std::atomic<Registry*> g_registry{nullptr};
thread_local bool t_starting = false;

Registry* registry() {
    Registry* r = g_registry.load(std::memory_order_acquire);
    if (r || t_starting)
        return r;
    static std::once_flag once;
    t_starting = true;
    std::call_once(once, [] { g_registry.store(new Registry(), std::memory_order_release); });
    t_starting = false;
    return g_registry.load(std::memory_order_acquire);
}

} // namespace

bool ours(int fd) {
    return fd >= 0 && fd < kMaxFd && g_ours[fd].load(std::memory_order_acquire);
}

void fillStat(const Drive& drive, struct stat* st) {
    registry()->fill(drive, st);
}

Drive* driveAt(const char* path) {
    if (!path || std::strncmp(path, "/dev/", 5) != 0)
        return nullptr;
    Registry* r = registry();
    return r ? r->find(path) : nullptr;
}

int openNode(Drive& drive, const char* path, int flags) {
    Registry* r = registry();
    const bool nonBlocking = flags & O_NONBLOCK;
    const bool writing = (flags & O_ACCMODE) != O_RDONLY;
    const bool exclusive = flags & O_EXCL;
    std::string note = std::string(path) + (writing ? " rw" : " ro") + (exclusive ? " excl" : "") +
                       (nonBlocking ? " nonblock" : "");
    int error = 0;
    {
        std::lock_guard lock(r->mutex);
        // As the sr driver: one exclusive opener; without O_NONBLOCK a disc is needed and
        // writing is refused.
        if (exclusive && drive.exclusiveOpens > 0)
            error = EBUSY;
        else if (!nonBlocking && !drive.hasDisc())
            error = ENOMEDIUM;
        else if (!nonBlocking && writing)
            error = EROFS;
    }
    if (error) {
        Log::instance().line(drive.name(), "call", "open", note + " -> " + std::strerror(error));
        errno = error;
        return -1;
    }
    const int fd = memfd_create("virtual-drive", (flags & O_CLOEXEC) ? MFD_CLOEXEC : 0);
    if (fd < 0 || fd >= kMaxFd) {
        if (fd >= 0)
            libc().close(fd);
        errno = EMFILE;
        return -1;
    }
    {
        std::lock_guard lock(r->mutex);
        OpenNode n;
        n.drive = &drive;
        n.exclusive = exclusive;
        r->open[fd] = n;
        ++drive.opens;
        drive.exclusiveOpens += exclusive ? 1 : 0;
        g_ours[fd].store(true, std::memory_order_release);
    }
    Log::instance().line(drive.name(), "call", "open", note + " -> fd " + std::to_string(fd));
    return fd;
}

OpenNode* nodeOf(int fd) {
    if (!ours(fd))
        return nullptr;
    Registry* r = registry();
    std::lock_guard lock(r->mutex);
    const auto it = r->open.find(fd);
    return it == r->open.end() ? nullptr : &it->second;
}

void forgetNode(int fd) {
    Registry* r = registry();
    std::lock_guard lock(r->mutex);
    const auto it = r->open.find(fd);
    if (it == r->open.end())
        return;
    --it->second.drive->opens;
    it->second.drive->exclusiveOpens -= it->second.exclusive ? 1 : 0;
    Log::instance().line(it->second.drive->name(), "call", "close", "fd " + std::to_string(fd));
    r->open.erase(it);
    g_ours[fd].store(false, std::memory_order_release);
}

// The canonical name of a virtual path, or empty when it is not one.
std::string canonicalPath(const char* path) {
    if (driveAt(path))
        return path;
    if (!path || std::strncmp(path, "/sys/", 5) != 0)
        return {};
    Registry* r = registry();
    return r ? r->sysPath(path) : std::string();
}

} // namespace vdrive
