#include "index/RecordFileIndexWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "directory/LastRecordFileInfoManager.h"
#include "foundation/EncoderType.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/FileFactory.h"
#include "host/HostPaths.h"
#include "host/Logger.h"
#include "host/OVLogger.h"
#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"
#include "index/RecordIndexFileParserEx.h"
#include "recording/RecordTimeOutDetector.h"

namespace NS_RecordFileIndexWriter {
constexpr unsigned int kLogLimit = 102400;
constexpr unsigned int kLogFiles = 2;  // the file and one backup
constexpr int kCrcBufferStart = 10240;
constexpr int kCrcBufferStep = 5120;
constexpr int kMaxItemSize = 8;

void writeLog(char const* tag, char const* text) {
    OVLogger logger;
    std::string file = HostPaths::getLogDir() + "/writeIndex.log";
    logger.init(file.c_str(), kLogLimit, kLogFiles);
    logger.writeLog(tag, text);
}
}  // namespace NS_RecordFileIndexWriter

using NS_RecordFileIndexWriter::kCrcBufferStep;
using NS_RecordFileIndexWriter::kMaxItemSize;

RecordFileIndexWriter::RecordFileIndexWriter() {
    try {
        m_writeBuffer.reserve(kWriteBufferSize);
        m_crcBuffer.reserve(NS_RecordFileIndexWriter::kCrcBufferStart);
    } catch (std::bad_alloc const&) {
        m_bValid = false;
    }
}

RecordFileIndexWriter::~RecordFileIndexWriter() {
    if (!m_indexFile.isNull()) m_indexFile->close();
}

void RecordFileIndexWriter::writeLog(char const* text) {
    NS_RecordFileIndexWriter::writeLog("writeIndex", text);
}

bool RecordFileIndexWriter::getRecordValidLength(SafePointer<RecordFileInfo> const& file,
                                                 int& dataLength, int& timeLength, int& timeInterval,
                                                 int& endPos, bool& closed) {
    LastRecordFileInfoManager* memory = LastRecordFileInfoManager::getInstance();
    if (memory->getRecordValidLength(file, dataLength, timeLength, timeInterval, endPos, closed))
        return true;
    SafePointer<LastRecordFileInfo> entry = memory->initLastRecordFileInfo(file);
    return !entry.isNull() &&
           entry->getRecordValidLength(dataLength, timeLength, timeInterval, endPos, closed) == 1;
}

int RecordFileIndexWriter::open(SafePointer<RecordFileInfo> const& file, bool newEntry) {
    int dataLength = 0;
    int timeLength = 0;
    int timeInterval = 0;
    int endPos = -1;
    bool closed = false;
    if (!m_bValid || !getRecordValidLength(file, dataLength, timeLength, timeInterval, endPos, closed))
        return OV_RECORD_OPEN_INDEX_FAILED;
    // A run the power cut left without its CRC item is never appended to.
    if (!newEntry && !closed) return OV_RECORD_OPEN_INDEX_FAILED;

    m_nRecordFileLength = newEntry ? 0 : dataLength;
    m_nRecordTimeLength = newEntry ? 0 : timeLength;
    m_nRecordTimeInterval = newEntry ? 0 : timeInterval;
    // Nothing is known of the item before the first one behind an old run,
    // so that one carries its offset from the begin time.
    m_bForceLong = m_nRecordFileLength != 0;

    RecordDirInfoEx dir = file->getRecordDirInfoEx();
    if (!m_indexFile.isNull()) m_indexFile->close();
    m_indexFile = FileFactory::createFile(dir.getDiskType(), dir.getFileSystemFormat());
    std::string indexName = RecordIndexFileParserEx::getIndexFileName(*file);
    m_pChangeMutex = RecordIndexFileParserEx::getChangeMutex(indexName);
    int mode = dir.getDiskType() == DiskKind::kNas ? 2 : 4;
    if (!m_indexFile->open(indexName.c_str(), mode)) {
        Logger::writeLog("RecordIOError", std::strerror(errno), __FILE__, __LINE__);
        return OV_RECORD_OPEN_INDEX_FAILED;
    }
    m_nFilePos = static_cast<long long>(endPos) + 1;
    if (!m_indexFile->seek(m_nFilePos, SEEK_SET)) {
        Logger::writeLog("RecordIOError", std::strerror(errno), __FILE__, __LINE__);
        m_indexFile->close();
        return OV_RECORD_OPEN_INDEX_FAILED;
    }

    m_recordFile = file;
    m_nBeginTime = file->getRecordBeginTime();
    m_nEncodeType = 0;
    m_nItemStartTime = 0;
    m_nCurrentTime = 0;
    m_bLock = false;
    m_nIndexType = 1;
    m_nAlarm = 0;
    m_nPendingTime = 0;
    m_nPendingDataLength = 0;
    m_nPendingTimeLength = 0;
    m_bItemOpen = false;
    m_writeBuffer.clear();
    m_crcBuffer.clear();
    return 0;
}

