#include "disk/RecordDiskManagerImpl.h"

#include "directory/HDDirWithIndex.h"
#include "directory/RecordDirFactory.h"
#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "foundation/ReturnCode.h"
#include "recording/RecordFileWriterFactory.h"
#include "recording/RecordFileRequestManager.h"

RecordDiskManagerImpl::~RecordDiskManagerImpl() { clear(); }

std::string RecordDiskManagerImpl::diskNameOf(RecordDirInfoEx const& info) {
    return info.getRecordDiskName().empty() ? info.getRecordRootDir() : info.getRecordDiskName();
}

void RecordDiskManagerImpl::setRecordDirInfoList(std::vector<RecordDirInfoEx> const& dirs) {
    std::vector<Dir> stopped;
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    stopped.swap(m_dirs);
    for (RecordDirInfoEx const& info : dirs) {
        Dir entry;
        entry.info = info;
        for (Dir& old : stopped) {
            if (old.info == info) entry.dir = old.dir;
        }
        // A directory kept in service takes its new description.
        if (!entry.dir.isNull()) entry.dir->setRecordDirInfoEx(info);
        if (entry.dir.isNull()) {
            entry.dir = RecordDirFactory().create(RecordDirFactory::kRecordDirKind, info, info.getGroupId(),
                                                  kDeviceId, kRecordType);
            // An indexed directory builds itself on its own status thread,
            // preallocation included: not here, under the creation mutex.
            if (dynamic_cast<HDDirWithIndex*>(entry.dir.get()) == nullptr) entry.dir->init();
            entry.dir->startDetectionThread();
        }
        m_dirs.push_back(entry);
        if (findDisk(diskNameOf(info)) == nullptr) {
            RecordDiskInfoEx disk;
            disk.setDiskName(diskNameOf(info));
            disk.initDiskInfo();
            m_disks.push_back(disk);
        }
    }
    for (Dir& old : stopped) {
        bool kept = false;
        for (Dir& now : m_dirs) kept = kept || now.dir == old.dir;
        if (!kept) old.dir->stopDetectionThread();
    }
}

std::vector<RecordDirInfoEx> RecordDiskManagerImpl::getRecordDirInfoList() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    std::vector<RecordDirInfoEx> list;
    for (Dir const& entry : m_dirs) list.push_back(entry.info);
    return list;
}

SafePointer<IRecordDir> RecordDiskManagerImpl::getRecordDir(std::string const& root) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (Dir const& entry : m_dirs) {
        if (entry.info.getRecordRootDir() == root) return entry.dir;
    }
    return SafePointer<IRecordDir>();
}

RecordDiskInfoEx* RecordDiskManagerImpl::findDisk(std::string const& diskName) {
    for (RecordDiskInfoEx& disk : m_disks) {
        if (disk.isSameDisk(diskName)) return &disk;
    }
    return nullptr;
}

void RecordDiskManagerImpl::holdDisk(RecordFileInfo const* session, std::string const& diskName) {
    auto held = m_holders.find(session);
    if (held != m_holders.end()) {
        if (held->second == diskName) return;
        if (RecordDiskInfoEx* old = findDisk(held->second)) old->decreaseReference();
    }
    if (RecordDiskInfoEx* disk = findDisk(diskName)) disk->increaseReference();
    m_holders[session] = diskName;
}

int RecordDiskManagerImpl::createRecordFile(SafePointer<RecordFileInfo> file, int requestType,
                                            int condition, SafePointer<IRecordWriter>& writer,
                                            SafePointer<IRecordDir>& dir) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_dirs.empty()) return OV_RECORD_NO_DIR_WRITE;
    auto held = m_holders.find(file.get());
    Dir const* chosen = nullptr;
    Dir const* notReady = nullptr;
    for (Dir const& entry : m_dirs) {
        bool dedicated = entry.info.getAttribute() == kDedicatedDirAttribute;
        if (dedicated != (condition != 0)) continue;
        if (!entry.dir->isWritable()) {
            if (notReady == nullptr) notReady = &entry;
            continue;
        }
        RecordDiskInfoEx* disk = findDisk(diskNameOf(entry.info));
        bool ownDisk = held != m_holders.end() && held->second == diskNameOf(entry.info);
        if (disk != nullptr && disk->isOverAccessLimit() && !ownDisk) continue;
        chosen = &entry;
        break;
    }
    // A directory that is still making itself ready answers for itself.
    if (chosen == nullptr && notReady != nullptr) {
        HDDirWithIndex* indexed = dynamic_cast<HDDirWithIndex*>(notReady->dir.get());
        if (indexed != nullptr && !indexed->isReady()) return OV_RECORD_DIR_NOT_READY;
    }
    if (chosen == nullptr) return OV_RECORD_NO_DIR_WRITE;

    chosen->dir->setDeviceRequetType(file->getRecordDeviceInfo(), requestType);
    int code = chosen->dir->createFile(file);
    if (code != 0) return code;
    holdDisk(file.get(), diskNameOf(chosen->info));
    writer = RecordFileWriterFactory::create(chosen->dir->getRecordDirInfoEx());
    dir = chosen->dir;
    return 0;
}

void RecordDiskManagerImpl::decreaseRecordDiskReference(SafePointer<RecordFileInfo> file) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    auto held = m_holders.find(file.get());
    if (held == m_holders.end()) return;
    if (RecordDiskInfoEx* disk = findDisk(held->second)) disk->decreaseReference();
    m_holders.erase(held);
}

int RecordDiskManagerImpl::getDiskReferenceCount(std::string const& diskName) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    RecordDiskInfoEx* disk = findDisk(diskName);
    return disk == nullptr ? 0 : disk->getReferenceCount();
}

void RecordDiskManagerImpl::clear() {
    std::vector<Dir> stopped;
    {
        OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
        stopped.swap(m_dirs);
        m_disks.clear();
        m_holders.clear();
    }
    for (Dir& entry : stopped) entry.dir->stopDetectionThread();
}
