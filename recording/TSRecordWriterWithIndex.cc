#include "recording/TSRecordWriterWithIndex.h"

#include <cstdio>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDirStateManager.h"
#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/OrvaneTime.h"
#include "index/RecordIndexFileParserEx.h"
#include "recording/RecordTimeOutDetector.h"
#include "tracking/RecordingMarkManager.h"

namespace NS_TSRecordWriterWithIndex {
constexpr int kNasFormatWithoutCache = 6;

double now() {
    OrvaneTime time = OrvaneTime::currentTime();
    return static_cast<double>(time.getSeconds()) + time.getMicroseconds() / 1000000.0;
}

bool printing() { return GlobalEnv::getInstance()->getPrintFlag(); }
}  // namespace NS_TSRecordWriterWithIndex

using namespace NS_TSRecordWriterWithIndex;

TSRecordWriterWithIndex::~TSRecordWriterWithIndex() {
    try {
        close();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
}

int TSRecordWriterWithIndex::initFlushIntervalTime(int nDiskType, int nFormat) {
    if (nDiskType != DiskKind::kNas) return 60;
    return nFormat == kNasFormatWithoutCache ? 0 : 30;
}

int TSRecordWriterWithIndex::open(SafePointer<RecordFileInfo> const& info, int& nTimeLength) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    try {
        m_recordFileInfo = SafePointer<RecordFileInfo>(new RecordFileInfo(*info));
        RecordFileInfo const& file = *m_recordFileInfo;
        RecordDirInfoEx dir = file.getRecordDirInfoEx();
        m_nFileSegmentSize = static_cast<unsigned long long>(dir.getFileSegmentSize());
        std::string fileName = file.createRecordFileName();
        m_nDiskType = dir.getDiskType();
        int format = dir.getFileSystemFormat();

        m_recordFile = FileFactory::createFileEx(m_nDiskType, format, 1);
        IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, format);
        size_t slash = fileName.rfind('/');
        std::string folder = slash == std::string::npos ? fileName : fileName.substr(0, slash);
        if (disk == nullptr || !disk->createDir(folder.c_str())) return OV_RECORD_OPEN_FILE_FAILED;

        long long beginTime = file.getRecordBeginTime();
        int code = m_indexWriter.open(m_recordFileInfo, false);
        if (code != 0) return code;
        int fileLength = m_indexWriter.getRecordFileLength();
        int timeInterval = m_indexWriter.getRecordTimeInterval();
        nTimeLength = m_indexWriter.getRecordTimeLength();

        int mode = m_nDiskType == DiskKind::kNas ? 2 : 4;
        if (!m_recordFile->open(fileName.c_str(), mode)) {
            if (disk->isFileExist(fileName.c_str()) != 1) deleteFile();
            m_indexWriter.close();
            return OV_RECORD_OPEN_FILE_FAILED;
        }
        // Bytes behind the indexed length are not valid data: they are
        // overwritten, so a power cut costs nothing but what was not indexed.
        if (!m_recordFile->seek(fileLength, SEEK_SET)) {
            m_indexWriter.close();
            m_recordFile->close();
            return OV_RECORD_OPEN_FILE_FAILED;
        }
        if (file.getRecordStorageType() == 0) {
            RecordingMarkManager::getInstance()->addMark(file.getDeviceDirName(), file.getRecordDate());
            m_bMarked = true;
        }

        m_nFileLength = fileLength;
        m_nMinTimeStamp = timeInterval == 0 ? beginTime : beginTime + 1 + timeInterval;
        m_bClosed = false;
        m_bGivenUp = false;
        m_bFirstFrame = true;
        m_dLastFlushTime = 0;
        m_nFlushInterval = initFlushIntervalTime(m_nDiskType, format);
        m_nUsePercent = 100;
        m_nUsePercent = StorageParameterManage::getInstance()->getRecordFileUsePercent();
        m_nTimeOutCount = 0;
        return 0;
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
        return OV_RECORD_OPEN_FILE_FAILED;
    }
}

int TSRecordWriterWithIndex::needChangeFile(TSAVData const* data) const {
    unsigned long long limit = static_cast<unsigned long long>(m_nUsePercent) * m_nFileSegmentSize / 100;
    if (static_cast<unsigned long long>(data->getDataLength()) + static_cast<unsigned long long>(m_nFileLength) >=
        limit)
        return OV_RECORD_FILE_FULL;
    if (m_bFirstFrame && data->getTimeStamp() < m_nMinTimeStamp) return OV_RECORD_TIME_ROLLBACK;
    return 0;
}

int TSRecordWriterWithIndex::write(TSAVData const* data, bool bLock, int) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_bClosed || m_recordFile.isNull()) return OV_RECORD_WRITE_FAILED;
    int code = needChangeFile(data);
    if (code != 0) return code;
    try {
        code = writeData(data->getData(), static_cast<int>(data->getDataLength()));
    } catch (OVRuntimeError const&) {
        giveUpFile();
        throw;
    }
    if (code != 0) {
        // The file will not be continued.
        LastRecordFileInfoManager::getInstance()->eraseLastRecordFileInfo(m_recordFileInfo);
        return code;
    }
    int isIFrame = data->getFrameType() == FrameKind::kIFrame ? 1 : 0;
    int length = static_cast<int>(data->getDataLength());
    if (m_bFirstFrame) {
        m_indexWriter.setFirstTSIndex(data->getTimeStamp(), data->getDataTimeLength(), length, isIFrame,
                                      bLock, 0);
        m_bFirstFrame = false;
    } else {
        m_indexWriter.addTSIndex(data->getTimeStamp(), data->getESStreamType(), data->getDataTimeLength(),
                                 length, isIFrame, bLock, 0);
    }
    return 0;
}

