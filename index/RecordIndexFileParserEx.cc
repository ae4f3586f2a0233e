#include "index/RecordIndexFileParserEx.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/PerformanceTest.h"
#include "index/RecordIndexCodec.h"

namespace NS_RecordIndexFileParserEx {
constexpr unsigned int kLogLimit = 10240;
constexpr unsigned int kLogFiles = 4;  // the file and three backups
constexpr unsigned int kLogLevel = 3;
char const* const kLogTag = "RecordIndexFileParserEx";
char const* const kIOErrorLog = "RecordIOError";
}  // namespace NS_RecordIndexFileParserEx

void RecordIndexFileParserEx::writeParserLog(char const* text, char const* file, int line) {
    // One logger for the file, whoever writes: two rotating writers of one
    // file would rotate it under each other.
    Logger::writeFileLog("parserIndexLog.log", NS_RecordIndexFileParserEx::kLogTag, text,
                         NS_RecordIndexFileParserEx::kLogLimit, NS_RecordIndexFileParserEx::kLogFiles, file, line,
                         NS_RecordIndexFileParserEx::kLogLevel);
}

RecordIndexFileParserEx::~RecordIndexFileParserEx() { close(); }

std::string RecordIndexFileParserEx::getIndexFileName(std::string const& root,
                                                      std::string const& date,
                                                      std::string const& deviceDir,
                                                      int nStorageType) {
    std::string suffix = ".index";
    if (nStorageType == kStorageTypeBackup) suffix = ".bakindex";
    if (nStorageType == kStorageTypeRebuilt) suffix = ".reindex";
    std::string namePart = deviceDir;
    if (nStorageType == kStorageTypeShortDeviceDir) {
        std::vector<std::string> fields;
        size_t from = 0;
        while (true) {
            size_t cut = deviceDir.find('_', from);
            fields.push_back(deviceDir.substr(from, cut == std::string::npos ? cut : cut - from));
            if (cut == std::string::npos) break;
            from = cut + 1;
        }
        if (fields.size() <= 2) return std::string();
        namePart = fields[0] + "_" + fields[1] + "_" + fields[2];
    }
    return BasicTool::getRecordDir(root) + BasicTool::kSeparator + deviceDir +
           BasicTool::kSeparator + date + BasicTool::kSeparator + namePart + "_" + date + suffix;
}

std::string RecordIndexFileParserEx::getIndexFileName(RecordFileInfo const& file) {
    return getIndexFileName(file.getRecordDirInfoEx().getRecordRootDir(), file.getRecordDate(),
                            file.getDeviceDirName(), file.getRecordStorageType());
}

SafePointer<IFile> RecordIndexFileParserEx::openFile(RecordDirInfoEx const& dirInfo,
                                                     std::string const& name, int nFileMode) {
    if (name.empty()) return SafePointer<IFile>();
    // The writing mode would create a missing file; an index is never made here.
    IDiskManager* manager =
        DiskManagerFactory::getDiskManager(dirInfo.getDiskType(), dirInfo.getFileSystemFormat());
    if (manager == nullptr || manager->isFileExist(name.c_str()) == 0) return SafePointer<IFile>();
    SafePointer<IFile> file =
        FileFactory::createFile(dirInfo.getDiskType(), dirInfo.getFileSystemFormat());
    if (file.get() == nullptr || !file->open(name.c_str(), nFileMode)) return SafePointer<IFile>();
    return file;
}

int RecordIndexFileParserEx::readWhole(SafePointer<IFile>& file, std::string const& name,
                                       char* buffer, int nLength) {
    if (nLength <= 0) return 0;
    PerformanceTest timer;
    timer.begin();
    int read = file->read(buffer, nLength);
    timer.end();
    double milliseconds = static_cast<double>(timer.getWasteTime()) / 1000.0;
    if (milliseconds >= StorageParameterManage::getInstance()->getIndexReadTimeout()) {
        char text[512];
        std::snprintf(text, sizeof(text), "%s, read wasttime=%lf(ms)", name.c_str(), milliseconds);
        if (GlobalEnv::getInstance()->getPrintFlag()) std::printf("%s\n", text);
        writeParserLog(text, __FILE__, __LINE__);
    }
    if (read < 0) {
        std::printf("read indexFile(%s) failed,nReadLength = %d\n", name.c_str(), read);
    }
    return read;
}

