#include "directory/HDRecordDirOperatorWithIndex.h"

#include <cstdio>

#include "directory/EmptyDirStat.h"
#include "directory/RecordDirHandler.h"
#include "directory/RecordRecycleBin.h"
#include "foundation/BasicTool.h"
#include "foundation/DeviceDirParser.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/IFile.h"
#include "host/IDiskManager.h"
#include "host/PerformanceTest.h"
#include "host/StringParser.h"
#include "host/TimeConverter.h"
#include "index/RecordIndexFileParserEx.h"
#include "tracking/RecordLockInfoManager.h"
#include "tracking/RecordSegmentInfoManager.h"

namespace NS_HDRecordDirOperatorWithIndex {

constexpr int kMainIndex = 0;
constexpr int kBackupIndex = RecordIndexFileParserEx::kStorageTypeBackup;

IDiskManager* diskManagerOf(RecordDirInfoEx const& info) {
    return DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
}

int partCount(std::string const& name) {
    StringParser parser;
    return parser.Split(name.c_str(), "_");
}

// Gathers the whole paths of the date folders a walk visits; with
// bWithRecordFile only those that hold a record file.
class DateDirCollector : public IFileOperator {
public:
    DateDirCollector(RecordDirInfoEx const& dir, bool bWithRecordFile, std::set<std::string>& dateDirs)
        : m_dir(dir), m_bWithRecordFile(bWithRecordFile), m_dateDirs(dateDirs) {}

    int doAction(std::string const&, std::string const&) override { return 1; }
    int doActionEx(std::string const& date, std::string const& deviceDir) override {
        std::string const dateDir = BasicTool::getWholeDateDir(m_dir, BasicTool::kRecordDirName, deviceDir, date);
        std::vector<std::string> files;
        IDiskManager* disk = diskManagerOf(m_dir);
        if (m_bWithRecordFile && (disk == nullptr || disk->getFileList(dateDir.c_str(), files, "*.ts", 1) <= 0))
            return 0;
        m_dateDirs.insert(dateDir);
        return 0;
    }

private:
    RecordDirInfoEx const& m_dir;
    bool m_bWithRecordFile;
    std::set<std::string>& m_dateDirs;
};

}  // namespace NS_HDRecordDirOperatorWithIndex

using namespace NS_HDRecordDirOperatorWithIndex;

bool HDRecordDirOperatorWithIndex::isUnformattedCard() const {
    return m_dirInfo.getDiskType() == RecordDirInfoEx::kDiskTypeSdCard &&
           m_dirInfo.getFileSystemFormat() == 0;
}

bool HDRecordDirOperatorWithIndex::listRecordPath(std::vector<std::string>& names) const {
    IDiskManager* disk = diskManagerOf(m_dirInfo);
    std::string const recordPath = BasicTool::getRecordDir(m_dirInfo.getRecordRootDir());
    return disk != nullptr && disk->getDirList(recordPath.c_str(), names) >= 0;
}

int HDRecordDirOperatorWithIndex::getMatchDeviceDirs(RecordInfo const& record,
                                                     std::vector<std::string>& deviceDirs) const {
    if (!BasicTool::getMatchDeviceDirList(m_dirInfo, BasicTool::kRecordDirName,
                                          record.getDeviceId(), record.getDeviceIP(),
                                          record.getCameraId(), deviceDirs) ||
        deviceDirs.empty()) {
        return OV_RECORD_DIR_OPEN_FAILED;
    }
    return 0;
}

int HDRecordDirOperatorWithIndex::handleRecordFile(RecordInfo const& record, IFileOperator* op) {
    std::string const beginDate = BasicTool::getDateString(record.getRecordBeginTime());
    std::string const endDate = BasicTool::getEndDateString(record.getRecordEndTime());
    std::vector<std::string> deviceDirs;
    int nRet = getMatchDeviceDirs(record, deviceDirs);
    if (nRet != 0) return nRet;
    for (std::string const& deviceDir : deviceDirs) {
        std::vector<std::string> dates;
        if (!BasicTool::getMatchDateList(m_dirInfo, BasicTool::kRecordDirName, deviceDir,
                                         beginDate, endDate, dates)) {
            return OV_RECORD_NO_DATE_DIR;
        }
        for (std::string const& date : dates) {
            nRet = op->doActionEx(date, deviceDir);
            if (nRet != 0) return nRet;
        }
    }
    return 0;
}

