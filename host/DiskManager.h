#ifndef HOST_DISKMANAGER_H
#define HOST_DISKMANAGER_H

#include "host/IDiskManager.h"

// IDiskManager over POSIX calls. Stateless: any thread, any number of callers.
class DiskManager : public IDiskManager {
public:
    DiskManager() = default;

    int getDiskSpace(char const* path, long long& totalMiB, long long& usedMiB) override;
    int getFileList(char const* dir, std::vector<std::string>& list, char const* filter,
                    int limit) override;
    int scanFiles(char const* dir, IFileScanAction* action, char const* pattern) override;
    int getDirList(char const* dir, std::vector<std::string>& list) override;
    int renameFile(char const* from, char const* to) override;
    bool deleteFile(char const* path) override;
    int createEmptyFile(char const* path) override;
    int removeDir(char const* path) override;
    int createDir(char const* path) override;
    int isFileExist(char const* path) override;
    int createSizedFile(char const* path, long long size, int flag) override;
    int isDirExist(char const* path) override;
    int createFilledFile(char const* path, long long size, unsigned char fill) override;
    bool syncDir(char const* path) override;
    bool syncFile(char const* path) override;

    // Syncs the folder that holds `path`, so that its entry outlives a power
    // cut. true on success.
    static bool syncParentOf(char const* path);

    // Removes a file; with `recursive` also a folder and everything below it
    // (symbolic links are removed, never followed). true on success.
    bool deleteFile(char const* path, bool recursive);
};

#endif
