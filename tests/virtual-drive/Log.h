#pragma once

// One line per system call, ioctl or command the drives see, appended to VIRTUAL_DRIVE_LOG:
//   SECONDS PID NODE VIA NAME: [details] [-> outcome]
// SECONDS counts from the moment the process first used a drive (three decimals), so the log
// shows how long each command held the program up.
// VIA says who issued it: "call" (open, close), "ioctl" (a Linux ioctl), "SG_IO" and
// "SEND_PACKET" (an MMC command from the program), "kernel" (a command the kernel's CD driver
// would send to answer an ioctl); "model" lines tell what the drive did (a session closed, a
// fault, a disc saved). Counting the lines by their text before the colon gives how often each
// call and command was issued. Lines are written whole, so several processes may share a
// file.

#include <chrono>
#include <string>

namespace vdrive {

class Log {
public:
    static Log& instance();
    void line(const std::string& node, const char* via, const std::string& name,
              const std::string& details = {});
    bool enabled() const { return m_fd >= 0; }

private:
    Log();
    int m_fd = -1;
    std::chrono::steady_clock::time_point m_start;
};

} // namespace vdrive
