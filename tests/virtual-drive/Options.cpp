#include "Options.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace vdrive {
namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, separator))
        parts.push_back(part);
    if (!text.empty() && text.back() == separator)
        parts.emplace_back();
    return parts;
}

bool toInt(const std::string& text, long long& value) {
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtoll(text.c_str(), &end, 10);
    return end && *end == 0;
}

bool toDouble(const std::string& text, double& value) {
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end && *end == 0 && value >= 0;
}

bool toBool(const std::string& text, bool& value) {
    if (text == "1" || text == "yes" || text == "on") {
        value = true;
        return true;
    }
    if (text == "0" || text == "no" || text == "off") {
        value = false;
        return true;
    }
    return false;
}

// "A-B" or "A-B/N"; a single "A" is the range A-A.
bool toRange(const std::string& text, FaultRange& range) {
    std::string span = text;
    long long times = 0;
    const auto slash = text.find('/');
    if (slash != std::string::npos) {
        span = text.substr(0, slash);
        if (!toInt(text.substr(slash + 1), times) || times < 0)
            return false;
    }
    long long first = 0;
    long long last = 0;
    const auto dash = span.find('-', 1);
    if (dash == std::string::npos) {
        if (!toInt(span, first))
            return false;
        last = first;
    } else if (!toInt(span.substr(0, dash), first) || !toInt(span.substr(dash + 1), last)) {
        return false;
    }
    if (last < first)
        return false;
    range = {int(first), int(last), int(times)};
    return true;
}

bool setOption(DriveOptions& d, const std::string& key, const std::string& value) {
    long long n = 0;
    double f = 0;
    if (key == "vendor" && value.size() <= 8) {
        d.vendor = value;
    } else if (key == "product" && value.size() <= 16) {
        d.product = value;
    } else if (key == "revision" && value.size() <= 4) {
        d.revision = value;
    } else if (key == "kind") {
        if (value == "cdrw")
            d.kind = DriveKind::CdRw;
        else if (value == "cdr")
            d.kind = DriveKind::CdR;
        else if (value == "rom")
            d.kind = DriveKind::Rom;
        else
            return false;
    } else if (key == "speeds") {
        d.writeSpeeds.clear();
        for (const std::string& s : split(value, '/')) {
            if (!toInt(s, n) || n <= 0 || n > 100)
                return false;
            d.writeSpeeds.push_back(int(n));
        }
        std::sort(d.writeSpeeds.begin(), d.writeSpeeds.end());
        d.writeSpeeds.erase(std::unique(d.writeSpeeds.begin(), d.writeSpeeds.end()),
                            d.writeSpeeds.end());
    } else if (key == "read" && toInt(value, n) && n > 0 && n <= 100) {
        d.readSpeed = int(n);
    } else if (key == "buffer" && toInt(value, n) && n > 0 && n <= 65535) {
        d.bufferKb = int(n);
    } else if (key == "burnproof") {
        return toBool(value, d.burnProof);
    } else if (key == "testwrite") {
        return toBool(value, d.testWrite);
    } else if (key == "c2") {
        return toBool(value, d.c2);
    } else if (key == "modes") {
        d.sao = d.tao = false;
        for (const std::string& m : split(value, '/')) {
            if (m == "sao")
                d.sao = true;
            else if (m == "tao")
                d.tao = true;
            else
                return false;
        }
    } else if (key == "offset" && toInt(value, n) && n > -100000 && n < 100000) {
        d.offset = int(n);
    } else if (key == "overread") {
        return toBool(value, d.overread);
    } else if (key == "spinup" && toDouble(value, f)) {
        d.spinup = f;
    } else if (key == "idle" && toDouble(value, f)) {
        d.idle = f;
    } else if (key == "timescale" && toDouble(value, f)) {
        d.timescale = f;
    } else if (key == "seek" && toDouble(value, f)) {
        d.seekMs = f;
    } else if (key == "cache" && toInt(value, n) && n >= 0 && n <= 100000) {
        d.cacheSectors = int(n);
    } else if (key == "address") {
        const std::vector<std::string> parts = split(value, '.');
        long long a[4] = {};
        if (parts.size() != 4)
            return false;
        for (int i = 0; i < 4; ++i)
            if (!toInt(parts[size_t(i)], a[i]) || a[i] < 0 || a[i] > 255)
                return false;
        d.host = int(a[0]);
        d.channel = int(a[1]);
        d.target = int(a[2]);
        d.lun = int(a[3]);
    } else if (key == "media") {
        if (value == "rom")
            d.media = MediaKind::Rom;
        else if (value == "cdr")
            d.media = MediaKind::CdR;
        else if (value == "cdrw")
            d.media = MediaKind::CdRw;
        else
            return false;
    } else if (key == "state") {
        if (value != "complete" && value != "appendable")
            return false;
        d.appendable = value == "appendable";
    } else if (key == "size" && toInt(value, n) && n >= 10 && n <= 99) {
        d.minutes = int(n);
    } else if (key == "tray") {
        if (value != "open" && value != "closed")
            return false;
        d.trayOpen = value == "open";
    } else if (key == "bad" || key == "jitter") {
        FaultRange r;
        if (!toRange(value, r))
            return false;
        (key == "bad" ? d.bad : d.jitter).push_back(r);
    } else if (key == "remove" && toInt(value, n) && n >= 0) {
        d.removeAfter = n;
    } else if (key == "writeerror" && toInt(value, n)) {
        d.writeErrorAt = int(n);
    } else if (key == "underrun" && toInt(value, n)) {
        d.underrunAt = int(n);
    } else {
        return false;
    }
    return true;
}

} // namespace

