#include "recording/TSRecordWriterWithoutIndex.h"

#include <cstdio>

#include "foundation/EncoderType.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/Logger.h"
#include "host/OVDateTime.h"
#include "host/OVTime.h"
#include "host/OrvaneTime.h"
#include "recording/RecordTimeOutDetector.h"

TSRecordWriterWithoutIndex::~TSRecordWriterWithoutIndex() {
    try {
        close();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
}

int TSRecordWriterWithoutIndex::open(SafePointer<RecordFileInfo> const& info, int&) {
    m_bClosed = true;
    RecordDirInfoEx dir = info->getRecordDirInfoEx();
    m_recordFileInfo = info;
    m_nFileSegmentSize = static_cast<unsigned long long>(dir.getFileSegmentSize());
    m_strFileName = info->createRecordFileName();
    long long beginTime = info->getRecordBeginTime();
    m_recordFile = FileFactory::createFile(dir.getDiskType(), dir.getFileSystemFormat());
    IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
    size_t slash = m_strFileName.rfind('/');
    std::string folder = slash == std::string::npos ? m_strFileName : m_strFileName.substr(0, slash);
    if (disk == nullptr || !disk->createDir(folder.c_str())) return OV_RECORD_OPEN_FILE_FAILED;

    OVDateTime local;
    OrvaneTime::getStructTime(local, static_cast<unsigned long>(beginTime));
    m_nFileEndTime = beginTime + 86400 - 3600 * local.hour - 60 * local.minute - local.second;
    if (!m_recordFile->open(m_strFileName.c_str(), 2)) return OV_RECORD_OPEN_FILE_FAILED;
    // A file of this name is continued at its end, never written over.
    long long const length = m_recordFile->getLength();
    if (length < 0 || length > 0x7fffffffLL || !m_recordFile->seek(length, SEEK_SET)) {
        m_recordFile->close();
        return OV_RECORD_OPEN_FILE_FAILED;
    }
    m_nFileLength = static_cast<int>(length);
    m_bWaitIFrame = true;
    m_bClosed = false;
    m_dLastFlushTime = 0;
    m_nTimeOutCount = 0;
    return 0;
}

int TSRecordWriterWithoutIndex::isNeedChangeFile(TSAVData const* data) const {
    bool iFrame = data->getFrameType() == FrameKind::kIFrame;
    if (iFrame && static_cast<unsigned long long>(data->getDataLength()) +
                          static_cast<unsigned long long>(m_nFileLength) >=
                      m_nFileSegmentSize)
        return OV_RECORD_FILE_FULL;
    if (data->getESStreamType() != ESStream::kVideo) return 0;
    if (data->getTimeStamp() - m_nFileEndTime < 1) return 0;
    if (!iFrame) return 0;
    return OV_RECORD_DAY_OVER;
}

int TSRecordWriterWithoutIndex::write(TSAVData const* data, bool, int) {
    if (m_bClosed || m_recordFile.isNull()) return OV_RECORD_WRITE_FAILED;
    if (m_bWaitIFrame) {
        if (data->getFrameType() != FrameKind::kIFrame) return 0;
        m_bWaitIFrame = false;
    }
    int code = isNeedChangeFile(data);
    if (code != 0) return code;
    return writeData(data->getData(), static_cast<int>(data->getDataLength()));
}

int TSRecordWriterWithoutIndex::writeData(char const* data, int length) {
    RecordTimeOutDetector detector(kWriteTimeLimitSeconds);
    int left = length;
    while (left > 0) {
        int written = m_recordFile->write(data + (length - left), left);
        if (written < 0) return OV_RECORD_WRITE_FAILED;
        left -= written;
        if (detector.isTimeOut()) {
            ++m_nTimeOutCount;
            char key[64];
            std::snprintf(key, sizeof key, "%s_%s_%d", m_recordFileInfo->getDeviceId().c_str(),
                          m_recordFileInfo->getDeviceIP().c_str(), m_recordFileInfo->getCameraId());
            detector.writeLog("TSRecordWriterWithoutIndex", key, m_strFileName, length, length - left);
            return OV_RECORD_WRITE_FAILED;
        }
    }
    m_nFileLength += length;
    double now = OVTime::getSeconds();
    if (m_dLastFlushTime == 0) m_dLastFlushTime = now;
    if (now - m_dLastFlushTime > kFlushIntervalSeconds) {
        m_recordFile->flush();
        m_dLastFlushTime = now;
    }
    return 0;
}

void TSRecordWriterWithoutIndex::close() {
    if (m_bClosed || m_recordFile.isNull()) return;
    m_recordFile->flush();
    m_recordFile->close();
    m_bClosed = true;
}
