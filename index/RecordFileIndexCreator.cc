#include "index/RecordFileIndexCreator.h"

#include <cstdio>

#include "directory/IndexDirManager.h"
#include "directory/LastRecordFileInfoManager.h"
#include "foundation/BasicTool.h"
#include "foundation/CommonLog.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/Logger.h"
#include "index/RecordFileIndexWriter.h"
#include "index/RecordIndexCodec.h"
#include "index/RecordIndexFileParserEx.h"

RecordFileIndexCreator::RecordFileIndexCreator(RecordDirInfoEx const& dir)
    : m_dirInfo(dir),
      m_pDiskManager(DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat())),
      m_strRootPath(BasicTool::getRecordDir(dir.getRecordRootDir())) {}

RecordFileIndexCreator::~RecordFileIndexCreator() = default;

void RecordFileIndexCreator::setIndexDirManager(SafePointer<IndexDirManager> const& pool) {
    m_indexPool = pool;
}

int RecordFileIndexCreator::createIndexFile(SafePointer<RecordFileInfo>& file) {
    std::string target = RecordIndexFileParserEx::getIndexFileName(*file);
    if (m_pDiskManager == nullptr) return OV_RECORD_CREATE_INDEX_FAILED;
    if (m_pDiskManager->isFileExist(target.c_str()) == 1) return 0;
    // The device folder comes with it; each new folder is synced into its parent.
    if (!m_pDiskManager->createDir(file->getDateDir().c_str())) return OV_RECORD_CREATE_INDEX_FAILED;
    if (!m_indexPool.isNull() && m_indexPool->createIndexFile(target) == 1) return 0;
    // A pool holds one index file per ten record files; many channels on a
    // small disk use them up while record files are still free. Recording
    // must not stop for that: the index is made in place, out of the space
    // the pool leaves over.
    if (!m_indexPool.isNull())
        Logger::writeLog("RecordIOError", ("index pool dry, made in place: " + target).c_str(), __FILE__, __LINE__);
    bool made = m_pDiskManager->createFilledFile(target.c_str(), kIndexFileSize, IndexDirManager::kIndexFileFill) == 0;
    return made ? 0 : OV_RECORD_CREATE_INDEX_FAILED;
}

std::string RecordFileIndexCreator::createRecordFileName(SafePointer<RecordFileInfo>& file) {
    // Number 0 is the unnumbered file of a directory without index.
    int number = file->getFileNumber() >= 1 ? file->getFileNumber() : -1;
    return BasicTool::getRecordFileName(number, file->getDeviceId(), file->getDeviceIP(),
                                        file->getCameraId(),
                                        static_cast<unsigned long>(file->getRecordBeginTime()));
}

bool RecordFileIndexCreator::getValidFileName(SafePointer<RecordFileInfo>& file) {
    file->setRecordFileName(createRecordFileName(file));
    std::string whole = file->createRecordFileName();
    if (m_pDiskManager != nullptr && m_pDiskManager->isFileExist(whole.c_str()) == 1) {
        char text[512];
        std::snprintf(text, sizeof(text), "%s exist same name", whole.c_str());
        CommonLog::writeBugLog(text, __FILE__, __LINE__);
        return false;
    }
    return true;
}

int RecordFileIndexCreator::writeNewEntry(SafePointer<RecordFileInfo>& file, std::string const& name) {
    RecordFileIndexWriter writer;
    int code = writer.open(file, true);
    if (code != 0) return code;
    code = writer.writeRecordFileInfo(name.c_str(), file->getAVStreamInfo());
    writer.close();
    return code;
}

int RecordFileIndexCreator::createNewFileIndex(SafePointer<RecordFileInfo>& file) {
    if (!getValidFileName(file)) return OV_RECORD_NEW_INDEX_FAILED;
    return writeNewEntry(file, file->getRecordFileName());
}

int RecordFileIndexCreator::createNewFileIndexSegment(SafePointer<RecordFileInfo>& file) {
    file->setRecordFileName(file->createFileName());
    return writeNewEntry(file, file->getRecordFileName());
}

int RecordFileIndexCreator::isNeedChangeFile(AVStreamInfo const& last, AVStreamInfo const& next) {
    return (last.getEncoderType() != next.getEncoderType() ||
            last.getImageWidth() != next.getImageWidth() ||
            last.getImageHeight() != next.getImageHeight())
               ? 1
               : 0;
}

