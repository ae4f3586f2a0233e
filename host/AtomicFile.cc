#include "host/AtomicFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "host/DiskManager.h"

namespace NS_AtomicFile {

bool writeAll(int fd, std::string const& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t put = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (put < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (put == 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

}  // namespace NS_AtomicFile

bool AtomicFile::write(std::string const& path, std::string const& bytes) {
    if (path.empty()) return false;
    std::string temp = path + ".tmp";
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    bool ok = NS_AtomicFile::writeAll(fd, bytes) && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (ok) ok = ::rename(temp.c_str(), path.c_str()) == 0;
    if (!ok) {
        ::unlink(temp.c_str());
        return false;
    }
    DiskManager::syncParentOf(path.c_str());
    return true;
}

bool AtomicFile::read(std::string const& path, std::string& bytes) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    std::string out;
    char buffer[8192];
    while (true) {
        ssize_t got = ::read(fd, buffer, sizeof(buffer));
        if (got < 0) {
            if (errno == EINTR) continue;
            ::close(fd);
            return false;
        }
        if (got == 0) break;
        out.append(buffer, static_cast<size_t>(got));
    }
    ::close(fd);
    bytes.swap(out);
    return true;
}
