#include "snapshot/SnapshotIndexFileParserEx.h"

#include <cstdio>

#include "directory/EarliestFileInfoList.h"
#include "foundation/BasicTool.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "snapshot/SnapshotIndexCodec.h"
#include "snapshot/SnapshotUseableFileDir.h"

namespace NS_SnapshotIndexFileParserEx {
// A day of pictures every 10 ms is about 78 MiB of items; more is damage.
constexpr long long kMaxIndexFileSize = 128LL << 20;
}  // namespace NS_SnapshotIndexFileParserEx

std::string SnapshotIndexFileParserEx::getIndexFileName(RecordDirInfoEx const& dirInfo, std::string const& date,
                                                        std::string const& deviceDir) {
    return BasicTool::getWholeDateDir(dirInfo, BasicTool::kSnapshotDirName, deviceDir, date) + BasicTool::kSeparator +
           deviceDir + "_" + date + ".index";
}

std::string SnapshotIndexFileParserEx::getIndexFileName() const {
    return getIndexFileName(m_dirInfo, m_strDate, m_strDeviceDir);
}

std::string SnapshotIndexFileParserEx::getDateDir() const {
    return BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kSnapshotDirName, m_strDeviceDir, m_strDate);
}

int SnapshotIndexFileParserEx::open(RecordDirInfoEx const& dirInfo, std::string const& date,
                                    std::string const& deviceDir) {
    close();
    m_dirInfo = dirInfo;
    m_strDate = date;
    m_strDeviceDir = deviceDir;
    m_deviceParser.parse(m_strDeviceDir.c_str());
    std::string bytes;
    m_file = SnapshotIndexCodec::openIndexFile(dirInfo, getIndexFileName(),
                                               NS_SnapshotIndexFileParserEx::kMaxIndexFileSize, bytes);
    if (m_file.isNull()) return 0;
    m_image.assign(bytes.begin(), bytes.end());
    return 1;
}

void SnapshotIndexFileParserEx::close() {
    if (!m_file.isNull()) m_file->close();
    m_file = SafePointer<IFile>();
    m_image.clear();
}

void SnapshotIndexFileParserEx::forEachEntry(
    std::function<bool(SnapshotIndexFileItemParserEx&, int nBegin)> const& fn) {
    int const length = static_cast<int>(m_image.size());
    int from = 0;
    int begin = 0;
    int headEnd = 0;
    int end = 0;
    while (from < length && SnapshotIndexCodec::getIndexPos(m_image.data(), length, from, begin, headEnd, end)) {
        SnapshotIndexFileItemParserEx entry;
        entry.setIndexFileInfo(m_image.data() + begin, headEnd - begin + 1, end - begin + 1);
        entry.setDeviceInfo(m_deviceParser.getDeviceId(), m_deviceParser.getDeviceIP(), m_deviceParser.getCameraId());
        if (entry.parseFileInfo() == 0 && !fn(entry, begin)) return;
        from = end + 1;
    }
}

bool SnapshotIndexFileParserEx::writeRange(int nOffset, int nLength) {
    if (m_file.isNull() || !m_file->seek(nOffset, SEEK_SET)) return false;
    int done = 0;
    while (done < nLength) {
        int n = m_file->write(m_image.data() + nOffset + done, nLength - done);
        if (n <= 0) return false;
        done += n;
    }
    return true;
}

int SnapshotIndexFileParserEx::query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list,
                                     int nPolicyType) {
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int) {
        if (entry.getSnapshotBeginTime() * 1000 < condition.getEndTime() &&
            entry.getSnapshotFileEndTime() >= condition.getBeginTime())
            entry.getSnapshotList(condition, list, nPolicyType);
        return true;
    });
    return 0;
}

