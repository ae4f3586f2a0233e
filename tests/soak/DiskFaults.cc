#include "tests/soak/DiskFaults.h"

#include <cstring>

#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/PosixFile.h"
#include "tests/support/FaultInjectingFile.h"

namespace {

// Picks its plan when the path is known, at open.
class RoutedFile : public IFile {
public:
    explicit RoutedFile(DiskFaults& faults) : m_faults(faults) {}

    bool open(char const* name, int mode) override {
        std::shared_ptr<FaultPlan> plan = m_faults.planFor(name);
        if (plan) {
            m_pInner.reset(new FaultInjectingFile(plan));
        } else {
            m_pInner.reset(new PosixFile());
        }
        return m_pInner->open(name, mode);
    }
    void close() override {
        if (m_pInner) m_pInner->close();
    }
    int read(char* buffer, int length) override { return m_pInner ? m_pInner->read(buffer, length) : -1; }
    int write(char const* buffer, int length) override { return m_pInner ? m_pInner->write(buffer, length) : -1; }
    bool seek(long long offset, int whence) override { return m_pInner && m_pInner->seek(offset, whence); }
    long long getLength() override { return m_pInner ? m_pInner->getLength() : -1; }
    bool flush() override { return m_pInner && m_pInner->flush(); }

private:
    DiskFaults& m_faults;
    std::unique_ptr<IFile> m_pInner;
};

}  // namespace

class DiskFaults::Router : public IDiskManager {
public:
    explicit Router(DiskFaults& faults) : m_faults(faults) {}

    int getDiskSpace(char const* path, long long& totalMiB, long long& usedMiB) override {
        return on(path).getDiskSpace(path, totalMiB, usedMiB);
    }
    int getFileList(char const* dir, std::vector<std::string>& list, char const* filter, int limit) override {
        return on(dir).getFileList(dir, list, filter, limit);
    }
    int scanFiles(char const* dir, IFileScanAction* action, char const* pattern) override {
        return on(dir).scanFiles(dir, action, pattern);
    }
    int getDirList(char const* dir, std::vector<std::string>& list) override { return on(dir).getDirList(dir, list); }
    int renameFile(char const* from, char const* to) override { return on(from).renameFile(from, to); }
    bool deleteFile(char const* path) override { return on(path).deleteFile(path); }
    int createEmptyFile(char const* path) override { return on(path).createEmptyFile(path); }
    int removeDir(char const* path) override { return on(path).removeDir(path); }
    int createDir(char const* path) override { return on(path).createDir(path); }
    int isFileExist(char const* path) override { return on(path).isFileExist(path); }
    int createSizedFile(char const* path, long long size, int flag) override {
        return on(path).createSizedFile(path, size, flag);
    }
    int isDirExist(char const* path) override { return on(path).isDirExist(path); }
    int createFilledFile(char const* path, long long size, unsigned char fill) override {
        return on(path).createFilledFile(path, size, fill);
    }
    bool syncDir(char const* path) override { return on(path).syncDir(path); }
    bool syncFile(char const* path) override { return on(path).syncFile(path); }

private:
    IDiskManager& on(char const* path) { return m_faults.managerFor(path); }
    DiskFaults& m_faults;
};

DiskFaults::DiskFaults(std::vector<std::string> const& roots) : m_pRouter(new Router(*this)) {
    for (std::string const& root : roots) {
        Disk disk;
        disk.strRoot = root + "/";
        disk.pPlan = std::make_shared<FaultPlan>();
        disk.pPlan->keepNoUndo();
        disk.pManager.reset(new FaultInjectingDiskManager(disk.pPlan));
        m_disks.push_back(std::move(disk));
    }
    FileFactory::setFileCreator([this](int, int, int) -> IFile* { return new RoutedFile(*this); });
    DiskManagerFactory::setDiskManager(-1, m_pRouter.get());
}

DiskFaults::~DiskFaults() {
    FileFactory::resetFileCreator();
    DiskManagerFactory::resetDiskManagers();
}

DiskFaults::Disk const* DiskFaults::diskFor(char const* path) const {
    if (path == nullptr) return nullptr;
    size_t const length = std::strlen(path);
    for (Disk const& disk : m_disks) {
        // The root itself or anything under it.
        size_t const n = disk.strRoot.size();
        if (std::strncmp(path, disk.strRoot.c_str(), length < n ? length : n) == 0 && length + 1 >= n) return &disk;
    }
    return nullptr;
}

std::shared_ptr<FaultPlan> DiskFaults::planFor(char const* path) {
    Disk const* disk = diskFor(path);
    return disk != nullptr ? disk->pPlan : nullptr;
}

IDiskManager& DiskFaults::managerFor(char const* path) {
    Disk const* disk = diskFor(path);
    return disk != nullptr ? static_cast<IDiskManager&>(*disk->pManager) : m_real;
}