bool parseDrive(const std::string& text, DriveOptions& d, std::string& error) {
    const auto firstColon = text.find(':');
    if (firstColon == std::string::npos || firstColon == 0 || text[0] != '/') {
        error = "'" + text + "' is not NODE:DISC[:OPTIONS] with an absolute NODE";
        return false;
    }
    d.node = text.substr(0, firstColon);
    std::string rest = text.substr(firstColon + 1);
    std::string options;
    const auto secondColon = rest.find(':');
    if (secondColon != std::string::npos) {
        options = rest.substr(secondColon + 1);
        rest = rest.substr(0, secondColon);
    }
    if (rest == "none") {
        d.disc = DiscKind::None;
    } else if (rest == "blank-cdr") {
        d.disc = DiscKind::BlankCdR;
    } else if (rest == "blank-cdrw") {
        d.disc = DiscKind::BlankCdRw;
    } else if (rest.rfind("cue=", 0) == 0 && rest.size() > 4) {
        d.disc = DiscKind::Cue;
        d.cuePath = rest.substr(4);
    } else {
        error = "unknown disc '" + rest + "' (blank-cdr, blank-cdrw, none or cue=PATH)";
        return false;
    }
    if (!options.empty()) {
        for (const std::string& option : split(options, ',')) {
            const auto eq = option.find('=');
            if (eq == std::string::npos ||
                !setOption(d, option.substr(0, eq), option.substr(eq + 1))) {
                error = "bad option '" + option + "' for " + d.node;
                return false;
            }
        }
    }
    if (d.writeSpeeds.empty()) {
        error = "no write speeds for " + d.node;
        return false;
    }
    return true;
}

bool parseDrives(const std::string& text, std::vector<DriveOptions>& drives, std::string& error) {
    drives.clear();
    for (const std::string& item : split(text, ';')) {
        if (item.empty())
            continue;
        DriveOptions d;
        if (!parseDrive(item, d, error))
            return false;
        for (const DriveOptions& other : drives)
            if (other.node == d.node) {
                error = d.node + " is listed twice";
                return false;
            }
        if (d.host < 0)
            d.host = 100 + int(drives.size());
        drives.push_back(d);
    }
    return true;
}

} // namespace vdrive