int RecordIndexFileParserEx::open(RecordDirInfoEx const& dirInfo, std::string const& date,
                                  std::string const& deviceDir, int nStorageType, int nMode) {
    close();
    try {
        std::string name = getIndexFileName(dirInfo.getRecordRootDir(), date, deviceDir,
                                            nStorageType);
        // Held before the read: the image must be the file as no one else changes it.
        if (nMode == kModeChange) {
            m_pChangeMutex = getChangeMutex(name);
            m_changeGuard = std::unique_lock<std::recursive_mutex>(*m_pChangeMutex);
        }
        SafePointer<IFile> file = openFile(
            dirInfo, name, nMode == kModeChange ? IFile::kModeLocalDisk : IFile::kModeRead);
        if (file.get() == nullptr) {
            close();
            return 0;
        }
        long long length = file->getLength();
        if (length < 0 || length > RecordIndexCodec::kMaxIndexFileSize) {
            char text[512];
            std::snprintf(text, sizeof(text), "%s fileLength:%lld  open failed\n", name.c_str(),
                          length);
            writeParserLog(text, __FILE__, __LINE__);
            file->close();
            close();
            return 0;
        }
        int size = static_cast<int>(length);
        char* image = size > 0 ? new char[size] : nullptr;
        if (size > 0) std::memset(image, 0, size);
        int read = readWhole(file, name, image, size);
        if (read < 0) {
            delete[] image;
            file->close();
            close();
            return 0;
        }
        m_pIndexFile = file;
        m_pszIndexCache = image;
        m_nIndexCacheLen = read < size ? read : size;
        m_strFileName = name;
        m_parser.setIndexInfo(dirInfo, date, deviceDir, m_pszIndexCache, m_nIndexCacheLen,
                              nStorageType);
        return 1;
    } catch (OVRuntimeError const& error) {
        Logger::writeLog(NS_RecordIndexFileParserEx::kIOErrorLog, error.what(), __FILE__, __LINE__);
        close();
        return 0;
    }
}

void RecordIndexFileParserEx::close() {
    m_parser.setIndexInfo(nullptr, 0, m_parser.getRecordStorageType());
    m_fileParser.setIndexInfo(nullptr, 0, m_parser.getRecordStorageType());
    delete[] m_pszIndexCache;
    m_pszIndexCache = nullptr;
    m_nIndexCacheLen = 0;
    delete[] m_pszFileImage;
    m_pszFileImage = nullptr;
    m_nFileImageLen = 0;
    m_bRepaired = false;
    if (m_pIndexFile.get() != nullptr) m_pIndexFile->close();
    m_pIndexFile.reset();
    m_changeGuard = std::unique_lock<std::recursive_mutex>();  // unlocks
    m_pChangeMutex.reset();
}

std::shared_ptr<std::recursive_mutex> RecordIndexFileParserEx::getChangeMutex(std::string const& path) {
    static std::mutex registryMutex;
    static std::map<std::string, std::weak_ptr<std::recursive_mutex>> registry;
    std::lock_guard<std::mutex> guard(registryMutex);
    std::shared_ptr<std::recursive_mutex> mutex = registry[path].lock();
    if (mutex) return mutex;
    // Indexes of days long gone leave no entry behind for years.
    if (registry.size() > 1024) {
        for (auto it = registry.begin(); it != registry.end();) it = it->second.expired() ? registry.erase(it) : ++it;
    }
    mutex = std::make_shared<std::recursive_mutex>();
    registry[path] = mutex;
    return mutex;
}

long long RecordIndexFileParserEx::getIndexFileLen(RecordDirInfoEx const& dirInfo,
                                                   std::string const& date,
                                                   std::string const& deviceDir,
                                                   int nStorageType) {
    try {
        std::string name = getIndexFileName(dirInfo.getRecordRootDir(), date, deviceDir,
                                            nStorageType);
        SafePointer<IFile> file = openFile(dirInfo, name, IFile::kModeRead);
        if (file.get() == nullptr) return -1;
        long long length = file->getLength();
        file->close();
        return length < 0 ? -1 : length;
    } catch (OVRuntimeError const& error) {
        Logger::writeLog(NS_RecordIndexFileParserEx::kIOErrorLog, error.what(), __FILE__, __LINE__);
        return -1;
    }
}