int RecordFileLock::doActionEx(std::string const& date, std::string const& deviceDir) {
    RecordLockInfoManager* locks = RecordLockInfoManager::getInstance();
    if (m_bLock && locks->isOverThreshold() != 0) return OV_RECORD_SCENE_OR_LOCK_LIMIT;
    int const failure = m_bLock ? OV_RECORD_LOCK_FAILED : OV_RECORD_UNLOCK_FAILED;
    long long const begin = m_record.getRecordBeginTime();
    long long const end = m_record.getRecordEndTime();
    for (int storageType : {kMainIndex, kBackupIndex}) {
        // A day without this index has nothing to lock: not a failure.
        RecordIndexFileParserEx index;
        if (index.open(m_dirInfo, date, deviceDir, storageType,
                       RecordIndexFileParserEx::kModeChange) == 0) {
            continue;
        }
        int done = m_bLock ? index.lockFile(begin, end) : index.unLockFile(begin, end);
        if (done == 0) return failure;
        if (storageType == kMainIndex) {
            int nLocked = 0;
            index.getLockFileInfo(nLocked);
            locks->updateRecordDeviceLockInfo(m_dirInfo, deviceDir, date, nLocked, 0);
        }
    }
    // The day's cached segments carry the old lock states.
    RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(deviceDir, date);
    return 0;
}

int RecordFileDeleter::doAction(std::string const& date, std::string const& deviceDir) {
    for (int storageType : {kMainIndex, kBackupIndex}) {
        RecordIndexFileParserEx index;
        if (index.open(m_dirInfo, date, deviceDir, storageType, 0) == 0) continue;
        if (index.getRecordFileInfoList(m_record.getRecordBeginTime(), m_record.getRecordEndTime(),
                                        m_files) == 0) {
            return 0;
        }
    }
    return 1;
}

// The walk calls this form; collecting here is what makes deleteRecord
// remove anything at all.
int RecordFileDeleter::doActionEx(std::string const& date, std::string const& deviceDir) {
    doAction(date, deviceDir);
    return 0;
}

int HDRecordDirOperatorWithIndex::lockRecordFile(RecordInfo const& record) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    RecordFileLock lock(record, m_dirInfo);
    return handleRecordFile(record, &lock);
}

int HDRecordDirOperatorWithIndex::unlockRecordFile(RecordInfo const& record) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    RecordFileUnLock unlock(record, m_dirInfo);
    return handleRecordFile(record, &unlock);
}

int HDRecordDirOperatorWithIndex::deleteRecordFile(RecordInfo const& record) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    std::vector<SafePointer<RecordFileInfo>> files;
    RecordFileDeleter deleter(record, m_dirInfo, files);
    int nRet = handleRecordFile(record, &deleter);
    if (nRet != 0) return nRet;

    std::string const recordPath = BasicTool::getRecordDir(m_dirInfo.getRecordRootDir());
    RecordDirHandler handler(m_dirInfo, recordPath);
    RecordRecycleBin bin(m_dirInfo.getDiskType(), recordPath);
    if (handler.init(m_dirInfo.getFileSystemFormat()) == 0 ||
        bin.init(m_dirInfo.getFileSystemFormat(), m_dirInfo.getFileSegmentSize()) == 0) {
        return OV_RECORD_DIR_OPEN_FAILED;
    }
    IDiskManager* disk = diskManagerOf(m_dirInfo);
    for (SafePointer<RecordFileInfo>& file : files) {
        // Locked files stay, as reclamation spares them; the file being
        // recorded stays, or its writer would write into a reissued file.
        if (file->getLockFlag() || handler.isRecordingFile(*file)) continue;
        std::string const path = file->createRecordFileName();
        if (!bin.deleteFile(path, file->getRecordFileName()) && disk != nullptr &&
            disk->isFileExist(path.c_str()) != 0) {
            continue;
        }
        handler.deleteFile(file);
    }
    return 0;
}