int SnapshotIndexFileParserEx::getImageDataInfo(long long nTime, SafePointer<SnapshotImageDataInfo>& info) {
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int) {
        if (entry.getSnapshotBeginTime() * 1000 > nTime || entry.getSnapshotFileEndTime() < nTime) return true;
        int length = 0;
        int pos = 0;
        if (entry.getImageDataLenAndFilePos(nTime, length, pos) != 0) return true;
        info->setSnapshotFileName(entry.getSnapshotFileName());
        info->setImageFilePos(pos);
        info->setImageDataLen(length);
        info->setSnapshotDirInfo(m_dirInfo);
        return false;
    });
    return 1;
}

int SnapshotIndexFileParserEx::deleteImage(long long nTime) {
    int result = 0;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int begin) {
        if (entry.getSnapshotBeginTime() * 1000 > nTime || entry.getSnapshotFileEndTime() < nTime) return true;
        bool all = false;
        int offset = entry.deleteIndexItem(nTime, all);
        if (offset < 0) return true;
        result = writeRange(begin + offset, 1) && m_file->flush() ? 1 : -1;
        return false;
    });
    return result;
}

int SnapshotIndexFileParserEx::deleteFile(SnapshotQueryCondition const& condition, std::vector<std::string>* emptied) {
    long long const begin = condition.getBeginTime() / 1000;
    long long const end = condition.getEndTime() / 1000;
    bool ok = true;
    bool changed = false;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int at) {
        if (entry.getSnapshotBeginTime() > end || entry.getSnapshotFileEndTime() / 1000 < begin) return true;
        std::vector<int> offsets;
        bool all = false;
        entry.deleteIndexItemInSegment(begin, end, offsets, all);
        for (int offset : offsets) ok = writeRange(at + offset, 1) && ok;
        changed = changed || !offsets.empty();
        if (all && emptied != nullptr) emptied->push_back(entry.getSnapshotFileName());
        return true;
    });
    if (changed) ok = m_file->flush() && ok;
    if (!ok) GlobalEnv::print("SnapshotIndexFileParserEx::deleteFileInSegment(), delete file failed ");
    return ok ? 1 : -1;
}

int SnapshotIndexFileParserEx::getIndexPosByFileName(char const* fileName, int& nBegin, int& nHeadEnd, int& nEnd) {
    return fileName == nullptr ? -1 : getIndexPosByFileName(std::string(fileName), nBegin, nHeadEnd, nEnd);
}

int SnapshotIndexFileParserEx::getIndexPosByFileName(std::string const& fileName, int& nBegin, int& nHeadEnd,
                                                     int& nEnd) {
    int found = -1;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int begin) {
        if (entry.getSnapshotFileName() != fileName) return true;
        nBegin = begin;
        nHeadEnd = begin + entry.getHeadLength() - 1;
        nEnd = begin + entry.getTotalLength() - 1;
        found = 0;
        return false;
    });
    return found;
}

int SnapshotIndexFileParserEx::deleteFile(std::string const& fileName, bool& bEmpty) {
    int begin = 0;
    int headEnd = 0;
    int end = 0;
    bEmpty = false;
    if (getIndexPosByFileName(fileName, begin, headEnd, end) != 0) return 0;
    SnapshotIndexFileItemParserEx entry;
    entry.setIndexFileInfo(m_image.data() + begin, headEnd - begin + 1, end - begin + 1);
    entry.deleteIndexFileInfo();
    if (!writeRange(begin, end - begin + 1) || !m_file->flush()) {
        char text[512];
        std::snprintf(text, sizeof text, "SnapshotIndexFileParserEx::deleteSnapshotIndexInfo:%s", fileName.c_str());
        GlobalEnv::print("%s\n", text);
        return -1;
    }
    bEmpty = getFileNum() == 0;
    return 1;
}

bool SnapshotIndexFileParserEx::deleteSnapshotFile(char const* fileName) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    if (disk == nullptr || fileName == nullptr) return false;
    std::string const path = getDateDir() + BasicTool::kSeparator + fileName;
    return disk->isFileExist(path.c_str()) != 1 || disk->deleteFile(path.c_str());
}

