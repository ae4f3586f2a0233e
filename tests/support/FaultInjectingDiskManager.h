#ifndef TESTS_SUPPORT_FAULTINJECTINGDISKMANAGER_H
#define TESTS_SUPPORT_FAULTINJECTINGDISKMANAGER_H

#include <memory>

#include "host/DiskManager.h"
#include "tests/support/FaultPlan.h"

// The real DiskManager under a FaultPlan: everything fails or answers
// "missing" while the plan's disk has vanished; createSizedFile,
// createFilledFile, createEmptyFile, renameFile, createDir, syncDir and
// deleteFile fail at the counted calls; a full disk refuses sized files and reports no free
// space, and a disk that fills (setDiskFullAfter) leaves the file that did
// not fit with what fitted. Files and folders it creates or renames are told to the plan, so a
// power cut can undo those their folder's last syncDir did not cover.
class FaultInjectingDiskManager : public IDiskManager {
public:
    explicit FaultInjectingDiskManager(std::shared_ptr<FaultPlan> plan);

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

private:
    std::shared_ptr<FaultPlan> m_pPlan;
    DiskManager m_real;
};

#endif