int HDRecordDirOperatorWithIndex::getRecordDirSpaceInfo(RecordDirSpaceInfo& space) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    IDiskManager* disk = diskManagerOf(m_dirInfo);
    long long total = 0;
    long long used = 0;
    if (disk == nullptr || disk->getDiskSpace(m_dirInfo.getRecordRootDir().c_str(), total, used) != 0)
        return 0;
    space.setTotalSpace(total << 20);
    space.setFreeSpace((total - used) << 20);

    std::string const recordPath = BasicTool::getRecordDir(m_dirInfo.getRecordRootDir());
    int const format = m_dirInfo.getFileSystemFormat();
    long long const segment = getFileSegmentSize();
    EmptyDirStat pool(m_dirInfo.getDiskType(), BasicTool::getRecordEmptyDir(m_dirInfo.getRecordRootDir()));
    pool.init(format);
    int const emptyFiles = pool.getTotalEmptyFileNumber();
    if (emptyFiles <= 0) {
        RecordDirHandler handler(m_dirInfo, recordPath);
        handler.init(format);
        space.setRecordFileSize(handler.getTotalRecordFileNumber() * segment);
    } else {
        // Every numbered file but those waiting in the pool or the bin.
        RecordRecycleBin bin(m_dirInfo.getDiskType(), recordPath);
        bin.init(format, segment);
        space.setRecordFileSize(
            static_cast<long long>(pool.getTotalFileNumber() - emptyFiles - bin.getFileNumber()) *
            segment);
    }
    return 1;
}

long long HDRecordDirOperatorWithIndex::getFileSegmentSize() const {
    if (m_dirInfo.getFileSegmentSize() > 0) return m_dirInfo.getFileSegmentSize();
    // The host's description carries no segment size; every file of a disk
    // that was cut up has it, so a pool or bin file tells it.
    IDiskManager* disk = diskManagerOf(m_dirInfo);
    std::string const root = m_dirInfo.getRecordRootDir();
    for (std::string const& dir : {BasicTool::getRecordEmptyDir(root), BasicTool::getRecordRecycleBinDir(root)}) {
        std::vector<std::string> names;
        if (disk == nullptr || disk->getFileList(dir.c_str(), names, "*", 1) <= 0) continue;
        SafePointer<IFile> file = FileFactory::createFile(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
        std::string const path = dir + BasicTool::kSeparator + names.front();
        if (file.isNull() || !file->open(path.c_str(), IFile::kModeRead)) continue;
        long long const length = file->getLength();
        file->close();
        if (length > 0) return length;
    }
    return 0;
}

int HDRecordDirOperatorWithIndex::queryDeviceList(std::map<std::string, int>& devices) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    std::vector<std::string> names;
    if (!listRecordPath(names)) return OV_RECORD_DIR_OPEN_FAILED;
    for (std::string const& name : names) {
        if (name == BasicTool::kEmptyDirName || name == BasicTool::kRecycleBinDirName) continue;
        int const parts = partCount(name);
        if (parts == 2 || parts == 3) devices[name] = 1;
    }
    return 0;
}

int HDRecordDirOperatorWithIndex::queryDateList(std::string const& deviceId,
                                                std::string const& deviceIP,
                                                std::string const& camera,
                                                std::map<std::string, int>& dates) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    int cameraId = -1;
    if (!camera.empty() && !BasicTool::getNumber(camera, cameraId)) return OV_RECORD_DIR_OPEN_FAILED;
    std::vector<std::string> deviceDirs;
    if (!BasicTool::getMatchDeviceDirList(m_dirInfo, BasicTool::kRecordDirName, deviceId, deviceIP,
                                          cameraId, deviceDirs)) {
        return OV_RECORD_DIR_OPEN_FAILED;
    }
    for (std::string const& deviceDir : deviceDirs) {
        std::vector<std::string> found;
        BasicTool::getRecordDateList(m_dirInfo, BasicTool::kRecordDirName, deviceDir, found);
        for (std::string const& date : found) dates[date] = 1;
    }
    return 0;
}

int HDRecordDirOperatorWithIndex::getMatchDateDirs(RecordInfo const& record, bool bWithRecordFile,
                                                   std::set<std::string>& dateDirs) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    DateDirCollector collector(m_dirInfo, bWithRecordFile, dateDirs);
    return handleRecordFile(record, &collector);
}

int HDRecordDirOperatorWithIndex::getMatchDateDirList(RecordInfo const& record,
                                                      std::set<std::string>& dateDirs) {
    return getMatchDateDirs(record, false, dateDirs);
}

int HDRecordDirOperatorWithIndex::getMatchDateDirList(std::vector<RecordInfo> const& records,
                                                      std::set<std::string>& dateDirs) {
    for (RecordInfo const& record : records) {
        int nRet = getMatchDateDirs(record, true, dateDirs);
        if (nRet != 0 && nRet != OV_RECORD_DIR_OPEN_FAILED) return nRet;
    }
    return 0;
}

