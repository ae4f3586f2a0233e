#include "host/DiskManager.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <ftw.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "host/Logger.h"

namespace NS_DiskManager {

constexpr long long kMiB = 1024LL * 1024LL;
constexpr int kZeroChunk = 1 << 20;

bool matches(char const* pattern, char const* name) {
    if (pattern == nullptr || *pattern == '\0') return true;
    return fnmatch(pattern, name, 0) == 0;
}

enum class Kind { kFile, kDir };

// Sorted names of `dir` of one kind that fit `pattern`; false if the folder
// cannot be listed.
bool listNames(char const* dir, Kind kind, char const* pattern, std::vector<std::string>& out) {
    if (dir == nullptr) return false;
    DIR* handle = opendir(dir);
    if (handle == nullptr) return false;
    std::string base(dir);
    if (!base.empty() && base.back() != '/') base += '/';
    while (struct dirent* entry = readdir(handle)) {
        char const* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        if (!matches(pattern, name)) continue;
        bool isDir;
        bool isFile;
        if (entry->d_type == DT_DIR || entry->d_type == DT_REG) {
            isDir = entry->d_type == DT_DIR;
            isFile = entry->d_type == DT_REG;
        } else {
            // Unknown type (some file systems) or a link: ask stat.
            struct stat info {};
            if (stat((base + name).c_str(), &info) != 0) continue;
            isDir = S_ISDIR(info.st_mode);
            isFile = S_ISREG(info.st_mode);
        }
        if ((kind == Kind::kDir && isDir) || (kind == Kind::kFile && isFile)) out.push_back(name);
    }
    closedir(handle);
    std::sort(out.begin(), out.end());
    return true;
}

int removeEntry(char const* path, struct stat const*, int type, struct FTW*) {
    int result = type == FTW_DP ? rmdir(path) : unlink(path);
    return result == 0 ? 0 : -1;
}

bool writeFill(int fd, long long size, unsigned char fill) {
    std::vector<char> zeros(static_cast<size_t>(std::min<long long>(size, kZeroChunk)),
                            static_cast<char>(fill));
    long long done = 0;
    while (done < size) {
        size_t chunk = static_cast<size_t>(std::min<long long>(size - done, kZeroChunk));
        ssize_t put = ::write(fd, zeros.data(), chunk);
        if (put < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (put == 0) return false;
        done += put;
    }
    return true;
}

// Reserves the blocks of [0, size) without writing them: 0, or the error
// number (EOPNOTSUPP where the file system can't). Linux's own call, as
// glibc's posix_fallocate would quietly write a byte per block instead.
int reserve(int fd, long long size) {
#ifdef __linux__
    for (;;) {
        if (::fallocate(fd, 0, 0, static_cast<off_t>(size)) == 0) return 0;
        if (errno != EINTR) return errno;
    }
#else
    int result;
    do {
        result = posix_fallocate(fd, 0, static_cast<off_t>(size));
    } while (result == EINTR);
    return result;
#endif
}

bool syncFolder(char const* path) {
    int fd = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

}  // namespace NS_DiskManager

int DiskManager::getDiskSpace(char const* path, long long& totalMiB, long long& usedMiB) {
    if (path == nullptr) return -1;
    struct statvfs info {};
    if (statvfs(path, &info) != 0) return -1;
    unsigned long long unit = info.f_frsize ? info.f_frsize : info.f_bsize;
    unsigned long long total = static_cast<unsigned long long>(info.f_blocks) * unit;
    unsigned long long freeBytes = static_cast<unsigned long long>(info.f_bfree) * unit;
    totalMiB = static_cast<long long>(total / NS_DiskManager::kMiB);
    usedMiB = static_cast<long long>((total - freeBytes) / NS_DiskManager::kMiB);
    return 0;
}

int DiskManager::getFileList(char const* dir, std::vector<std::string>& list, char const* filter,
                             int limit) {
    std::vector<std::string> names;
    if (!NS_DiskManager::listNames(dir, NS_DiskManager::Kind::kFile, filter, names)) return -1;
    if (limit > 0 && names.size() > static_cast<size_t>(limit)) names.resize(limit);
    list.insert(list.end(), names.begin(), names.end());
    return static_cast<int>(names.size());
}

int DiskManager::scanFiles(char const* dir, IFileScanAction* action, char const* pattern) {
    std::vector<std::string> names;
    if (!NS_DiskManager::listNames(dir, NS_DiskManager::Kind::kFile, pattern, names)) return -1;
    if (action != nullptr)
        for (std::string const& name : names) action->doAction(name.c_str());
    return static_cast<int>(names.size());
}

int DiskManager::getDirList(char const* dir, std::vector<std::string>& list) {
    std::vector<std::string> names;
    if (!NS_DiskManager::listNames(dir, NS_DiskManager::Kind::kDir, nullptr, names)) return -1;
    list.insert(list.end(), names.begin(), names.end());
    return static_cast<int>(names.size());
}

int DiskManager::renameFile(char const* from, char const* to) {
    if (from == nullptr || to == nullptr) return 0;
    return ::rename(from, to) == 0 ? 1 : 0;
}

bool DiskManager::deleteFile(char const* path) {
    if (path == nullptr) return false;
    return ::unlink(path) == 0;
}

bool DiskManager::deleteFile(char const* path, bool recursive) {
    if (path == nullptr) return false;
    if (!recursive) return deleteFile(path);
    struct stat info {};
    if (lstat(path, &info) != 0) return false;
    if (!S_ISDIR(info.st_mode)) return ::unlink(path) == 0;
    return nftw(path, &NS_DiskManager::removeEntry, 16, FTW_DEPTH | FTW_PHYS) == 0;
}

int DiskManager::createEmptyFile(char const* path) {
    if (path == nullptr) return 0;
    int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return 0;
    ::close(fd);
    // Record files and lock markers: a name the folder forgot at a power cut
    // would take an index entry or a date's locks with it.
    return syncParentOf(path) ? 1 : 0;
}

int DiskManager::removeDir(char const* path) {
    if (path == nullptr) return 0;
    return ::rmdir(path) == 0 ? 1 : 0;
}

int DiskManager::createDir(char const* path) {
    if (path == nullptr || *path == '\0') return 0;
    std::string full(path);
    for (size_t pos = 1; pos <= full.size(); ++pos) {
        if (pos != full.size() && full[pos] != '/') continue;
        std::string part = full.substr(0, pos);
        if (part.empty() || part.back() == '/') continue;
        if (::mkdir(part.c_str(), 0755) == 0) {
            // A folder made here is part of the record tree: its entry must
            // outlive a power cut before any file in it is written.
            if (!syncParentOf(part.c_str())) return 0;
        } else if (errno != EEXIST) {
            return 0;
        }
    }
    return isDirExist(path) ? 1 : 0;
}

int DiskManager::isFileExist(char const* path) {
    if (path == nullptr) return 0;
    struct stat info {};
    return ::stat(path, &info) == 0 ? 1 : 0;
}

int DiskManager::createSizedFile(char const* path, long long size, int) {
    if (path == nullptr || size < 0) return -1;
    int fd = ::open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return -1;
    bool ok = true;
    if (size > 0) {
        int result = NS_DiskManager::reserve(fd, size);
        // File systems without fallocate (some card formats) get real zeros:
        // hours on a big card, so the log says why.
        if (result == EOPNOTSUPP || result == EINVAL || result == ENOSYS) {
            std::string line = std::string("no fallocate, writing zeros: ") + path;
            Logger::writeLog("DiskManager", line.c_str(), __FILE__, __LINE__);
            ok = NS_DiskManager::writeFill(fd, size, 0);
        } else {
            ok = result == 0;
        }
    }
    if (ok) ok = ::ftruncate(fd, static_cast<off_t>(size)) == 0;
    if (ok) ok = ::fdatasync(fd) == 0;
    ::close(fd);
    if (!ok) {
        ::unlink(path);
        return -1;
    }
    syncParentOf(path);
    return 0;
}

int DiskManager::isDirExist(char const* path) {
    if (path == nullptr) return 0;
    struct stat info {};
    if (::stat(path, &info) != 0) return 0;
    return S_ISDIR(info.st_mode) ? 1 : 0;
}

int DiskManager::createFilledFile(char const* path, long long size, unsigned char fill) {
    if (path == nullptr || size < 0) return -1;
    int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return -1;
    bool ok = NS_DiskManager::writeFill(fd, size, fill) && ::fdatasync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (!ok) {
        ::unlink(path);
        return -1;
    }
    syncParentOf(path);
    return 0;
}

bool DiskManager::syncDir(char const* path) { return path != nullptr && NS_DiskManager::syncFolder(path); }

bool DiskManager::syncParentOf(char const* path) {
    if (path == nullptr) return false;
    std::string full(path);
    size_t slash = full.rfind('/');
    std::string folder = slash == std::string::npos ? "." : (slash == 0 ? "/" : full.substr(0, slash));
    return NS_DiskManager::syncFolder(folder.c_str());
}