int RecordIndexFileParserEx::repairIndex(RecordDirInfoEx const& dirInfo, std::string const& date,
                                         std::string const& deviceDir, int nStorageType) {
    try {
        std::string name = getIndexFileName(dirInfo.getRecordRootDir(), date, deviceDir,
                                            kStorageTypeRebuilt);
        SafePointer<IFile> file = openFile(dirInfo, name, IFile::kModeRead);
        if (file.get() == nullptr) return 0;
        long long length = file->getLength();
        if (length < 0 || length > RecordIndexCodec::kMaxIndexFileSize) {
            char text[512];
            std::snprintf(text, sizeof(text), "%s fileLength:%lld  open failed\n", name.c_str(),
                          length);
            writeParserLog(text, __FILE__, __LINE__);
            file->close();
            close();
            return 0;
        }
        // A second repair folds into the file's bytes, not into the view.
        char const* main = m_bRepaired ? m_pszFileImage : m_pszIndexCache;
        int const mainLength = m_bRepaired ? m_nFileImageLen : m_nIndexCacheLen;
        int const rebuiltLength = static_cast<int>(length);
        if (mainLength + rebuiltLength == 0) {
            file->close();
            return 1;
        }
        char* merged = new char[mainLength + rebuiltLength];
        if (mainLength > 0) std::memcpy(merged, main, mainLength);
        int read = readWhole(file, name, merged + mainLength, rebuiltLength);
        file->close();
        if (read < 0) {
            delete[] merged;
            return 0;
        }

        RecordIndexParserImplEx rebuilt;
        rebuilt.setIndexInfo(dirInfo, date, deviceDir, merged + mainLength, read,
                             kStorageTypeRebuilt);
        RecordIndexParserImplEx::FileList files;
        rebuilt.getRepairedRecordFileInfoList(files);
        if (files.empty()) {
            delete[] merged;
            return 1;
        }
        // Hide the main entries that were rebuilt, in the view only.
        RecordIndexParserImplEx front;
        front.setIndexInfo(dirInfo, date, deviceDir, merged, mainLength, nStorageType);
        for (auto const& repaired : files) {
            int begin = 0;
            int end = 0;
            front.deleteFile(*repaired, begin, end);
        }
        if (!m_bRepaired) {
            // The image read at open is the file's from now on.
            m_bRepaired = true;
            m_pszFileImage = m_pszIndexCache;
            m_nFileImageLen = m_nIndexCacheLen;
            m_fileParser.setIndexInfo(dirInfo, date, deviceDir, m_pszFileImage, m_nFileImageLen,
                                      nStorageType);
        } else {
            delete[] m_pszIndexCache;
        }
        m_pszIndexCache = merged;
        m_nIndexCacheLen = mainLength + read;
        m_parser.setIndexInfo(dirInfo, date, deviceDir, m_pszIndexCache, m_nIndexCacheLen,
                              nStorageType);
        return 1;
    } catch (OVRuntimeError const& error) {
        Logger::writeLog(NS_RecordIndexFileParserEx::kIOErrorLog, error.what(), __FILE__, __LINE__);
        return 0;
    }
}

namespace NS_RecordIndexFileParserEx {
// Bytes up to the end of the last entry of an image; 0 without one.
int usedLength(RecordIndexParserImplEx& parser) {
    int data = 0, time = 0, interval = 0, end = -1;
    bool closed = false;
    parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed);
    return end < 0 ? 0 : end + 1;
}
}  // namespace NS_RecordIndexFileParserEx