int HDRecordDirOperatorWithIndex::findFileOfDate(RecordInfo const& record, std::string const& date,
                                                 bool bLastest, SafePointer<RecordFileInfo>& file) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    std::vector<std::string> deviceDirs;
    if (getMatchDeviceDirs(record, deviceDirs) != 0) return 0;
    int found = 0;
    for (std::string const& deviceDir : deviceDirs) {
        RecordIndexFileParserEx index;
        if (index.open(m_dirInfo, date, deviceDir, kMainIndex, 0) == 0) continue;
        SafePointer<RecordFileInfo> candidate(new RecordFileInfo());
        int const has = bLastest ? index.getLastestFileInfo(*candidate)
                                 : index.getEarliestRecordFileInfo(*candidate);
        if (has == 0) continue;
        bool const better = found == 0 ||
                            (bLastest ? candidate->getRecordEndTime() > file->getRecordEndTime()
                                      : candidate->getRecordBeginTime() < file->getRecordBeginTime());
        if (better) file = candidate;
        found = 1;
    }
    return found;
}

int HDRecordDirOperatorWithIndex::getLastestFileInfo(RecordInfo const& record,
                                                     std::string const& date,
                                                     SafePointer<RecordFileInfo>& file) {
    return findFileOfDate(record, date, true, file);
}

int HDRecordDirOperatorWithIndex::getEarliestFileInfo(RecordInfo const& record,
                                                      std::string const& date,
                                                      SafePointer<RecordFileInfo>& file) {
    return findFileOfDate(record, date, false, file);
}

int HDRecordDirOperatorWithIndex::getHistoryDeviceList(std::vector<RecordInfo>& devices) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    std::vector<std::string> names;
    if (!listRecordPath(names)) return OV_RECORD_DIR_OPEN_FAILED;
    for (std::string const& name : names) {
        StringParser parts;
        if (parts.Split(name.c_str(), "_") != 3) continue;
        if (!BasicTool::checkIPAddress(parts.getItem(1))) {
            std::printf("HDRecordDirOperatorWithIndex::getHistoryDeviceList, IP(%s) is Invalid \n",
                        parts.getItem(1));
            continue;
        }
        int cameraId = 0;
        if (!BasicTool::getNumber(std::string(parts.getItem(2)), cameraId)) continue;
        bool known = false;
        for (RecordInfo const& device : devices) {
            known = known || (std::string(device.getDeviceId()) == parts.getItem(0) &&
                              device.getCameraId() == cameraId);
        }
        if (known) continue;
        std::vector<std::string> dates;
        BasicTool::getRecordDateList(m_dirInfo, BasicTool::kRecordDirName, name, dates);
        RecordInfo device;
        device.setDeviceId(parts.getItem(0));
        device.setDeviceIP(parts.getItem(1));
        device.setCameraId(cameraId);
        unsigned long begin = 0;
        if (!dates.empty() && TimeConverter::strToLong(dates.front(), begin)) {
            device.setRecordBeginTime(begin);
        }
        devices.push_back(device);
    }
    return 0;
}

int HDRecordDirOperatorWithIndex::clearDeviceRecord(std::string const& deviceId) {
    if (isUnformattedCard()) return OV_RECORD_DISK_NOT_FORMATTED;
    std::vector<std::string> names;
    if (!listRecordPath(names)) return OV_RECORD_DIR_OPEN_FAILED;
    IDiskManager* disk = diskManagerOf(m_dirInfo);
    std::string const recordPath = BasicTool::getRecordDir(m_dirInfo.getRecordRootDir());
    for (std::string const& name : names) {
        StringParser parts;
        if (parts.Split(name.c_str(), "_") != 3 || deviceId != parts.getItem(0)) continue;
        std::printf("HDRecordDirOperatorWithIndex::clearDeviceRecord %s \n", name.c_str());
        PerformanceTest timer;
        timer.begin();
        std::string const from = recordPath + BasicTool::kSeparator + name;
        int const bRet = disk->renameFile(from.c_str(), (from + BasicTool::kMovedDeviceSuffix).c_str());
        timer.end();
        std::printf("HDRecordDirOperatorWithIndex::clearDeviceRecord %s bRet:%d,wasteTime:%lld\n",
                    name.c_str(), bRet, timer.getWasteTime());
    }
    return 0;
}