int RecordFileIndexWriter::writeRecordFileInfo(char const* fileName, AVStreamInfo const& info) {
    RecordIndexCodec::HeadInfo head;
    head.strFileName = fileName ? fileName : "";
    head.nTimeZone = info.getTimeZone();
    head.nDst = info.getDaylightSavingTime();
    head.nBeginTime = m_nBeginTime;
    head.nWidth = info.getImageWidth();
    head.nHeight = info.getImageHeight();
    head.nEncodeType = info.getEncoderType();
    head.nIndexVersion = RecordIndexCodec::kIndexVersion3;
    char buffer[RecordIndexCodec::kHeadBufferSize] = {0};
    int length = RecordIndexCodec::encodeHead(head, buffer, sizeof(buffer));
    if (length < 0 || m_indexFile.isNull()) return OV_RECORD_WRITE_INDEX_FAILED;
    if (m_indexFile->write(buffer, length) != length) return OV_RECORD_WRITE_INDEX_FAILED;
    m_nEncodeType = info.getEncoderType();
    // A failed head CRC leaves the entry without one, which readers accept.
    writeHeadCrcCode(buffer, length);
    // The head is what a power cut must leave behind: everything later hangs on it.
    m_indexFile->flush();
    return 0;
}

int RecordFileIndexWriter::writeHeadCrcCode(char const* head, int length) {
    std::vector<char> entry(head, head + length);
    entry.resize(static_cast<size_t>(length) + RecordIndexCodec::kCrcItemSize);
    std::uint32_t crc = RecordCrc32::getInstance()->getCrc32(head, length);
    RecordIndexCodec::encodeCrcItem(reinterpret_cast<unsigned char*>(&entry[static_cast<size_t>(length)]),
                                    length, crc);
    if (m_indexFile->write(&entry[static_cast<size_t>(length)], RecordIndexCodec::kCrcItemSize) !=
        RecordIndexCodec::kCrcItemSize)
        return OV_RECORD_WRITE_INDEX_FAILED;
    LastRecordFileInfoManager::getInstance()->setLastRecordFileInfo(
        m_recordFile, RecordIndexCodec::kIndexVersion3, entry.data(), static_cast<int>(entry.size()),
        m_nFilePos);
    m_nFilePos += static_cast<long long>(entry.size());
    return 0;
}

bool RecordFileIndexWriter::isTimeToWriteIndex(long long delta, int esStreamType, int currentIndexType,
                                               int newIsIFrame) {
    if (esStreamType == ESStream::kAudio) return false;
    // Several I frames within one second make one item.
    if (delta <= 0 && currentIndexType == 1) return false;
    return delta > 3 || newIsIFrame == 1;
}

void RecordFileIndexWriter::setFirstTSIndex(long long timeStamp, int timeLength, int dataLength,
                                            int isIFrame, bool lock, int alarm) {
    m_nItemStartTime = timeStamp;
    m_nPendingTimeLength = timeLength;
    m_nPendingDataLength = dataLength;
    m_nIndexType = isIFrame == 1 ? 1 : 0;
    m_bLock = lock;
    m_nAlarm = alarm;
    m_nPendingTime = static_cast<int>(timeStamp - m_nBeginTime);
    m_bItemOpen = true;
    m_crcBuffer.clear();
}

