#include "snapshot/SnapshotWriterEx.h"

#include <cstdio>
#include <string>

#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/Logger.h"
#include "host/OVTime.h"
#include "recording/RecordTimeOutDetector.h"
#include "snapshot/SnapshotDirOperatorEx.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotIndexItemEx.h"
#include "snapshot/SnapshotUseableFileDir.h"

namespace NS_SnapshotWriterEx {
constexpr unsigned int kLogLimit = 51200;
constexpr unsigned int kLogFiles = 2;

void writeChangeFileLog(RecordFileInfo const& file, int code, long long timeStamp) {
    char text[512];
    std::snprintf(text, sizeof text, "device(%s, %s, %d) need changeFile, nRet = %d, nTimeStamp = %lld",
                  file.getDeviceId().c_str(), file.getDeviceIP().c_str(), file.getCameraId(), code, timeStamp);
    Logger::writeFileLog("recordError.log", "ChangeFile", text, kLogLimit, kLogFiles);
}
}  // namespace NS_SnapshotWriterEx

SnapshotWriterEx::~SnapshotWriterEx() { close(); }

int SnapshotWriterEx::open(SafePointer<RecordFileInfo> const& fileInfo) {
    close();
    m_fileInfo = SafePointer<RecordFileInfo>(new RecordFileInfo(*fileInfo));
    RecordFileInfo const& file = *m_fileInfo;
    int const code = m_indexWriter.open(file, false);
    if (code != 0) return code;
    m_nFileLength = m_indexWriter.getSnapshotFileLength();
    // Never before the entry's begin: an item holds its offset from there.
    m_nLastTimeStamp = m_indexWriter.getBeginTime() * 1000 + m_indexWriter.getTimeInterval();

    RecordDirInfoEx const& dir = file.getRecordDirInfoEx();
    std::string const name = SnapshotDirOperatorEx::getSnapshotFilePath(file);
    m_file = FileFactory::createFile(dir.getDiskType(), dir.getFileSystemFormat());
    if (m_file.isNull() || !m_file->open(name.c_str(), IFile::kModeLocalDisk)) {
        IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
        if (disk != nullptr && disk->isFileExist(name.c_str()) != 1) deleteFile();
        m_file = SafePointer<IFile>();
        m_indexWriter.close();
        return OV_RECORD_OPEN_INDEX_FAILED;
    }
    // Bytes behind the indexed length were never indexed: they are written over.
    if (!m_file->seek(m_nFileLength, SEEK_SET)) {
        m_file->close();
        m_file = SafePointer<IFile>();
        m_indexWriter.close();
        return OV_RECORD_OPEN_INDEX_FAILED;
    }
    m_nFileSizeLimit = dir.getFileSegmentSize() > 0 ? dir.getFileSegmentSize() : SnapshotUseableFileDir::kDefaultFileSize;
    m_bClosed = false;
    m_dLastFlushTime = OVTime::getUpTime();
    return 0;
}

int SnapshotWriterEx::needChangeFile(TSAVData const* data) const {
    // A picture that exactly fills the file still fits.
    if (m_nFileLength + static_cast<long long>(data->getDataLength()) > m_nFileSizeLimit) return OV_RECORD_FILE_FULL;
    // Pictures of a burst may share a millisecond.
    if (data->getTimeStamp() < m_nLastTimeStamp) return OV_RECORD_TIME_ROLLBACK;
    return 0;
}

int SnapshotWriterEx::write(TSAVData const* data, int nBurstMode) {
    if (m_bClosed || m_file.isNull()) return OV_RECORD_WRITE_FAILED;
    int code = needChangeFile(data);
    if (code == OV_RECORD_FILE_FULL) return code;
    if (code != 0) {
        NS_SnapshotWriterEx::writeChangeFileLog(*m_fileInfo, code, data->getTimeStamp());
        return code;
    }
    int const length = static_cast<int>(data->getDataLength());
    if (length > SnapshotIndexItemEx::kMaxDataLength) return OV_RECORD_WRITE_FAILED;
    // Written before the picture, a full item buffer could not be flushed
    // after it without its item naming bytes that never reached the disk.
    if (!m_indexWriter.canBufferItem() && !flushAll()) return OV_RECORD_WRITE_FAILED;
    code = writeData(data->getData(), length);
    if (code != 0) return code;
    m_nLastTimeStamp = data->getTimeStamp();
    if (!m_indexWriter.addIndex(data->getTimeStamp(), nBurstMode, length)) return OV_RECORD_WRITE_FAILED;
    m_nFileLength += length;
    if (OVTime::getUpTime() - m_dLastFlushTime > kFlushIntervalSeconds) {
        if (!m_file->flush()) return OV_RECORD_WRITE_FAILED;
        if (m_indexWriter.writeIndex() == 0) m_dLastFlushTime = OVTime::getUpTime();
    }
    return 0;
}

int SnapshotWriterEx::writeData(char const* data, int nLength) {
    RecordTimeOutDetector detector(kWriteTimeLimitSeconds);
    int done = 0;
    bool timedOut = false;
    while (done < nLength && !timedOut) {
        int const written = m_file->write(data + done, nLength - done);
        if (written < 0) break;
        done += written;
        timedOut = detector.isTimeOut();
        if (!timedOut) continue;
        char key[64];
        std::snprintf(key, sizeof key, "%s_%s_%d", m_fileInfo->getDeviceId().c_str(),
                      m_fileInfo->getDeviceIP().c_str(), m_fileInfo->getCameraId());
        detector.writeLog("SnapshotWriterEx", key, m_fileInfo->getRecordFileName(), nLength, done);
    }
    if (done == nLength && !timedOut) return 0;
    // What part of the picture went out lies behind the indexed length and
    // is written over by the next picture.
    m_file->seek(m_nFileLength, SEEK_SET);
    return OV_RECORD_WRITE_FAILED;
}

bool SnapshotWriterEx::flushAll() {
    if (!m_file->flush()) return false;
    if (m_indexWriter.writeIndex() != 0) return false;
    m_dLastFlushTime = OVTime::getUpTime();
    return true;
}

void SnapshotWriterEx::close() {
    if (m_bClosed) return;
    m_bClosed = true;
    // Items of pictures whose data did not reach the disk must not either.
    if (!m_file->flush()) m_indexWriter.discardItems();
    m_indexWriter.writeIndex();
    m_file->close();
    m_file = SafePointer<IFile>();
    m_indexWriter.close();
}

void SnapshotWriterEx::deleteFile() {
    SnapshotIndexFileParserEx parser;
    RecordFileInfo const& file = *m_fileInfo;
    if (parser.open(file.getRecordDirInfoEx(), file.getRecordDate(), file.getDeviceDirName()) != 1) return;
    bool empty = false;
    parser.deleteFile(file.getRecordFileName(), empty);
}