int RecordIndexFileParserEx::commitRepair() {
    if (!m_bRepaired || m_pIndexFile.get() == nullptr) return 0;
    // The view is the main image with the rebuilt names painted, followed by
    // the rebuilt file's bytes.
    RecordIndexParserImplEx front;
    front.setIndexInfo(m_pszIndexCache, m_nFileImageLen, 0);
    RecordIndexParserImplEx rebuilt;
    rebuilt.setIndexInfo(m_pszIndexCache + m_nFileImageLen, m_nIndexCacheLen - m_nFileImageLen, 0);
    int const mainUsed = NS_RecordIndexFileParserEx::usedLength(front);
    int const rebuiltUsed = NS_RecordIndexFileParserEx::usedLength(rebuilt);
    int const length = std::max(m_nFileImageLen, mainUsed + rebuiltUsed);
    if (length > RecordIndexCodec::kMaxIndexFileSize) return 0;
    char* image = new char[length];
    std::memcpy(image, m_pszIndexCache, mainUsed);
    std::memcpy(image + mainUsed, m_pszIndexCache + m_nFileImageLen, rebuiltUsed);
    std::memset(image + mainUsed + rebuiltUsed, RecordIndexCodec::kEndOfData, length - mainUsed - rebuiltUsed);
    // The file's image becomes the committed one; the view follows it.
    delete[] m_pszFileImage;
    delete[] m_pszIndexCache;
    m_pszFileImage = nullptr;
    m_nFileImageLen = 0;
    m_bRepaired = false;
    m_pszIndexCache = image;
    m_nIndexCacheLen = length;
    m_parser.setIndexInfo(m_pszIndexCache, m_nIndexCacheLen, m_parser.getRecordStorageType());
    return writeBack(0, length - 1) ? 1 : 0;
}

char* RecordIndexFileParserEx::getIndexInfo(int& nLength) const {
    nLength = m_nIndexCacheLen;
    return m_pszIndexCache;
}

RecordIndexParserImplEx& RecordIndexFileParserEx::fileParser() {
    return m_bRepaired ? m_fileParser : m_parser;
}

bool RecordIndexFileParserEx::writeBack(int nBegin, int nEnd) {
    char const* image = m_bRepaired ? m_pszFileImage : m_pszIndexCache;
    int const length = m_bRepaired ? m_nFileImageLen : m_nIndexCacheLen;
    if (m_pIndexFile.get() == nullptr || nBegin < 0 || nEnd < nBegin || nEnd >= length) {
        return false;
    }
    try {
        if (!m_pIndexFile->seek(nBegin, SEEK_SET)) return false;
        int offset = nBegin;
        while (offset <= nEnd) {
            int written = m_pIndexFile->write(image + offset, nEnd - offset + 1);
            if (written <= 0) return false;
            offset += written;
        }
        return m_pIndexFile->flush();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog(NS_RecordIndexFileParserEx::kIOErrorLog, error.what(), __FILE__, __LINE__);
        return false;
    }
}

char* RecordIndexFileParserEx::getLastestIndexInfo(int& nLength) {
    return m_parser.getLastestIndexInfo(nLength);
}

int RecordIndexFileParserEx::getLastestFileInfo(RecordFileInfo& file) {
    return m_parser.getLastestFileInfo(file);
}

int RecordIndexFileParserEx::getLastestFileInfo(RecordFileInfo& file, int& nVersion) {
    return m_parser.getLastestFileInfo(file, nVersion);
}

int RecordIndexFileParserEx::getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount,
                                                       bool bIncludeLocked) {
    return m_parser.getEarliestRecordFileInfo(list, nCount, bIncludeLocked);
}

int RecordIndexFileParserEx::getEarliestRecordFileInfo(RecordFileInfo& file) {
    return m_parser.getEarliestRecordFileInfo(file);
}

int RecordIndexFileParserEx::queryRecordSegmentList(SingleDeviceRecordQuery* query,
                                                    bool bWithDataLength) {
    return m_parser.queryRecordSegmentList(query, bWithDataLength);
}

int RecordIndexFileParserEx::getRecordFileInfo(RecordInfo const& info,
                                               SafePointer<RecordFileInfo>& file, bool bForward) {
    int begin = 0;
    int headEnd = 0;
    int end = 0;
    std::map<int, int> spans;
    return m_parser.getRecordFileInfo(info, file, begin, headEnd, end, spans, bForward);
}

int RecordIndexFileParserEx::getRecordFileInfoList(long long nBegin, long long nEnd,
                                                   RecordIndexParserImplEx::FileList& list) {
    return m_parser.getRecordFileInfoList(nBegin, nEnd, list);
}

int RecordIndexFileParserEx::getRecordFileInfoByFileName(char const* name,
                                                         SafePointer<RecordFileInfo>& file) {
    return m_parser.getRecordFileInfoByFileName(name, file);
}