void RecordFileIndexWriter::addTSIndex(long long timeStamp, int esStreamType, int timeLength,
                                       int dataLength, int isIFrame, bool lock, int alarm) {
    long long delta = timeStamp - m_nItemStartTime;
    if (!isTimeToWriteIndex(delta, esStreamType, m_nIndexType, isIFrame)) {
        m_nPendingDataLength += dataLength;
        m_nPendingTimeLength += timeLength;
        return;
    }
    addIndex(m_nPendingTime, m_nPendingTimeLength, m_nPendingDataLength);
    m_nAlarm = alarm;
    m_nItemStartTime = timeStamp;
    m_bLock = lock;
    m_nIndexType = isIFrame == 1 ? 1 : 0;
    m_nPendingDataLength = dataLength;
    m_nPendingTimeLength = timeLength;
    m_nPendingTime = delta <= RecordIndexCodec::kMaxShortInterval
                         ? static_cast<int>(delta)
                         : static_cast<int>(timeStamp - m_nBeginTime);
}

void RecordFileIndexWriter::takeTimeLength() {
    // A clock stepped back gives no negative length.
    m_nPendingTimeLength =
        m_nCurrentTime > m_nItemStartTime ? static_cast<int>(m_nCurrentTime - m_nItemStartTime) : 0;
}

void RecordFileIndexWriter::setFirstIndex(long long timeStamp, int dataLength, int isIFrame, bool lock,
                                          int alarm) {
    setFirstTSIndex(timeStamp, 0, dataLength, isIFrame, lock, alarm);
    m_nCurrentTime = timeStamp;
}

void RecordFileIndexWriter::addIndex(long long timeStamp, int esStreamType, int dataLength, int isIFrame,
                                     bool lock, int alarm) {
    // Taken before the frame: if it ends the item, the length is the item's own.
    takeTimeLength();
    addTSIndex(timeStamp, esStreamType, 0, dataLength, isIFrame, lock, alarm);
    m_nCurrentTime = timeStamp;
}

int RecordFileIndexWriter::writeLastIndex() {
    takeTimeLength();
    return writeLastTSIndex();
}

void RecordFileIndexWriter::addIndex(int time, int timeLength, int dataLength) {
    RecordIndexCodec::ItemInfo item;
    item.bLong = m_bForceLong || time > RecordIndexCodec::kMaxShortInterval;
    item.nTimeInterval = time;
    item.nTimeLength = timeLength;
    item.nDataLength = dataLength;
    item.nIndexType = m_nIndexType;
    item.bLocked = m_bLock;
    item.bAlarm = (m_nAlarm & 2) != 0;
    m_bForceLong = false;
    unsigned char bytes[kMaxItemSize];
    int size = RecordIndexCodec::encodeItem(RecordIndexCodec::kIndexVersion3, item, bytes);
    m_writeBuffer.insert(m_writeBuffer.end(), bytes, bytes + size);
    if (m_crcBuffer.size() + static_cast<size_t>(size) > m_crcBuffer.capacity()) {
        try {
            m_crcBuffer.reserve(m_crcBuffer.capacity() + kCrcBufferStep);
        } catch (std::bad_alloc const&) {
            // The item still reaches the file; its group will check as damaged.
            return;
        }
    }
    m_crcBuffer.insert(m_crcBuffer.end(), bytes, bytes + size);
}

void RecordFileIndexWriter::dropPending() {
    size_t pending = m_writeBuffer.size();
    m_crcBuffer.resize(m_crcBuffer.size() > pending ? m_crcBuffer.size() - pending : 0);
}

