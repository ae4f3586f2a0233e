#include "snapshot/SnapshotFileIndexWriterEx.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "index/RecordIndexCodec.h"
#include "snapshot/SnapshotIndexCodec.h"
#include "snapshot/SnapshotIndexFileItemParserEx.h"
#include "snapshot/SnapshotIndexItemEx.h"

namespace NS_SnapshotFileIndexWriterEx {
constexpr long long kMaxOffset = 0xFFFFFFFFLL;
}  // namespace NS_SnapshotFileIndexWriterEx

int SnapshotFileIndexWriterEx::fillSnapIndexHeadInfo(char* buffer, int nLength, int nCapacity) {
    return RecordIndexCodec::fillRecordFileInfo(buffer, nLength, nCapacity);
}

bool SnapshotFileIndexWriterEx::writeAt(long long nOffset, char const* data, int nLength) {
    if (!m_file->seek(nOffset, SEEK_SET)) return false;
    int done = 0;
    while (done < nLength) {
        int n = m_file->write(data + done, nLength - done);
        if (n <= 0) return false;
        done += n;
    }
    if (nOffset + nLength > m_nFileLength) m_nFileLength = nOffset + nLength;
    return true;
}

int SnapshotFileIndexWriterEx::open(RecordFileInfo const& file, bool bNewEntry) {
    close();
    m_dirInfo = file.getRecordDirInfoEx();
    std::string const deviceDir = file.getDeviceDirName();
    std::string const dateDir = BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir,
                                                           file.getRecordDate());
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    if (disk == nullptr || disk->createDir(dateDir.c_str()) == 0) return OV_RECORD_OPEN_INDEX_FAILED;
    m_file = FileFactory::createFile(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    std::string const path = dateDir + BasicTool::kSeparator + deviceDir + "_" + file.getRecordDate() + ".index";
    if (m_file.isNull() || !m_file->open(path.c_str(), IFile::kModeReadWrite)) {
        m_file = SafePointer<IFile>();
        return OV_RECORD_OPEN_INDEX_FAILED;
    }
    m_nFileLength = m_file->getLength();
    std::vector<char> image(static_cast<size_t>(m_nFileLength > 0 ? m_nFileLength : 0));
    int done = 0;
    bool const rewound = m_file->seek(0, SEEK_SET);
    while (rewound && done < static_cast<int>(image.size())) {
        int n = m_file->read(image.data() + done, static_cast<int>(image.size()) - done);
        if (n <= 0) break;
        done += n;
    }
    if (!rewound || m_nFileLength < 0 || done != static_cast<int>(image.size())) {
        close();
        return OV_RECORD_OPEN_INDEX_FAILED;
    }

    // The last framed entry, whether its head reads or not: nothing behind
    // it may be overwritten, and only it may be continued.
    int const length = static_cast<int>(image.size());
    int from = 0;
    int begin = -1;
    int headEnd = 0;
    int end = -1;
    int lastBegin = -1;
    int lastHeadEnd = 0;
    int lastEnd = -1;
    while (from < length && SnapshotIndexCodec::getIndexPos(image.data(), length, from, begin, headEnd, end)) {
        lastBegin = begin;
        lastHeadEnd = headEnd;
        lastEnd = end;
        from = end + 1;
    }
    m_nWritePos = lastEnd + 1;
    if (m_nFileLength > m_nWritePos) {
        std::vector<char> filler(static_cast<size_t>(m_nFileLength - m_nWritePos), static_cast<char>(0xFF));
        if (!writeAt(m_nWritePos, filler.data(), static_cast<int>(filler.size())) || !m_file->flush()) {
            close();
            return OV_RECORD_OPEN_INDEX_FAILED;
        }
    }
    if (bNewEntry) return writeIndexHead(file);

    SnapshotIndexFileItemParserEx entry;
    if (lastBegin >= 0) {
        entry.setIndexFileInfo(image.data() + lastBegin, lastHeadEnd - lastBegin + 1, lastEnd - lastBegin + 1);
    }
    int size = 0;
    int interval = 0;
    if (lastBegin < 0 || entry.parseFileInfo() != 0 || entry.getSnapshotFileName() != file.getRecordFileName() ||
        entry.getFileSizeAndTimeInterval(size, interval) != 0) {
        close();
        return OV_RECORD_OPEN_INDEX_FAILED;
    }
    m_nBeginTime = entry.getSnapshotBeginTime();
    m_nSnapshotFileLength = size;
    m_nTimeInterval = static_cast<unsigned int>(interval);
    return 0;
}

int SnapshotFileIndexWriterEx::writeIndexHead(RecordFileInfo const& file) {
    char head[SnapshotIndexCodec::kHeadBufferSize];
    int length = SnapshotIndexCodec::encodeHead(file.getRecordFileName(), file.getRecordBeginTime(), head, sizeof head);
    if (length < 0 || !writeAt(m_nWritePos, head, length) || !m_file->flush()) {
        close();
        return OV_RECORD_WRITE_INDEX_FAILED;
    }
    m_nWritePos += length;
    m_nBeginTime = file.getRecordBeginTime();
    m_nSnapshotFileLength = 0;
    m_nTimeInterval = 0;
    return 0;
}

bool SnapshotFileIndexWriterEx::addIndex(long long nTime, int nBurstMode, int nLength) {
    long long const offset = nTime - m_nBeginTime * 1000;
    if (!isOpen() || offset < 0 || offset > NS_SnapshotFileIndexWriterEx::kMaxOffset || nLength < 0 ||
        nLength > SnapshotIndexItemEx::kMaxDataLength)
        return false;
    if (m_nItemFill + SnapshotIndexItemEx::indexItemLength() > kItemBufferSize && writeIndex() != 0) return false;
    SnapshotIndexItemEx item(static_cast<unsigned int>(offset), nBurstMode, nLength);
    std::memcpy(m_szItems + m_nItemFill, item.getData(), SnapshotIndexItemEx::indexItemLength());
    m_nItemFill += SnapshotIndexItemEx::indexItemLength();
    m_nSnapshotFileLength += nLength;
    m_nTimeInterval = static_cast<unsigned int>(offset);
    return true;
}

int SnapshotFileIndexWriterEx::writeIndex() {
    if (m_nItemFill == 0) return 0;
    if (!isOpen() || !writeAt(m_nWritePos, m_szItems, m_nItemFill) || !m_file->flush())
        return OV_RECORD_WRITE_INDEX_FAILED;
    m_nWritePos += m_nItemFill;
    m_nItemFill = 0;
    return 0;
}

void SnapshotFileIndexWriterEx::close() {
    if (m_file.isNull()) return;
    writeIndex();
    m_file->close();
    m_file = SafePointer<IFile>();
    m_nItemFill = 0;
}
