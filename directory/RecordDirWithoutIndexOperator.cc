#include "directory/RecordDirWithoutIndexOperator.h"

#include <cstdio>

#include "directory/FileScanAction.h"
#include "directory/RecordFileWithoutIndexHandlers.h"
#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"

namespace NS_RecordDirWithoutIndexOperator {

char const* const kFilePattern = "*.ts";
constexpr long long kMiB = 1024LL * 1024LL;

// Sums the lengths of the files it is handed.
class FileLengthSum : public IRecordFileWithoutIndexHandler {
public:
    void handleFile(RecordDirInfoEx const& dir, RecordFileCheckerWithoutIndex const&, std::string const&,
                    std::string const& dateDir, std::string const& fileName, int) override {
        long long const length = RecordDirWithoutIndexOperator::getFileLength(dir, dateDir + "/" + fileName);
        if (length < 0)
            m_bFailed = true;
        else
            m_nTotal += length;
    }
    long long m_nTotal = 0;
    bool m_bFailed = false;
};

// Deletes the files that began in [begin, end); end 0 is open.
class RangeDeleter : public IRecordFileWithoutIndexHandler {
public:
    RangeDeleter(IDiskManager* disk, long long begin, long long end) : m_pDisk(disk), m_nBegin(begin), m_nEnd(end) {}
    void handleFile(RecordDirInfoEx const&, RecordFileCheckerWithoutIndex const& checker, std::string const&,
                    std::string const& dateDir, std::string const& fileName, int) override {
        long long const time = checker.getBeginTime();
        if (time < m_nBegin || (m_nEnd != 0 && time >= m_nEnd)) return;
        if (m_pDisk->deleteFile((dateDir + "/" + fileName).c_str())) ++m_nDeleted;
    }
    IDiskManager* m_pDisk;
    long long m_nBegin;
    long long m_nEnd;
    int m_nDeleted = 0;
};

// Remembers the one file of the walk that has the wanted name.
class NameFinder : public IRecordFileWithoutIndexHandler {
public:
    explicit NameFinder(std::string const& name) : m_strName(name) {}
    void handleFile(RecordDirInfoEx const&, RecordFileCheckerWithoutIndex const&, std::string const&,
                    std::string const& dateDir, std::string const& fileName, int) override {
        if (fileName == m_strName) m_strPath = dateDir + "/" + fileName;
    }
    std::string m_strName;
    std::string m_strPath;
};

}  // namespace NS_RecordDirWithoutIndexOperator

using namespace NS_RecordDirWithoutIndexOperator;

bool RecordDirWithoutIndexOperator::init(RecordDirInfoEx const& info, IDiskManager* disk) {
    m_dirInfo = info;
    m_pDiskManager = disk;
    if (disk == nullptr) return false;
    return disk->isDirExist(recordPath().c_str()) != 0;
}

std::string RecordDirWithoutIndexOperator::recordPath() const {
    return BasicTool::getRecordDir(m_dirInfo.getRecordRootDir());
}

long long RecordDirWithoutIndexOperator::getFileLength(RecordDirInfoEx const& dir, std::string const& path) {
    SafePointer<IFile> file = FileFactory::createFile(dir.getDiskType(), dir.getFileSystemFormat());
    if (file.isNull() || !file->open(path.c_str(), IFile::kModeRead)) return -1;
    long long const length = file->getLength();
    file->close();
    return length;
}

int RecordDirWithoutIndexOperator::walk(SafePointer<IRecordFileWithoutIndexHandler> const& handler,
                                        std::string const& deviceId, std::string const& deviceIP, int camera,
                                        std::string const& beginDate, std::string const& endDate) {
    if (m_pDiskManager == nullptr) return -1;
    std::vector<std::string> devices;
    if (m_pDiskManager->getDirList(recordPath().c_str(), devices) < 0) return -1;
    int handed = 0;
    for (std::string const& device : devices) {
        DeviceDirParser parser;
        if (!parser.parse(device.c_str()) || !BasicTool::isMatchDevice(parser, deviceId, deviceIP, camera)) continue;
        int const count = walkDevice(handler, device, camera, beginDate, endDate);
        if (count > 0) handed += count;
    }
    return handed;
}

int RecordDirWithoutIndexOperator::walkDevice(SafePointer<IRecordFileWithoutIndexHandler> const& handler,
                                              std::string const& deviceDir, int camera,
                                              std::string const& beginDate, std::string const& endDate) {
    if (m_pDiskManager == nullptr) return -1;
    std::vector<std::string> dates;
    if (!BasicTool::getMatchDateList(m_dirInfo, BasicTool::kRecordDirName, deviceDir, beginDate, endDate, dates))
        return -1;
    BasicTool::sort(dates, true);
    int handed = 0;
    for (std::string const& date : dates) {
        std::string const dateDir =
            BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kRecordDirName, deviceDir, date);
        FileScanAction action(m_dirInfo, dateDir, date, handler, camera);
        int const count = m_pDiskManager->scanFiles(dateDir.c_str(), &action, kFilePattern);
        if (count > 0) handed += count;
    }
    return handed;
}

bool RecordDirWithoutIndexOperator::getDirFileTotalSize(long long& used) {
    FileLengthSum* sum = new FileLengthSum();
    SafePointer<IRecordFileWithoutIndexHandler> handler(sum);
    if (walk(handler, "", "", -1, "0000-00-00", BasicTool::kNoEndDate) < 0 || sum->m_bFailed) return false;
    used = sum->m_nTotal;
    return true;
}

