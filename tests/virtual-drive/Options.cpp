#include "Options.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <functional>
#include <map>
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

bool toInt(const std::string& text, long long min, long long max, long long& value) {
    char* end = nullptr;
    value = std::strtoll(text.c_str(), &end, 10);
    return !text.empty() && *end == 0 && value >= min && value <= max;
}

// Whole numbers in [min, max] separated by separator.
bool toInts(const std::string& text, char separator, int min, int max, std::vector<int>& out) {
    out.clear();
    for (const std::string& part : split(text, separator)) {
        long long n = 0;
        if (!toInt(part, min, max, n))
            return false;
        out.push_back(int(n));
    }
    return true;
}

// Sets one option from its text; false when the text is not valid for it.
using Setter = std::function<bool(DriveOptions&, const std::string&)>;

Setter number(int DriveOptions::*field, int min, int max) {
    return [=](DriveOptions& d, const std::string& value) {
        long long n = 0;
        if (!toInt(value, min, max, n))
            return false;
        d.*field = int(n);
        return true;
    };
}

Setter seconds(double DriveOptions::*field) {
    return [=](DriveOptions& d, const std::string& value) {
        char* end = nullptr;
        const double f = std::strtod(value.c_str(), &end);
        if (value.empty() || *end != 0 || f < 0)
            return false;
        d.*field = f;
        return true;
    };
}

Setter text(std::string DriveOptions::*field, size_t max) {
    return [=](DriveOptions& d, const std::string& value) {
        d.*field = value;
        return value.size() <= max;
    };
}

// One of names, stored as its place in the list (an enum's or a bool's value).
template <typename T> Setter oneOf(T DriveOptions::*field, std::vector<std::string> names) {
    return [=](DriveOptions& d, const std::string& value) {
        const auto it = std::find(names.begin(), names.end(), value);
        d.*field = T(it - names.begin());
        return it != names.end();
    };
}

// "A-B" or "A-B/N", added to the list.
Setter faults(std::vector<FaultRange> DriveOptions::*field) {
    return [=](DriveOptions& d, const std::string& value) {
        const auto slash = value.find('/');
        const std::string span = value.substr(0, slash);
        const auto dash = span.find('-', 1);
        long long first = 0, last = 0, times = 0;
        if (dash == std::string::npos || !toInt(span.substr(0, dash), INT_MIN, INT_MAX, first) ||
            !toInt(span.substr(dash + 1), first, INT_MAX, last) ||
            (slash != std::string::npos && !toInt(value.substr(slash + 1), 0, INT_MAX, times)))
            return false;
        (d.*field).push_back({int(first), int(last), int(times)});
        return true;
    };
}

bool setOption(DriveOptions& d, const std::string& key, const std::string& value) {
    using O = DriveOptions;
    static const std::map<std::string, Setter> setters = {
        {"vendor", text(&O::vendor, 8)},
        {"product", text(&O::product, 16)},
        {"revision", text(&O::revision, 4)},
        {"kind", oneOf(&O::kind, {"cdrw", "cdr", "rom"})},
        {"speeds",
         [](O& o, const std::string& v) {
             if (!toInts(v, '/', 1, 100, o.writeSpeeds))
                 return false;
             std::sort(o.writeSpeeds.begin(), o.writeSpeeds.end());
             o.writeSpeeds.erase(std::unique(o.writeSpeeds.begin(), o.writeSpeeds.end()),
                                 o.writeSpeeds.end());
             return true;
         }},
        {"read", number(&O::readSpeed, 1, 100)},
        {"buffer", number(&O::bufferKb, 1, 65535)},
        {"burnproof", oneOf(&O::burnProof, {"0", "1"})},
        {"testwrite", oneOf(&O::testWrite, {"0", "1"})},
        {"modes",
         [](O& o, const std::string& v) {
             const std::vector<std::string> modes = split(v, '/');
             o.sao = std::count(modes.begin(), modes.end(), "sao") > 0;
             o.tao = std::count(modes.begin(), modes.end(), "tao") > 0;
             return size_t(o.sao + o.tao) == modes.size();
         }},
        {"offset", number(&O::offset, -99999, 99999)},
        {"spinup", seconds(&O::spinup)},
        {"idle", seconds(&O::idle)},
        {"timescale", seconds(&O::timescale)},
        {"cache", number(&O::cacheSectors, 0, 100000)},
        {"address",
         [](O& o, const std::string& v) {
             std::vector<int> a;
             if (!toInts(v, '.', 0, 255, a) || a.size() != 4)
                 return false;
             o.host = a[0];
             o.channel = a[1];
             o.target = a[2];
             o.lun = a[3];
             return true;
         }},
        {"media", oneOf(&O::media, {"rom", "cdr", "cdrw"})},
        {"state", oneOf(&O::appendable, {"complete", "appendable"})},
        {"size", number(&O::minutes, 10, 99)},
        {"tray", oneOf(&O::trayOpen, {"closed", "open"})},
        {"bad", faults(&O::bad)},
        {"jitter", faults(&O::jitter)},
        {"remove", number(&O::removeAfter, 0, INT_MAX)},
        {"writeerror", number(&O::writeErrorAt, INT_MIN, INT_MAX)},
        {"underrun", number(&O::underrunAt, INT_MIN, INT_MAX)},
    };
    const auto it = setters.find(key);
    return it != setters.end() && it->second(d, value);
}

} // namespace

bool parseDrive(const std::string& text, DriveOptions& d, std::string& error) {
    const std::vector<std::string> parts = split(text, ':');
    if (parts.size() < 2 || parts.size() > 3 || parts[0].size() < 2 || parts[0][0] != '/') {
        error = "'" + text + "' is not NODE:DISC[:OPTIONS] with an absolute NODE";
        return false;
    }
    d.node = parts[0];
    const std::string& disc = parts[1];
    if (disc.rfind("cue=", 0) == 0 && disc.size() > 4) {
        d.disc = DiscKind::Cue;
        d.cuePath = disc.substr(4);
    } else if (!oneOf(&DriveOptions::disc, {"none", "blank-cdr", "blank-cdrw"})(d, disc)) {
        error = "unknown disc '" + disc + "' (blank-cdr, blank-cdrw, none or cue=PATH)";
        return false;
    }
    for (const std::string& option : split(parts.size() == 3 ? parts[2] : "", ',')) {
        const auto eq = option.find('=');
        if (eq == std::string::npos || !setOption(d, option.substr(0, eq), option.substr(eq + 1))) {
            error = "bad option '" + option + "' for " + d.node;
            return false;
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
