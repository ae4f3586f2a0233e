#include "retrieval/RecordFileReaderWithIndex.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/PerformanceTest.h"
#include "index/RecordIndexFileParserEx.h"

namespace NS_RecordFileReaderWithIndex {

constexpr int kTsPacketSize = 188;
constexpr int kRecordDataFlag = 1;
char const* const kLogName = "RecordFileReader.log";
char const* const kLogTag = "RecordFileReaderWithIndex";
constexpr unsigned int kLogMaxSize = 51200;
constexpr unsigned int kLogFiles = 1;

}  // namespace NS_RecordFileReaderWithIndex

using namespace NS_RecordFileReaderWithIndex;

RecordFileReaderWithIndex::~RecordFileReaderWithIndex() { close(); }

int RecordFileReaderWithIndex::open(RecordFileInfo const& info) {
    close();
    m_fileInfo = info;
    RecordDirInfoEx const& dir = info.getRecordDirInfoEx();
    std::string const path = info.createRecordFileName();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
    int exists = disk == nullptr ? -1 : disk->isFileExist(path.c_str());
    if (exists == 0) {
        std::printf("RecordFileReaderWithIndex::open() file(%s) not exist.\n", path.c_str());
        deleteFile(info);
        return -101;
    }
    if (exists != 1) return OV_RECORD_IO_ERROR;
    SafePointer<IFile> file = FileFactory::createFileEx(dir.getDiskType(), dir.getFileSystemFormat(), kRecordDataFlag);
    if (file.isNull() || !file->open(path.c_str(), IFile::kModeRead)) {
        std::printf("RecordFileReaderWithIndex::open() open file(%s) failed\n", path.c_str());
        return OV_RECORD_OPEN_FILE_FAILED;
    }
    long long length = file->getLength();
    if (length < 0) {
        file->close();
        return OV_RECORD_OPEN_FILE_FAILED;
    }
    long long indexed = info.getRecordFileLength();
    if (indexed > 0 && indexed < length) length = indexed;
    length -= length % kTsPacketSize;
    m_RecordFile = file;
    m_nFileLength = static_cast<int>(length);
    m_nBeginPos = 0;
    m_nEndPos = m_nFileLength;
    m_nValidLength = m_nFileLength;
    m_nCurrentPos = 0;
    m_nPreReadPos = 0;
    return 0;
}

void RecordFileReaderWithIndex::deleteFile(RecordFileInfo const& info) {
    RecordIndexFileParserEx parser;
    std::string const date = info.getRecordDate().empty()
                                 ? BasicTool::getDateString(info.getRecordBeginTime())
                                 : info.getRecordDate();
    if (parser.open(info.getRecordDirInfoEx(), date, info.getDeviceDirName(), info.getRecordStorageType(),
                    RecordIndexFileParserEx::kModeChange) != 1) {
        return;
    }
    parser.deleteFile(info);
    parser.close();
}

int RecordFileReaderWithIndex::read(char* buffer, int nLength) {
    if (m_RecordFile.isNull()) {
        std::printf("m_RecordFile.isNull(),fileName=%s,this=0x%0lx\n", m_fileInfo.getRecordFileName().c_str(),
                    static_cast<unsigned long>(reinterpret_cast<uintptr_t>(this)));
        return -1;
    }
    if (m_nCurrentPos >= m_nValidLength) return 0;
    int remaining = m_nValidLength - m_nCurrentPos;
    int wanted = nLength < remaining ? nLength : remaining;
    if (wanted <= 0) return 0;
    PerformanceTest timer;
    timer.begin();
    int got = m_RecordFile->read(buffer, wanted);
    timer.end();
    double const milliseconds = static_cast<double>(timer.getWasteTime()) / 1000.0;
    int const limit = StorageParameterManage::getInstance()->getRecordReadTimeout();
    if (milliseconds >= limit) {
        char text[512];
        std::snprintf(text, sizeof(text), "read file(%s), datalen(%d), timeout(%lf ms)",
                      m_fileInfo.getRecordFileName().c_str(), wanted, milliseconds);
        GlobalEnv::print("%s\n", text);
        Logger::writeFileLog(kLogName, kLogTag, text, kLogMaxSize, kLogFiles);
    }
    if (got >= 0) {
        m_nPreReadPos = m_nCurrentPos;
        m_nCurrentPos += got;
    }
    return got;
}