int RecordIndexFileParserEx::getRecordFileLenAndTimeLen(int& nDataLength, int& nTimeLength,
                                                        int& nInterval, int& nEnd,
                                                        bool& bClosed) {
    return m_parser.getRecordFileLenAndTimeLen(nDataLength, nTimeLength, nInterval, nEnd, bClosed);
}

int RecordIndexFileParserEx::getFileNumber() { return m_parser.getFileNumber(); }

int RecordIndexFileParserEx::getIndexDemagedFileList(RecordIndexParserImplEx::FileList& list,
                                                     bool bAcceptReplacedCrc) {
    return m_parser.getIndexDemagedFileList(list, bAcceptReplacedCrc);
}

int RecordIndexFileParserEx::getLockFileInfo(int& nCount) {
    return m_parser.getLockFileInfo(nCount);
}

int RecordIndexFileParserEx::getLockFileList(std::vector<std::string>& list) {
    return m_parser.getLockFileList(list);
}

std::vector<std::string> RecordIndexFileParserEx::entryNames(RecordIndexParserImplEx& parser) {
    RecordIndexParserImplEx::FileList files;
    parser.getRecordFileInfoList(LLONG_MIN, LLONG_MAX, files);
    std::vector<std::string> names;
    for (auto const& file : files) names.push_back(file->getRecordFileName());
    std::sort(names.begin(), names.end());
    return names;
}

void RecordIndexFileParserEx::hideRemovedInView(std::vector<std::string> const& before) {
    std::vector<std::string> after = entryNames(m_fileParser);
    std::vector<std::string> removed;
    std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                        std::back_inserter(removed));
    for (auto const& name : removed) {
        int begin = 0;
        int end = 0;
        m_parser.deleteFile(name.c_str(), begin, end);
    }
}

int RecordIndexFileParserEx::lockFile(long long nBegin, long long nEnd) {
    int first = -1;
    int last = -1;
    if (m_bRepaired) m_parser.lockFile(nBegin, nEnd, first, last);
    if (fileParser().lockFile(nBegin, nEnd, first, last) == 0 || first < 0) return 1;
    return writeBack(first, last) ? 1 : 0;
}

int RecordIndexFileParserEx::unLockFile(long long nBegin, long long nEnd) {
    int first = -1;
    int last = -1;
    if (m_bRepaired) m_parser.unLockFile(nBegin, nEnd, first, last);
    if (fileParser().unLockFile(nBegin, nEnd, first, last) == 0 || first < 0) return 1;
    return writeBack(first, last) ? 1 : 0;
}

int RecordIndexFileParserEx::deleteFile(RecordFileInfo const& file) {
    int begin = -1;
    int end = -1;
    if (m_bRepaired) m_parser.deleteFile(file, begin, end);
    if (fileParser().deleteFile(file, begin, end) == 0) return 0;
    return writeBack(begin, end) ? 1 : 0;
}

int RecordIndexFileParserEx::deleteOutDateFile(SafePointer<RecordOutDateFileHandler>& handler) {
    int first = -1;
    int last = -1;
    std::vector<std::string> before;
    if (m_bRepaired) before = entryNames(m_fileParser);
    if (fileParser().deleteOutDateFile(handler, first, last) == 0) return 1;
    if (m_bRepaired) hideRemovedInView(before);
    return writeBack(first, last) ? 1 : 0;
}

int RecordIndexFileParserEx::deleteDeviceFile(SafePointer<RecordOutDateFileHandler>& handler) {
    int first = -1;
    int last = -1;
    std::vector<std::string> before;
    if (m_bRepaired) before = entryNames(m_fileParser);
    if (fileParser().deleteDeviceFile(handler, first, last) == 0) return 1;
    if (m_bRepaired) hideRemovedInView(before);
    return writeBack(first, last) ? 1 : 0;
}

int RecordIndexFileParserEx::deleteEarliestRecordFile(
    SafePointer<EarliestFileDeleteHandler>& handler) {
    int first = -1;
    int last = -1;
    std::vector<std::string> before;
    if (m_bRepaired) before = entryNames(m_fileParser);
    if (fileParser().deleteEarliestRecordFile(handler, first, last) == 0) return 1;
    if (m_bRepaired) hideRemovedInView(before);
    return writeBack(first, last) ? 1 : 0;
}
