#include "host/NetPath.h"

#include "host/HostPaths.h"

namespace NS_NetPath {

std::string flatten(std::string share) {
    while (!share.empty() && share.front() == '/') share.erase(0, 1);
    for (char& c : share)
        if (c == '/') c = '_';
    return share;
}

}  // namespace NS_NetPath

bool NetPath::create(std::string const& path) {
    using namespace NS_NetPath;
    std::string server;
    std::string share;
    std::string sub;
    std::string mount;
    if (path.compare(0, 2, "//") == 0) {
        std::string rest = path.substr(2);
        size_t slash = rest.find('/');
        if (slash == std::string::npos) return false;
        server = rest.substr(0, slash);
        rest = rest.substr(slash + 1);
        slash = rest.find('/');
        share = rest.substr(0, slash);
        if (slash != std::string::npos) sub = NetPath::normalise(rest.substr(slash + 1));
        while (!sub.empty() && sub.front() == '/') sub.erase(0, 1);
        if (server.empty() || share.empty()) return false;
    } else if (!path.empty() && path[0] == '/') {
        mount = NetPath::normalise(path);
    } else {
        size_t colon = path.find(':');
        if (colon == std::string::npos || colon == 0 || colon + 1 >= path.size() ||
            path[colon + 1] != '/')
            return false;
        server = path.substr(0, colon);
        share = NetPath::normalise(path.substr(colon + 1));
        if (share == "/") return false;
    }
    if (mount.empty()) mount = HostPaths::getRoot() + "/mnt/nas/" + server + "/" + flatten(share);
    m_strServer = server;
    m_strShare = share;
    m_strSubPath = sub;
    m_strMountPath = mount;
    return true;
}

std::string NetPath::toString() const {
    if (m_strSubPath.empty()) return m_strMountPath;
    return m_strMountPath + "/" + m_strSubPath;
}

std::string NetPath::normalise(std::string const& path) {
    std::string out;
    for (char c : path) {
        if (c == '/' && !out.empty() && out.back() == '/') continue;
        out += c;
    }
    while (out.size() > 1 && out.back() == '/') out.pop_back();
    return out;
}