int RecordFileReaderWithIndex::setFilePos(int nPos) {
    if (m_RecordFile.isNull()) return 0;
    if (nPos <= m_nBeginPos) {
        if (!m_RecordFile->seek(m_nBeginPos, SEEK_SET)) return 0;
        m_nCurrentPos = 0;
    } else if (nPos >= m_nEndPos) {
        if (!m_RecordFile->seek(m_nEndPos, SEEK_SET)) return 0;
        m_nCurrentPos = m_nValidLength;
    } else {
        if (!m_RecordFile->seek(nPos, SEEK_SET)) return 0;
        m_nCurrentPos = nPos - m_nBeginPos;
    }
    // A seek starts a new run: the step back is taken from here.
    m_nPreReadPos = m_nCurrentPos;
    return 1;
}

void RecordFileReaderWithIndex::setFileBeginPos(int nPos) {
    if (nPos < 0) nPos = 0;
    if (nPos > m_nFileLength) nPos = m_nFileLength;
    m_nBeginPos = nPos;
    if (m_nEndPos < m_nBeginPos) m_nEndPos = m_nBeginPos;
    m_nValidLength = m_nEndPos - m_nBeginPos;
}

void RecordFileReaderWithIndex::setFileEndPos(int nPos) {
    if (nPos > m_nFileLength) nPos = m_nFileLength;
    if (nPos < m_nBeginPos) nPos = m_nBeginPos;
    m_nEndPos = nPos;
    m_nValidLength = m_nEndPos - m_nBeginPos;
}

int RecordFileReaderWithIndex::getFilePosByTimeStamp(int nOffset, bool bCeil) const {
    long long const span = m_fileInfo.getRecordEndTime() - m_fileInfo.getRecordBeginTime();
    if (nOffset > span) return m_nEndPos;
    return m_wholeList.getFilePos(nOffset, bCeil);
}

long long RecordFileReaderWithIndex::getCurrentTimeStamp() const {
    return m_iFrameList.getTimeStamp(m_nCurrentPos + m_nBeginPos, false) + m_fileInfo.getRecordBeginTime();
}

int RecordFileReaderWithIndex::getFirstTimeStamp() const {
    std::vector<RecordIndexInfo> const& list = m_wholeList.getRecordIndexInfoList();
    return list.empty() ? -1 : list.front().getTimeStamp();
}

int RecordFileReaderWithIndex::getRecordTimeLen() const {
    return static_cast<int>(m_fileInfo.getRecordEndTime() - m_fileInfo.getRecordBeginTime());
}

// Steps go by position, not by the time of the I-frame: two I-frames in one
// second share a time, and a step by time would land on the first of them
// again and never move on.
int RecordFileReaderWithIndex::getNextIFramePos() const {
    std::vector<RecordIndexInfo> const& list = m_iFrameList.getRecordIndexInfoList();
    int const pos = m_nCurrentPos + m_nBeginPos;
    auto next = std::upper_bound(list.begin(), list.end(), pos,
                                 [](int value, RecordIndexInfo const& info) { return value < info.getFilePos(); });
    return next == list.end() ? -1 : next->getFilePos();
}

// The step goes to the I-frame before the chunk just returned. A chunk read
// from the begin position counts too: left out, the step from an I-frame at
// the begin would land on that I-frame again, and never get further back.
int RecordFileReaderWithIndex::getPreIFramePos() const {
    int const reference = m_nPreReadPos < m_nCurrentPos ? m_nPreReadPos : m_nCurrentPos;
    std::vector<RecordIndexInfo> const& list = m_iFrameList.getRecordIndexInfoList();
    int const pos = reference + m_nBeginPos;
    auto after = std::lower_bound(list.begin(), list.end(), pos,
                                  [](RecordIndexInfo const& info, int value) { return info.getFilePos() < value; });
    return after == list.begin() ? -1 : std::prev(after)->getFilePos();
}

int RecordFileReaderWithIndex::getPreIFramePos(int nOffset) const { return m_iFrameList.getPreFilePos(nOffset); }

void RecordFileReaderWithIndex::close() {
    if (!m_RecordFile.isNull()) m_RecordFile->close();
    m_RecordFile.reset();
    m_nCurrentPos = 0;
    m_nValidLength = 0;
    m_nPreReadPos = 0;
    m_nFileLength = 0;
    m_nBeginPos = 0;
    m_nEndPos = 0;
}
