#include "host/LocalPath.h"

#include <vector>

namespace NS_LocalPath {

struct PathPieces {
    bool m_bAbsolute = false;
    std::vector<std::string> m_items;
};

PathPieces split(std::string const& path) {
    PathPieces parts;
    parts.m_bAbsolute = !path.empty() && path[0] == '/';
    std::string item;
    for (char c : path) {
        if (c == '/') {
            if (!item.empty() && item != ".") parts.m_items.push_back(item);
            item.clear();
        } else {
            item += c;
        }
    }
    if (!item.empty() && item != ".") parts.m_items.push_back(item);
    return parts;
}

std::string join(PathPieces const& parts, size_t from, size_t to, bool absolute) {
    std::string out = absolute ? "/" : "";
    for (size_t i = from; i < to; ++i) {
        if (i > from) out += '/';
        out += parts.m_items[i];
    }
    return out;
}

bool isDigits(std::string const& text, size_t from) {
    if (from >= text.size()) return false;
    for (size_t i = from; i < text.size(); ++i)
        if (text[i] < '0' || text[i] > '9') return false;
    return true;
}

// Position of the disk letters in a name like "sdb2"; npos if not a disk name.
size_t letterStart(std::string const& name) {
    static char const* const kPrefixes[] = {"xvd", "sd", "hd", "vd"};
    for (char const* prefix : kPrefixes) {
        std::string head(prefix);
        if (name.compare(0, head.size(), head) != 0) continue;
        size_t pos = head.size();
        size_t letters = pos;
        while (letters < name.size() && name[letters] >= 'a' && name[letters] <= 'z') ++letters;
        if (letters == pos) return std::string::npos;
        if (letters < name.size() && !isDigits(name, letters)) return std::string::npos;
        return pos;
    }
    return std::string::npos;
}

bool isMmc(std::string const& name) {
    static std::string const kPrefix = "mmcblk";
    if (name.compare(0, kPrefix.size(), kPrefix) != 0) return false;
    size_t p = name.find('p', kPrefix.size());
    if (p == std::string::npos) return isDigits(name, kPrefix.size());
    return isDigits(name.substr(0, p), kPrefix.size()) && isDigits(name, p + 1);
}

bool isDeviceName(std::string const& name) {
    return letterStart(name) != std::string::npos || isMmc(name);
}

std::string findDevice(PathPieces const& parts, size_t& index) {
    for (index = 0; index < parts.m_items.size(); ++index)
        if (isDeviceName(parts.m_items[index])) return parts.m_items[index];
    return std::string();
}

}  // namespace NS_LocalPath

bool LocalPath::create(std::string const& path) {
    using namespace NS_LocalPath;
    if (path.empty()) return false;
    PathPieces parts = split(path);
    size_t index = 0;
    std::string device = findDevice(parts, index);
    m_strDeviceName = device;
    if (device.empty()) {
        m_strDiskPath = join(parts, 0, parts.m_items.size(), parts.m_bAbsolute);
        m_strRest.clear();
    } else {
        m_strDiskPath = join(parts, 0, index + 1, parts.m_bAbsolute);
        m_strRest = join(parts, index + 1, parts.m_items.size(), false);
    }
    return true;
}

std::string LocalPath::toString() const {
    if (m_strRest.empty()) return m_strDiskPath;
    if (m_strDiskPath.empty() || m_strDiskPath == "/") return m_strDiskPath + m_strRest;
    return m_strDiskPath + "/" + m_strRest;
}

void LocalPath::setDiskPath(std::string const& diskPath) {
    using namespace NS_LocalPath;
    PathPieces parts = split(diskPath);
    m_strDiskPath = join(parts, 0, parts.m_items.size(), parts.m_bAbsolute);
    size_t index = 0;
    m_strDeviceName = findDevice(parts, index);
}

int LocalPath::getDiskIndex() const {
    using namespace NS_LocalPath;
    std::string const& name = m_strDeviceName;
    if (name.empty()) return -1;
    if (isMmc(name)) {
        size_t end = name.find('p', 6);
        std::string number = name.substr(6, end == std::string::npos ? std::string::npos : end - 6);
        return number.size() > 6 ? -1 : std::stoi(number);
    }
    size_t pos = letterStart(name);
    if (pos == std::string::npos) return -1;
    long index = 0;
    for (size_t i = pos; i < name.size() && name[i] >= 'a' && name[i] <= 'z'; ++i) {
        index = index * 26 + (name[i] - 'a' + 1);
        if (index > 1000000) return -1;
    }
    return static_cast<int>(index - 1);
}

int LocalPath::getPartitionNumber() const {
    std::string const& name = m_strDeviceName;
    if (name.empty()) return 0;
    size_t end = name.size();
    size_t start = end;
    while (start > 0 && name[start - 1] >= '0' && name[start - 1] <= '9') --start;
    if (start == end || end - start > 6) return 0;
    if (NS_LocalPath::isMmc(name) && name.find('p', 6) == std::string::npos) return 0;
    return std::stoi(name.substr(start));
}

std::string LocalPath::getDiskAlarmDescription(std::string const& path) {
    LocalPath local;
    std::string description = "disk";
    if (local.create(path)) description += local.getDeviceName();
    return description;
}