// The data file leaves first: a power cut between the two leaves an entry
// whose file is gone, which the next pass removes, never a data file that
// no entry names and nothing would ever reclaim.
int SnapshotIndexFileParserEx::deleteOutDateFile(SafePointer<SnapshotUseableFileDir>& pool, long long nTime,
                                                 bool& bEmpty) {
    std::vector<std::string> names;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int) {
        if (entry.getSnapshotFileEndTime() < nTime) names.push_back(entry.getSnapshotFileName());
        return true;
    });
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    int removed = 0;
    bEmpty = getFileNum() == 0;
    for (std::string const& name : names) {
        std::string const path = getDateDir() + BasicTool::kSeparator + name;
        if (disk == nullptr || disk->isFileExist(path.c_str()) != 1) {
            GlobalEnv::print("SnapshotIndexFileParserEx::deleteFileInSegment(), file[%s] has benn deleted by manual \n",
                             path.c_str());
        } else if (pool.isNull() || !pool->deleteFile(path)) {
            continue;
        }
        GlobalEnv::print("\n>>>>>>>>>>>SnapshotIndexFileParserEx::deleteOutDateFile(), delete file[%s] <<<<<<<<<<<<<<<<<\n",
                         path.c_str());
        if (deleteFile(name, bEmpty) < 0) return -1;
        ++removed;
    }
    return removed;
}

int SnapshotIndexFileParserEx::getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount, bool bSkipLast) {
    RecordFileInfo last;
    return getEarliestRecordFileInfo(list, nCount,
                                     bSkipLast && getLastestFileInfo(last) == 0 ? last.getRecordFileName() : "");
}

int SnapshotIndexFileParserEx::getEarliestRecordFileInfo(EarliestFileInfoList& list, int,
                                                         std::string const& skipName) {
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int) {
        if (!skipName.empty() && entry.getSnapshotFileName() == skipName) return true;
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        file->setDeviceId(m_deviceParser.getDeviceId());
        file->setDeviceIP(m_deviceParser.getDeviceIP());
        file->setCameraId(m_deviceParser.getCameraId());
        file->setRecordMode(2);
        file->setRecordFileName(entry.getSnapshotFileName());
        file->setRecordBeginTime(entry.getSnapshotBeginTime());
        file->setRecordEndTime(entry.getSnapshotFileEndTime() / 1000);
        file->setRecordDate(m_strDate);
        file->setRecordDirInfoEx(m_dirInfo);
        list.update(file);
        return true;
    });
    return 0;
}

int SnapshotIndexFileParserEx::getLastestFileInfo(RecordFileInfo& file) {
    int found = -1;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int) {
        file.setRecordFileName(entry.getSnapshotFileName());
        file.setRecordBeginTime(entry.getSnapshotBeginTime());
        file.setRecordEndTime(entry.getSnapshotFileEndTime() / 1000);
        file.setRecordFileLength(entry.getFileSize());
        file.setBurstMode(entry.getLastBurstMode());
        file.setRecordDate(m_strDate);
        file.setRecordDirInfoEx(m_dirInfo);
        found = 0;
        return true;
    });
    return found;
}

long long SnapshotIndexFileParserEx::getTotalFileSize() {
    long long total = 0;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int) {
        total += entry.getFileSize();
        return true;
    });
    return total;
}

int SnapshotIndexFileParserEx::getFileNum() {
    int count = 0;
    forEachEntry([&](SnapshotIndexFileItemParserEx&, int) {
        ++count;
        return true;
    });
    return count;
}

long long SnapshotIndexFileParserEx::getSnapshotFileBeginTime() {
    long long begin = -1;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int) {
        begin = entry.getSnapshotBeginTime();
        return true;
    });
    return begin;
}

int SnapshotIndexFileParserEx::getFileLenAndIndexInfo(int& nSize, int& nOffset, int& nLength) {
    int found = -1;
    forEachEntry([&](SnapshotIndexFileItemParserEx& entry, int begin) {
        nSize = entry.getFileSize();
        nOffset = begin;
        nLength = entry.getTotalLength();
        found = 0;
        return true;
    });
    return found;
}
