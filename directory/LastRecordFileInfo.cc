#include "directory/LastRecordFileInfo.h"

#include <cstring>
#include <new>

#include "index/RecordIndexParserImplEx.h"

LastRecordFileInfo::LastRecordFileInfo() : m_pIndexBuffer(new (std::nothrow) char[kIndexBufferSize]) {
    setRecordStorageType(2);
}

void LastRecordFileInfo::setRecordValidLength(int dataLength, int timeLength, int timeInterval,
                                              int endPos, bool closed) {
    m_nRecordLength = dataLength;
    m_nTimeLength = timeLength;
    m_nTimeInterval = timeInterval;
    m_nEndPos = endPos;
    m_bFinished = closed;
}

int LastRecordFileInfo::getRecordValidLength(int& dataLength, int& timeLength, int& timeInterval,
                                             int& endPos, bool& closed) const {
    dataLength = m_nRecordLength;
    timeLength = m_nTimeLength;
    timeInterval = m_nTimeInterval;
    endPos = m_nEndPos;
    closed = m_bFinished;
    return 1;
}

bool LastRecordFileInfo::setIndexInfo(char const* data, int length) {
    if (!m_pIndexBuffer || length < 0 || (data == nullptr && length > 0)) return false;
    if (length > kIndexBufferSize) return false;
    if (length > 0) std::memcpy(m_pIndexBuffer.get(), data, static_cast<size_t>(length));
    m_nIndexLength = length;
    return true;
}

bool LastRecordFileInfo::addIndexInfo(char const* data, int length) {
    if (!m_pIndexBuffer || data == nullptr || length < 0) return false;
    if (m_nIndexLength + length > kIndexBufferSize) return false;
    std::memcpy(m_pIndexBuffer.get() + m_nIndexLength, data, static_cast<size_t>(length));
    m_nIndexLength += length;
    return true;
}

void LastRecordFileInfo::setRecordFileInfo(RecordFileInfo const& file, int oldIndex) {
    RecordFileInfo::operator=(file);
    m_nOldFileIndex = oldIndex;
}

int LastRecordFileInfo::getRecordFileInfo(RecordFileInfo& file, int& oldIndex) const {
    if (m_nOldFileIndex < 0) return 0;
    file.setRecordFileName(getRecordFileName());
    file.setRecordBeginTime(getRecordBeginTime());
    file.setCameraId(getCameraId());
    file.setDeviceId(getDeviceId());
    file.setDeviceIP(getDeviceIP());
    file.setRecordDate(getRecordDate());
    file.setRecordDirInfoEx(getRecordDirInfoEx());
    file.setRecordStorageType(getRecordStorageType());
    file.setAVStreamInfo(getAVStreamInfo());
    file.setFileNumber(getFileNumber());
    oldIndex = m_nOldFileIndex;
    return 1;
}

bool LastRecordFileInfo::isSameDevice(RecordFileInfo const& file) const {
    return getDeviceId() == file.getDeviceId() && getDeviceIP() == file.getDeviceIP() &&
           getCameraId() == file.getCameraId();
}

bool LastRecordFileInfo::isEqual(RecordFileInfo const& file) const {
    return isSameRecordDir(file.getRecordDirInfoEx()) && isSameDevice(file) &&
           getRecordDate() == file.getRecordDate() &&
           getRecordStorageType() == file.getRecordStorageType();
}

bool LastRecordFileInfo::setLastRecordFileInfo(SafePointer<RecordFileInfo> const& file, int oldIndex,
                                               char const* data, int length, long long entryBegin) {
    if (!setIndexInfo(data, length)) return false;
    setRecordFileInfo(*file, oldIndex);
    m_nEntryBegin = entryBegin;
    return refreshValidLength();
}

bool LastRecordFileInfo::addLastRecordFileInfo(char const* data, int length) {
    return addIndexInfo(data, length) && refreshValidLength();
}

bool LastRecordFileInfo::refreshValidLength() {
    RecordIndexParserImplEx parser;
    parser.setIndexInfo(getRecordDirInfoEx(), getRecordDate(), getDeviceDirName(), m_pIndexBuffer.get(),
                        m_nIndexLength, getRecordStorageType());
    int dataLength = 0;
    int timeLength = 0;
    int interval = 0;
    int end = -1;
    bool closed = false;
    if (parser.getRecordFileLenAndTimeLen(dataLength, timeLength, interval, end, closed) != 1) return false;
    // Bytes without a head can't say where the entry ends in the file; a
    // guess would put the next head over them.
    if (end < 0 && m_nIndexLength > 0) return false;
    // The parser sees the entry alone; the index file holds it further on.
    long long fileEnd = end < 0 ? m_nEntryBegin - 1 : m_nEntryBegin + end;
    setRecordValidLength(dataLength, timeLength, interval, static_cast<int>(fileEnd), closed);
    return true;
}