bool RecordFileIndexCreator::getOldFileIndex(SafePointer<RecordFileInfo>& scratch, int& version, bool& closed) {
    LastRecordFileInfoManager* memory = LastRecordFileInfoManager::getInstance();
    int dataLength = 0;
    int timeLength = 0;
    int interval = 0;
    int end = -1;
    version = -1;
    closed = false;
    if (memory->getOldFileIndex(scratch, version)) {
        memory->getRecordValidLength(scratch, dataLength, timeLength, interval, end, closed);
        return true;
    }
    // Read from the disk; an entry too long for memory is joined all the same.
    SafePointer<LastRecordFileInfo> entry = memory->initLastRecordFileInfo(scratch);
    if (entry.isNull()) return false;
    entry->getRecordFileInfo(*scratch, version);
    entry->getRecordValidLength(dataLength, timeLength, interval, end, closed);
    return true;
}

int RecordFileIndexCreator::getLastFileState(RecordFileInfo const& last) {
    if (m_pDiskManager == nullptr) return kLastFileLocked;  // can't look: leave it be
    std::string path = last.createRecordFileName();
    if (m_pDiskManager->isFileExist(path.c_str()) == 1) return kLastFileThere;
    // Locking renames the file; it is still there, and its entry with it.
    if (m_pDiskManager->isFileExist(BasicTool::getLockedFileName(path).c_str()) == 1) return kLastFileLocked;
    return kLastFileGone;
}

void RecordFileIndexCreator::deleteOldFileIndex(RecordFileInfo const& last) {
    RecordIndexFileParserEx parser;
    if (parser.open(m_dirInfo, last.getRecordDate(), last.getDeviceDirName(), last.getRecordStorageType(),
                    1) != 1)
        return;
    parser.deleteFile(last);
    parser.close();
}

int RecordFileIndexCreator::togetherRecordFile(SafePointer<RecordFileInfo>& file) {
    SafePointer<RecordFileInfo> scratch(new RecordFileInfo());
    scratch->setDeviceId(file->getDeviceId());
    scratch->setBurstMode(file->getBurstMode());
    scratch->setCameraId(file->getCameraId());
    scratch->setDeviceIP(file->getDeviceIP());
    scratch->setRecordMode(file->getRecordMode());
    scratch->setRecordDate(file->getRecordDate());
    scratch->setRecordBeginTime(file->getRecordBeginTime());
    scratch->setRecordStorageType(file->getRecordStorageType());
    scratch->setRecordDirInfoEx(m_dirInfo);

    int version = -1;
    bool closed = false;
    if (!getOldFileIndex(scratch, version, closed) || version != RecordIndexCodec::kIndexVersion3) return -1;
    // A run that a power cut left unsealed is never appended to; taking a
    // fresh file at once keeps the block that asked for it.
    if (!closed) return -1;
    // A locked file is kept as it is: no more data, and its entry stays.
    int state = getLastFileState(*scratch);
    if (state == kLastFileLocked) return -1;
    if (state == kLastFileGone) {
        deleteOldFileIndex(*scratch);
        return -3;
    }
    if (isNeedChangeFile(scratch->getAVStreamInfo(), file->getAVStreamInfo())) return -2;
    file->setRecordBeginTime(scratch->getRecordBeginTime());
    file->setRecordFileName(scratch->getRecordFileName());
    file->setAVStreamInfo(scratch->getAVStreamInfo());
    file->setFileNumber(scratch->getFileNumber());
    return 0;
}

int RecordFileIndexCreator::needCreateNewFileIndex(SafePointer<RecordFileInfo>& file, bool forceNew,
                                                   bool& isNew) {
    isNew = true;
    if (forceNew) return 1;
    SafePointer<RecordFileInfo> scratch(new RecordFileInfo(*file));
    scratch->setRecordDirInfoEx(m_dirInfo);
    int version = -1;
    bool closed = false;
    if (!getOldFileIndex(scratch, version, closed) || version != RecordIndexCodec::kIndexVersion3 || !closed)
        return 1;
    int state = getLastFileState(*scratch);
    if (state == kLastFileGone) deleteOldFileIndex(*scratch);
    if (state != kLastFileThere) return 1;
    if (isNeedChangeFile(scratch->getAVStreamInfo(), file->getAVStreamInfo())) return 1;
    file->setRecordBeginTime(scratch->getRecordBeginTime());
    file->setRecordFileName(scratch->getRecordFileName());
    file->setAVStreamInfo(scratch->getAVStreamInfo());
    isNew = false;
    return 0;
}

int RecordFileIndexCreator::createFileIndex(SafePointer<RecordFileInfo>& file, bool forceNew, bool& isNew) {
    if (createIndexFile(file) != 0) return OV_RECORD_IO_ERROR;
    if (needCreateNewFileIndex(file, forceNew, isNew) == 0) return 0;
    return createNewFileIndex(file);
}
