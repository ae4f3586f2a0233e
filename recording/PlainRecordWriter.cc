#include "recording/PlainRecordWriter.h"

#include <cstdio>
#include <cstring>

#include "directory/LastRecordFileInfoManager.h"
#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/Logger.h"
#include "host/OVTime.h"
#include "recording/RecordTimeOutDetector.h"

namespace NS_PlainRecordWriter {
constexpr int kNasFlushFormat = 6;

int flushInterval(int diskType, int format) {
    if (diskType != DiskKind::kNas) return 60;
    return format == kNasFlushFormat ? 0 : 30;
}
}  // namespace NS_PlainRecordWriter

PlainRecordWriter::~PlainRecordWriter() { close(); }

int PlainRecordWriter::open(SafePointer<RecordFileInfo> const& info, int& nTimeLength) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    try {
        RecordDirInfoEx dir = info->getRecordDirInfoEx();
        m_recordFileInfo = info;
        m_nFileSegmentSize = static_cast<unsigned long long>(dir.getFileSegmentSize());
        m_nDiskType = dir.getDiskType();
        int format = dir.getFileSystemFormat();
        std::string fileName = info->createRecordFileName();

        m_recordFile = FileFactory::createFileEx(m_nDiskType, format, 1);
        IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, format);
        std::string folder = fileName.substr(0, fileName.rfind('/'));
        if (disk == nullptr || !disk->createDir(folder.c_str())) return OV_RECORD_OPEN_FILE_FAILED;

        int mode = m_nDiskType == DiskKind::kNas ? 2 : 4;
        if (!m_recordFile->open(fileName.c_str(), mode)) return OV_RECORD_OPEN_FILE_FAILED;
        long long length = m_recordFile->getLength();
        if (length < 0 || !m_recordFile->seek(length, SEEK_SET)) {
            m_recordFile->close();
            return OV_RECORD_OPEN_FILE_FAILED;
        }

        // A file that already holds data is being continued: it covers up to
        // its end time, and nothing older may be appended.
        long long begin = info->getRecordBeginTime();
        long long end = info->getRecordEndTime();
        int interval = (length > 0 && end > begin) ? static_cast<int>(end - begin) : 0;
        nTimeLength = interval;
        m_nMinTimeStamp = interval == 0 ? begin : begin + 1 + interval;
        m_nFileLength = length;
        info->setRecordFileLength(static_cast<int>(length));

        m_bClosed = false;
        m_bFirstFrame = true;
        m_dLastFlushTime = 0;
        m_nFlushInterval = NS_PlainRecordWriter::flushInterval(m_nDiskType, format);
        m_nUsePercent = 100;
        m_nTimeOutCount = 0;
        return 0;
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
        return OV_RECORD_OPEN_FILE_FAILED;
    }
}

int PlainRecordWriter::needChangeFile(TSAVData const* data) const {
    unsigned long long usable = static_cast<unsigned long long>(m_nUsePercent) * m_nFileSegmentSize / 100;
    if (static_cast<unsigned long long>(data->getDataLength()) +
            static_cast<unsigned long long>(m_nFileLength) >= usable)
        return OV_RECORD_FILE_FULL;
    if (m_bFirstFrame && data->getTimeStamp() < m_nMinTimeStamp) return OV_RECORD_TIME_ROLLBACK;
    return 0;
}

int PlainRecordWriter::write(TSAVData const* data, bool, int) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_bClosed || m_recordFile.isNull()) return OV_RECORD_WRITE_FAILED;
    int code = needChangeFile(data);
    if (code != 0) return code;
    code = writeData(data->getData(), static_cast<int>(data->getDataLength()), data->getTimeStamp());
    if (code != 0 && code != OV_RECORD_FILE_UPDATED) {
        LastRecordFileInfoManager::getInstance()->eraseLastRecordFileInfo(m_recordFileInfo);
        return code;
    }
    m_bFirstFrame = false;
    return code;
}

int PlainRecordWriter::writeData(char const* data, int length, long long timeStamp) {
    RecordTimeOutDetector detector(kWriteTimeLimitSeconds);
    int left = length;
    while (left > 0) {
        int written = m_recordFile->write(data + (length - left), left);
        if (written < 0) return OV_RECORD_WRITE_FAILED;
        left -= written;
        if (detector.isTimeOut()) {
            ++m_nTimeOutCount;
            char key[64];
            std::snprintf(key, sizeof(key), "%s_%s_%d", m_recordFileInfo->getDeviceId().c_str(),
                          m_recordFileInfo->getDeviceIP().c_str(), m_recordFileInfo->getCameraId());
            detector.writeLog("PlainRecordWriter", key, m_recordFileInfo->getRecordFileName(), length,
                              length - left);
            return OV_RECORD_WRITE_FAILED;
        }
    }
    m_nFileLength += length;
    m_recordFileInfo->setRecordFileLength(static_cast<int>(m_nFileLength));
    m_recordFileInfo->setRecordEndTime(timeStamp);
    LastRecordFileInfoManager::getInstance()->setLastRecordFileInfo(m_recordFileInfo);

    double now = OVTime::getSeconds();
    if (m_dLastFlushTime == 0) {
        m_dLastFlushTime = now;
        return 0;
    }
    if (now - m_dLastFlushTime <= m_nFlushInterval && !m_bUpdateFlag) return 0;
    if (!m_recordFile->flush()) return OV_RECORD_WRITE_FAILED;
    m_dLastFlushTime = now;
    if (!m_bUpdateFlag) return 0;
    m_bUpdateFlag = false;
    return OV_RECORD_FILE_UPDATED;
}

int PlainRecordWriter::getDirectIOoffset() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return static_cast<int>(m_nFileLength % 4096);
}

void PlainRecordWriter::close() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_bClosed || m_recordFile.isNull()) return;
    m_bClosed = true;
    m_nTimeOutCount = 0;
    m_recordFile->flush();
    m_recordFile->close();
}

bool PlainRecordWriter::isSameDisk(std::string const& diskName) {
    if (m_recordFileInfo.isNull()) return false;
    return m_recordFileInfo->getRecordDirInfoEx().getRecordDiskName().find(diskName) !=
           std::string::npos;
}
