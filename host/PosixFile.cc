#include "host/PosixFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "host/DiskManager.h"

static_assert(sizeof(off_t) == 8, "record files need 64-bit offsets (_FILE_OFFSET_BITS=64)");

PosixFile::~PosixFile() { close(); }

bool PosixFile::open(char const* name, int mode) {
    close();
    if (name == nullptr || *name == '\0') return false;
    int flags = O_CLOEXEC;
    if (mode == kModeRead) {
        flags |= O_RDONLY;
    } else if (mode == kModeReadWrite || mode == kModeLocalDisk) {
        flags |= O_RDWR | O_CREAT;
    } else {
        return false;
    }
    struct stat info {};
    bool const created = (flags & O_CREAT) != 0 && ::stat(name, &info) != 0;
    int fd;
    do {
        fd = ::open(name, flags, 0644);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return false;
    m_nFd = fd;
    m_strName = name;
    // A file made here must outlive a power cut before anything names it. A
    // folder that cannot be synced is no reason to refuse the file: the disk's
    // own checks find out soon enough.
    if (created) DiskManager::syncParentOf(name);
    return true;
}

void PosixFile::close() {
    if (m_nFd < 0) return;
    // close is not retried on EINTR: the descriptor is gone either way.
    ::close(m_nFd);
    m_nFd = -1;
    m_strName.clear();
}

int PosixFile::read(char* buffer, int length) {
    if (m_nFd < 0 || buffer == nullptr || length < 0) return -1;
    int done = 0;
    while (done < length) {
        ssize_t got = ::read(m_nFd, buffer + done, static_cast<size_t>(length - done));
        if (got < 0) {
            if (errno == EINTR) continue;
            return done > 0 ? done : -1;
        }
        if (got == 0) break;
        done += static_cast<int>(got);
    }
    return done;
}

int PosixFile::write(char const* buffer, int length) {
    if (m_nFd < 0 || buffer == nullptr || length < 0) return -1;
    int done = 0;
    while (done < length) {
        ssize_t put = ::write(m_nFd, buffer + done, static_cast<size_t>(length - done));
        if (put < 0) {
            if (errno == EINTR) continue;
            return done > 0 ? done : -1;
        }
        if (put == 0) break;
        done += static_cast<int>(put);
    }
    return done;
}

bool PosixFile::seek(long long offset, int whence) {
    if (m_nFd < 0) return false;
    if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) return false;
    return ::lseek(m_nFd, static_cast<off_t>(offset), whence) != static_cast<off_t>(-1);
}

long long PosixFile::getLength() {
    if (m_nFd < 0) return -1;
    struct stat info {};
    if (::fstat(m_nFd, &info) != 0) return -1;
    return static_cast<long long>(info.st_size);
}

bool PosixFile::flush() {
    if (m_nFd < 0) return false;
    int result;
    do {
        result = ::fdatasync(m_nFd);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

long long PosixFile::tell() {
    if (m_nFd < 0) return -1;
    off_t position = ::lseek(m_nFd, 0, SEEK_CUR);
    return position == static_cast<off_t>(-1) ? -1 : static_cast<long long>(position);
}

int PosixFile::readAt(long long offset, char* buffer, int length) {
    if (m_nFd < 0 || buffer == nullptr || length < 0 || offset < 0) return -1;
    int done = 0;
    while (done < length) {
        ssize_t got = ::pread(m_nFd, buffer + done, static_cast<size_t>(length - done),
                              static_cast<off_t>(offset + done));
        if (got < 0) {
            if (errno == EINTR) continue;
            return done > 0 ? done : -1;
        }
        if (got == 0) break;
        done += static_cast<int>(got);
    }
    return done;
}

bool PosixFile::truncate(long long length) {
    if (m_nFd < 0 || length < 0) return false;
    int result;
    do {
        result = ::ftruncate(m_nFd, static_cast<off_t>(length));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}