int RecordDirWithoutIndexOperator::queryRecordFile(RecordQueryCondition const& condition,
                                                   std::vector<RecordFileEx>& files) {
    long long const begin = static_cast<long long>(condition.getRecordBeginTime());
    // A file runs on to the first I frame after midnight: the day before may
    // hold the file that covers the window's first seconds.
    std::string const beginDate = BasicTool::getDateString(begin > 86400 ? begin - 86400 : 0);
    std::string const endDate = BasicTool::getEndDateString(static_cast<long long>(condition.getRecordEndTime()));
    RecordFileWithoutIndexQuery* query = new RecordFileWithoutIndexQuery(condition);
    SafePointer<IRecordFileWithoutIndexHandler> handler(query);
    int const found = walk(handler, condition.getDeviceId(), condition.getDeviceIP(), condition.getCameraId(),
                           beginDate, endDate);
    if (found < 0) return -1;
    query->getResult(files);
    return 0;
}

bool RecordDirWithoutIndexOperator::findRecordFile(std::string const& fileName, std::string& path) {
    RecordFileCheckerWithoutIndex checker;
    if (!checker.checkFileName(fileName.c_str())) return false;
    std::string const deviceDir =
        BasicTool::getDeviceDirString(checker.getDeviceID(), checker.getDeviceIP(), checker.getCameraID());
    std::string const date = BasicTool::getDateString(checker.getBeginTime());
    std::string const whole = BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kRecordDirName, deviceDir, date) +
                              BasicTool::kSeparator + fileName;
    if (m_pDiskManager == nullptr || m_pDiskManager->isFileExist(whole.c_str()) != 1) return false;
    path = whole;
    return true;
}

bool RecordDirWithoutIndexOperator::clearRecordDir(std::string const& deviceDir) {
    if (m_pDiskManager == nullptr) return false;
    std::string const deviceFolder = recordPath() + BasicTool::kSeparator + deviceDir;
    std::vector<std::string> dates;
    if (m_pDiskManager->getDirList(deviceFolder.c_str(), dates) < 0) return false;
    bool cleared = true;
    for (std::string const& date : dates) {
        std::string const dateFolder = deviceFolder + BasicTool::kSeparator + date;
        std::vector<std::string> files;
        m_pDiskManager->getFileList(dateFolder.c_str(), files, nullptr, 0);
        for (std::string const& file : files)
            cleared = m_pDiskManager->deleteFile((dateFolder + BasicTool::kSeparator + file).c_str()) && cleared;
        cleared = m_pDiskManager->removeDir(dateFolder.c_str()) != 0 && cleared;
    }
    return m_pDiskManager->removeDir(deviceFolder.c_str()) != 0 && cleared;
}

void RecordDirWithoutIndexOperator::deleteEmptyDir() {
    if (m_pDiskManager == nullptr) return;
    std::vector<std::string> devices;
    if (m_pDiskManager->getDirList(recordPath().c_str(), devices) < 0) return;
    for (std::string const& device : devices) {
        std::string const deviceFolder = recordPath() + BasicTool::kSeparator + device;
        std::vector<std::string> dates;
        m_pDiskManager->getDirList(deviceFolder.c_str(), dates);
        // removeDir refuses a folder that is not empty.
        for (std::string const& date : dates)
            m_pDiskManager->removeDir((deviceFolder + BasicTool::kSeparator + date).c_str());
        m_pDiskManager->removeDir(deviceFolder.c_str());
    }
}

int RecordDirWithoutIndexOperator::lockRecordFile(RecordInfo const&) { return OV_RECORD_LOCK_FAILED; }

int RecordDirWithoutIndexOperator::unlockRecordFile(RecordInfo const&) { return OV_RECORD_UNLOCK_FAILED; }

int RecordDirWithoutIndexOperator::queryDeviceList(std::map<std::string, int>& devices) {
    if (m_pDiskManager == nullptr) return -1;
    std::vector<std::string> names;
    if (m_pDiskManager->getDirList(recordPath().c_str(), names) < 0) return -1;
    for (std::string const& name : names) {
        DeviceDirParser parser;
        if (parser.parse(name.c_str())) ++devices[name];
    }
    return 0;
}

int RecordDirWithoutIndexOperator::queryDateList(std::string const& deviceId, std::string const& deviceIP,
                                                 std::string const& camera, std::map<std::string, int>& dates) {
    int cameraId = -1;
    if (!camera.empty() && !BasicTool::getNumber(camera, cameraId)) return -1;
    std::vector<std::string> list;
    std::string const deviceDir = BasicTool::getDeviceDirString(deviceId, deviceIP, cameraId);
    if (!BasicTool::getRecordDateList(m_dirInfo, BasicTool::kRecordDirName, deviceDir, list)) return -1;
    for (std::string const& date : list) ++dates[date];
    return 0;
}

int RecordDirWithoutIndexOperator::deleteRecordFile(RecordInfo const& record) {
    long long const begin = static_cast<long long>(record.getRecordBeginTime());
    long long const end = static_cast<long long>(record.getRecordEndTime());
    RangeDeleter* deleter = new RangeDeleter(m_pDiskManager, begin, end);
    SafePointer<IRecordFileWithoutIndexHandler> handler(deleter);
    if (walk(handler, record.getDeviceId(), record.getDeviceIP(), record.getCameraId(), BasicTool::getDateString(begin),
             BasicTool::getEndDateString(end)) < 0)
        return -1;
    return deleter->m_nDeleted;
}

int RecordDirWithoutIndexOperator::getRecordDirSpaceInfo(RecordDirSpaceInfo& space) {
    long long total = 0;
    long long used = 0;
    if (m_pDiskManager == nullptr || m_pDiskManager->getDiskSpace(recordPath().c_str(), total, used) != 0) return 0;
    space.setRecordDirInfo(RecordDirInfoEx::changeToRecordDirInfo(m_dirInfo));
    space.setTotalSpace(total * kMiB);
    space.setFreeSpace((total - used) * kMiB);
    return 1;
}
