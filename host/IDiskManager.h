#ifndef HOST_IDISKMANAGER_H
#define HOST_IDISKMANAGER_H

#include <string>
#include <vector>

#include "host/IFileScanAction.h"

// File and folder services of one kind of disk. Implementations are shared by
// every thread of the process and hold no per-call state. Paths are absolute.
// Filters and patterns are shell globs ("*.ts*", "*_*", "*.index"); null or
// "" matches everything. Names handed back are bare names, without folder.
class IDiskManager {
public:
    virtual ~IDiskManager() = default;

    // Total and used MiB of the file system that holds `path`; 0 on success,
    // negative on failure.
    virtual int getDiskSpace(char const* path, long long& totalMiB, long long& usedMiB) = 0;
    // Appends the names of the regular files of `dir` that fit `filter`,
    // sorted by name, at most `limit` (0: all). Answers the number appended,
    // negative if `dir` cannot be listed.
    virtual int getFileList(char const* dir, std::vector<std::string>& list, char const* filter,
                            int limit) = 0;
    // Calls action->doAction for each regular file of `dir` that fits
    // `pattern`, in name order. Answers the number of calls, negative if `dir`
    // cannot be listed.
    virtual int scanFiles(char const* dir, IFileScanAction* action, char const* pattern) = 0;
    // Appends the names of the sub-folders of `dir`, sorted. Answers the
    // number appended, negative if `dir` cannot be listed.
    virtual int getDirList(char const* dir, std::vector<std::string>& list) = 0;
    // rename(2), replacing a file at `to`; non-zero on success.
    virtual int renameFile(char const* from, char const* to) = 0;
    // Removes a file; true on success.
    virtual bool deleteFile(char const* path) = 0;
    // Creates an empty file, truncating one that exists, and syncs its
    // folder; non-zero on success.
    virtual int createEmptyFile(char const* path) = 0;
    // Removes an empty folder; non-zero on success.
    virtual int removeDir(char const* path) = 0;
    // Creates the folder and its parents if needed (mkdir -p), each new one
    // synced into its parent; non-zero on success, also when it already exists.
    virtual int createDir(char const* path) = 0;
    // 1 if something exists at `path`, else 0.
    virtual int isFileExist(char const* path) = 0;
    // A file of exactly `size` bytes whose blocks are really allocated
    // (fallocate, else zeros written), synced with its folder; a file already
    // there is replaced. With `flag` kDeferSync nothing is synced: the caller
    // makes a batch durable at once (syncFile, syncDir), one commit for all.
    // 0 on success; on failure negative, and no partial file is left.
    virtual int createSizedFile(char const* path, long long size, int flag) = 0;
    static constexpr int kDeferSync = 1;
    // Makes the data and size of the file at `path` durable (fdatasync);
    // true on success.
    virtual bool syncFile(char const* path) = 0;
    // Non-zero if `path` is a folder, 0 if missing or not a folder.
    virtual int isDirExist(char const* path) = 0;
    // A file of exactly `size` bytes, every byte `fill`, written out and
    // synced with its folder; a file already there is replaced. For files
    // whose unused tail must read as "never written" (index files: 0xFF).
    // 0 on success; on failure negative, and no partial file is left.
    virtual int createFilledFile(char const* path, long long size, unsigned char fill) = 0;
    // Makes the entries of folder `path` durable (fsync of the folder), so
    // that a file created or renamed into it survives a power cut. true on
    // success.
    virtual bool syncDir(char const* path) = 0;
};

#endif