int RecordFileIndexWriter::writeIndex(bool sync) {
    if (m_writeBuffer.empty()) return 1;
    if (m_indexFile.isNull()) return 0;
    RecordTimeOutDetector detector(kWriteTimeLimitSeconds);
    int total = static_cast<int>(m_writeBuffer.size());
    int written = 0;
    while (written < total) {
        int result = m_indexFile->write(reinterpret_cast<char const*>(m_writeBuffer.data()) + written,
                                        total - written);
        if (result < 0) {
            // What is not in the file must not be covered by the next CRC.
            m_writeBuffer.erase(m_writeBuffer.begin(), m_writeBuffer.begin() + written);
            m_nFilePos += written;
            dropPending();
            m_writeBuffer.clear();
            return 0;
        }
        written += result;
        if (detector.isTimeOut()) {
            detector.writeLog("RecordFileIndexWriter", total, written);
            m_writeBuffer.erase(m_writeBuffer.begin(), m_writeBuffer.begin() + written);
            m_nFilePos += written;
            return 0;
        }
    }
    m_nFilePos += total;
    m_writeBuffer.clear();
    if (sync && !m_indexFile->flush()) {
        m_crcBuffer.resize(m_crcBuffer.size() > static_cast<size_t>(total)
                               ? m_crcBuffer.size() - static_cast<size_t>(total)
                               : 0);
        return 0;
    }
    return 1;
}

int RecordFileIndexWriter::writeLastTSIndex() {
    if (m_bItemOpen && m_nPendingDataLength > 0) {
        addIndex(m_nPendingTime, m_nPendingTimeLength, m_nPendingDataLength);
        m_nPendingDataLength = 0;
        m_nPendingTimeLength = 0;
    }
    m_bItemOpen = false;
    return writeIndex(false);
}

int RecordFileIndexWriter::writeCrcIndex() {
    if (m_crcBuffer.empty() || m_indexFile.isNull()) return 0;
    std::lock_guard<std::recursive_mutex> guard(*m_pChangeMutex);
    LastRecordFileInfoManager* memory = LastRecordFileInfoManager::getInstance();
    int covered = static_cast<int>(m_crcBuffer.size());
    // A lock may have set bits in these items since they were written, and
    // it renews only the CRCs of sealed runs: this seal covers the bytes as
    // the file holds them.
    if (m_writeBuffer.empty() && m_nFilePos >= covered) {
        std::vector<unsigned char> onDisk(m_crcBuffer.size());
        if (m_indexFile->seek(m_nFilePos - covered, SEEK_SET) &&
            m_indexFile->read(reinterpret_cast<char*>(onDisk.data()), covered) == covered)
            m_crcBuffer.swap(onDisk);
        if (!m_indexFile->seek(m_nFilePos, SEEK_SET)) return OV_RECORD_WRITE_INDEX_FAILED;
    }
    std::uint32_t crc = RecordCrc32::getInstance()->getCrc32(m_crcBuffer.data(), covered);
    memory->addLastRecordFileInfo(m_recordFile, reinterpret_cast<char*>(m_crcBuffer.data()), covered);
    m_crcBuffer.clear();
    unsigned char item[RecordIndexCodec::kCrcItemSize];
    if (RecordIndexCodec::encodeCrcItem(item, covered, crc)) writeLog("write crc failed");
    if (m_indexFile->write(reinterpret_cast<char const*>(item), sizeof(item)) != static_cast<int>(sizeof(item))) {
        // Memory would take the run it now holds for sealed, and join it again.
        memory->eraseLastRecordFileInfo(m_recordFile);
        return OV_RECORD_WRITE_INDEX_FAILED;
    }
    m_nFilePos += static_cast<long long>(sizeof(item));
    memory->addLastRecordFileInfo(m_recordFile, reinterpret_cast<char*>(item), sizeof(item));
    // The seal is what lets the file be continued: make it last.
    m_indexFile->flush();
    return 0;
}

void RecordFileIndexWriter::close() {
    if (m_indexFile.isNull()) return;
    try {
        writeCrcIndex();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    m_indexFile->close();
    m_indexFile.reset();
    m_writeBuffer.clear();
    m_crcBuffer.clear();
    m_bItemOpen = false;
}
