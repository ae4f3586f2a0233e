#include "directory/PlainRecordDir.h"

#include "directory/EarliestFileInfoList.h"
#include "directory/RecordDirHandler.h"
#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "index/RecordFileIndexCreator.h"
#include "index/RecordIndexFileParserEx.h"

PlainRecordDir::PlainRecordDir(RecordDirInfoEx const& info) : IRecordDir(info) {}

PlainRecordDir::~PlainRecordDir() { stopDetectionThread(); }

int PlainRecordDir::init() {
    RecordDirInfoEx info = getRecordDirInfoEx();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    std::string recordDir = BasicTool::getRecordDir(info.getRecordRootDir());
    m_bReady = disk != nullptr && disk->createDir(recordDir.c_str()) != 0;
    if (!m_bReady) writeLog("init failed", __LINE__);
    return m_bReady ? 1 : 0;
}

int PlainRecordDir::getRecordDirSpaceInfo(RecordDirSpaceInfo& space) {
    RecordDirInfoEx info = getRecordDirInfoEx();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    long long total = 0;
    long long used = 0;
    if (disk == nullptr || disk->getDiskSpace(info.getRecordRootDir().c_str(), total, used) != 0) return 0;
    space.setTotalSpace(total << 20);
    space.setFreeSpace((total - used) << 20);
    space.setRecordFileSize(info.getFileSegmentSize());
    space.setActualUseableSpace((total - used) << 20);
    space.setRecordDirInfo(RecordDirInfoEx::changeToRecordDirInfo(info));
    return 1;
}

// Every file or folder made here is synced into its folder (the disk manager
// does it) before an index entry names it: a power cut cannot leave an index
// pointing at a file that the folder forgot.
int PlainRecordDir::createFile(SafePointer<RecordFileInfo>& file) {
    if (!isWritable()) return OV_RECORD_DIR_NOT_WRITABLE;
    RecordDirInfoEx info = getRecordDirInfoEx();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    if (disk == nullptr) return OV_RECORD_HD_NO_FILE;
    file->setRecordDirInfoEx(info);
    RecordFileIndexCreator creator(info);
    if (creator.createIndexFile(file) != 0) {
        writeLog("createFile: index file failed", __LINE__);
        return OV_RECORD_CREATE_INDEX_FAILED;
    }
    if (!m_requests.isRequestNewFile(file->getRecordDeviceInfo()) && creator.togetherRecordFile(file) == 0) return 0;

    // Numbers are never reused: skip any name a file already holds.
    for (;;) {
        file->setFileNumber(m_nNextFileNumber++);
        file->setRecordFileName(file->createFileName());
        if (disk->isFileExist(file->createRecordFileName().c_str()) != 1) break;
    }
    if (disk->createEmptyFile(file->createRecordFileName().c_str()) == 0) {
        writeLog("createFile: record file failed", __LINE__);
        return OV_RECORD_HD_NO_FILE;
    }
    if (creator.createNewFileIndexSegment(file) != 0) {
        // A record file is handed out only with its entry: one without would
        // lie in the date folder, empty, named by no index.
        disk->deleteFile(file->createRecordFileName().c_str());
        writeLog("createFile: index entry failed", __LINE__);
        return OV_RECORD_NEW_INDEX_FAILED;
    }
    return 0;
}

int PlainRecordDir::getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies,
                                        EarliestFileInfoList& list, bool bIncludeLocked, int nCount) {
    RecordDirInfoEx info = getRecordDirInfoEx();
    RecordDirHandler handler(info, BasicTool::getRecordDir(info.getRecordRootDir()));
    if (handler.init(info.getFileSystemFormat()) == 0) return -1;
    return handler.getEarliestFileList(list, policies, bIncludeLocked, nCount);
}

int PlainRecordDir::deleteFile(SafePointer<RecordFileInfo> const& file) {
    RecordDirInfoEx info = getRecordDirInfoEx();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    if (disk == nullptr) return 0;
    std::string path = file->createRecordFileName();
    if (m_recycleBin.get() == nullptr) return disk->deleteFile(path.c_str()) ? 1 : 0;
    // The file is durable in the bin before its entry goes: a power cut in
    // between leaves an entry whose file is gone, which the next pass drops,
    // never a file that no index names and no bin holds.
    bool moved = m_recycleBin->deleteFile(path, file->getRecordFileName());
    if (!moved && disk->isFileExist(path.c_str()) == 1) return 0;
    RecordDirHandler handler(info, BasicTool::getRecordDir(info.getRecordRootDir()));
    bool dropped = handler.init(info.getFileSystemFormat()) != 0 && handler.deleteFile(file) == 1;
    return moved && dropped ? 1 : 0;
}

int PlainRecordDir::startDetectionThread() { return m_closeThread.start() ? 1 : 0; }

void PlainRecordDir::stopDetectionThread() { m_closeThread.stop(); }

void PlainRecordDir::closeRecordWriter(SafePointer<IRecordWriter> const& writer) {
    writeLog("closeRecordWriter", __LINE__);
    m_closeThread.addRecordWriter(writer);
}

int PlainRecordDir::updateFileState(int fileNumber, int minSpeed, int averageSpeed, int timeOuts) {
    m_lastState.nFileNumber = fileNumber;
    m_lastState.nMinSpeed = minSpeed;
    m_lastState.nAverageSpeed = averageSpeed;
    m_lastState.nTimeOuts = timeOuts;
    ++m_lastState.nReports;
    return 1;
}