int TSRecordWriterWithIndex::writeData(char const* data, int length) {
    RecordTimeOutDetector detector(kWriteTimeLimitSeconds);
    int left = length;
    while (left > 0) {
        int written = m_recordFile->write(data + (length - left), left);
        if (written < 0) return OV_RECORD_WRITE_FAILED;
        left -= written;
        if (!detector.isTimeOut()) continue;
        ++m_nTimeOutCount;
        char key[64];
        std::snprintf(key, sizeof(key), "%s_%s_%d", m_recordFileInfo->getDeviceId().c_str(),
                      m_recordFileInfo->getDeviceIP().c_str(), m_recordFileInfo->getCameraId());
        detector.writeLog("TSRecordWriterWithIndex", key, m_recordFileInfo->getRecordFileName(), length,
                          length - left);
        RecordDirStateManager::getInstance()->addTimeout(m_recordFileInfo->getRecordDirInfoEx(),
                                                         detector.getTimeOutInterval());
        return OV_RECORD_WRITE_FAILED;
    }
    m_nFileLength += length;

    double current = now();
    if (m_dLastFlushTime == 0) {
        m_dLastFlushTime = current;
        return 0;
    }
    bool update = m_bUpdateFlag.load();
    if (current - m_dLastFlushTime <= m_nFlushInterval && !update) return 0;
    // Data synced before the index bytes that name it, then the index
    // synced: a power cut loses at most one flush interval. With an interval
    // (local disk 60 s, share 30 s) that is two fdatasync per file and
    // interval; the recording benchmark (64 channels, local folder) shows no
    // difference from not syncing at all. A share without cache has interval
    // 0, an index write per block: two syncs per block there cut the same
    // benchmark from 460-1080 to 70-460 MB/s and cost 60% more CPU, and a
    // real share pays a round trip per sync. On such a share a write is on
    // the server when it returns, so data before index holds by write order
    // alone; only an update (and close) syncs there.
    bool sync = update || m_nFlushInterval > 0;
    if (sync && !m_recordFile->flush()) return OV_RECORD_WRITE_FAILED;
    if (!m_indexWriter.writeIndex(sync)) {
        if (printing()) std::printf("TSRecordWriterWithIndex::writeData, writeIndex(), failed \n");
        return OV_RECORD_WRITE_FAILED;
    }
    m_dLastFlushTime = current;
    if (!update) return 0;
    if (printing())
        std::printf("TSRecordWriterWithIndex::writeData, UpdateFlag=ture, FileName=%s \n",
                    m_recordFileInfo->getRecordFileName().c_str());
    m_bUpdateFlag = false;
    return OV_RECORD_FILE_UPDATED;
}

void TSRecordWriterWithIndex::giveUpFile() {
    // The next entry of the channel's day goes right behind what this one
    // has in the index file, so this writer must not write there again: the
    // entry stays as its last flush left it, unsealed as after a power cut,
    // readable and never continued. Its mark goes now, on the session's
    // thread: the late close comes after the next file set the device's mark.
    m_bGivenUp = true;
    clearRecordingMark();
}

void TSRecordWriterWithIndex::setUpdateFlag() {
    m_bUpdateFlag = true;
    if (printing() && !m_recordFileInfo.isNull())
        std::printf("TSRecordWriterWithIndex::setUpdateFlag, recordFile(%s) \n",
                    m_recordFileInfo->getRecordFileName().c_str());
}

void TSRecordWriterWithIndex::writeLeftData() { m_indexWriter.writeLastTSIndex(); }

void TSRecordWriterWithIndex::clearRecordingMark() {
    if (!m_bMarked) return;
    m_bMarked = false;
    RecordingMarkManager::getInstance()->delMark(m_recordFileInfo->getDeviceDirName());
}

int TSRecordWriterWithIndex::getDirectIOoffset() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_nFileLength % 4096;
}

void TSRecordWriterWithIndex::close() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_bClosed || m_recordFile.isNull()) return;
    // The last items and the closing CRC name the data: it goes to disk
    // first, and data that could not be synced is never named by the index.
    if (!m_recordFile->flush()) m_bGivenUp = true;
    if (!m_bGivenUp) {
        try {
            writeLeftData();
        } catch (OVRuntimeError const& error) {
            Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
        }
    }
    m_recordFile->close();
    // A given-up entry's index file is let go unwritten, with the writer.
    if (!m_bGivenUp) m_indexWriter.close();
    clearRecordingMark();
    m_nTimeOutCount = 0;
    m_bClosed = true;
}

bool TSRecordWriterWithIndex::isSameDisk(std::string const& diskName) {
    if (m_recordFileInfo.isNull()) return false;
    return m_recordFileInfo->getRecordDirInfoEx().getRecordDiskName().find(diskName) != std::string::npos;
}

void TSRecordWriterWithIndex::deleteFile() {
    RecordIndexFileParserEx parser;
    if (parser.open(m_recordFileInfo->getRecordDirInfoEx(), m_recordFileInfo->getRecordDate(),
                    m_recordFileInfo->getDeviceDirName(), m_recordFileInfo->getRecordStorageType(), 1) != 1)
        return;
    parser.deleteFile(*m_recordFileInfo);
    parser.close();
}
