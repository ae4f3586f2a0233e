#include "directory/LastRecordFileInfoManager.h"

#include <algorithm>
#include <cstdio>

#include "foundation/OVMutexManager.h"
#include "host/Logger.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexParserImplEx.h"

namespace NS_LastRecordFileInfoManager {
void writeLog(char const* tag, char const* text) { Logger::writeLog(tag, text, nullptr, 0); }
constexpr char const* kTag = "LastRecordFileInfoManager";
}  // namespace NS_LastRecordFileInfoManager

using NS_LastRecordFileInfoManager::kTag;

SafePointer<LastRecordFileInfo> LastRecordFileInfoManager::findEqual(RecordFileInfo const& file) {
    for (SafePointer<LastRecordFileInfo> const& entry : m_entries) {
        if (entry->isEqual(file)) return entry;
    }
    return SafePointer<LastRecordFileInfo>();
}

SafePointer<LastRecordFileInfo> LastRecordFileInfoManager::findDevice(RecordFileInfo const& file) {
    for (SafePointer<LastRecordFileInfo> const& entry : m_entries) {
        if (entry->isSameDevice(file)) return entry;
    }
    return SafePointer<LastRecordFileInfo>();
}

void LastRecordFileInfoManager::eraseDevice(RecordFileInfo const& file) {
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [&](SafePointer<LastRecordFileInfo> const& entry) {
                                       return entry->isSameDevice(file);
                                   }),
                    m_entries.end());
}

bool LastRecordFileInfoManager::getOldFileIndex(SafePointer<RecordFileInfo>& file, int& version) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    SafePointer<LastRecordFileInfo> entry = findEqual(*file);
    if (entry.isNull()) return false;
    version = -1;
    entry->getRecordFileInfo(*file, version);
    return true;
}

bool LastRecordFileInfoManager::getRecordValidLength(SafePointer<RecordFileInfo> const& file,
                                                     int& dataLength, int& timeLength, int& timeInterval,
                                                     int& endPos, bool& closed) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    SafePointer<LastRecordFileInfo> entry = findEqual(*file);
    if (entry.isNull()) return false;
    entry->getRecordValidLength(dataLength, timeLength, timeInterval, endPos, closed);
    return true;
}

SafePointer<LastRecordFileInfo> LastRecordFileInfoManager::initLastRecordFileInfo(
    SafePointer<RecordFileInfo> const& file) {
    RecordDirInfoEx dir = file->getRecordDirInfoEx();
    std::string deviceDir = file->getDeviceDirName();
    RecordIndexFileParserEx parser;
    if (parser.open(dir, file->getRecordDate(), deviceDir, file->getRecordStorageType(), 0) != 1)
        return SafePointer<LastRecordFileInfo>();
    int length = 0;
    char* image = parser.getIndexInfo(length);
    RecordIndexParserImplEx entries;
    entries.setIndexInfo(dir, file->getRecordDate(), deviceDir, image, length, file->getRecordStorageType());
    int dataLength = 0;
    int timeLength = 0;
    int interval = 0;
    int end = -1;
    bool closed = false;
    if (entries.getRecordFileLenAndTimeLen(dataLength, timeLength, interval, end, closed) != 1) {
        parser.close();
        return SafePointer<LastRecordFileInfo>();
    }
    SafePointer<LastRecordFileInfo> entry(new LastRecordFileInfo());
    bool held = true;
    RecordFileInfo last;
    int version = -1;
    int begin = 0;
    int headEnd = 0;
    int entryEnd = -1;
    if (entries.getLastestFileInfo(last, version) == 1 &&
        entries.getIndexPosByFileName(last.getRecordFileName().c_str(), begin, headEnd, entryEnd) == 1 &&
        entryEnd == end) {
        last.setRecordDirInfoEx(dir);
        last.setRecordStorageType(file->getRecordStorageType());
        held = entry->setIndexInfo(image + begin, entryEnd - begin + 1);
        entry->setRecordFileInfo(last, version);
        entry->setEntryBegin(begin);
    } else {
        // No file that day: what comes is a new entry behind the last byte.
        RecordFileInfo none = *file;
        entry->setIndexInfo(nullptr, 0);
        entry->setRecordFileInfo(none, -1);
        entry->setEntryBegin(end + 1);
    }
    entry->setRecordValidLength(dataLength, timeLength, interval, end, closed);
    // Kept without its bytes, the entry would take the items of the next run
    // for a whole entry and lose track of where it ends: an entry too long
    // for memory is read from the disk on each miss instead.
    if (held) insertLastRecordFileInfo(entry);
    char text[512];
    std::snprintf(text, sizeof(text), "initLastRecordFileInfo, Dir[%s], Date[%s], Device[%s]",
                  dir.getRecordRootDir().c_str(), file->getRecordDate().c_str(), deviceDir.c_str());
    NS_LastRecordFileInfoManager::writeLog(kTag, text);
    parser.close();
    return entry;
}

void LastRecordFileInfoManager::setLastRecordFileInfo(SafePointer<RecordFileInfo> const& file, int version,
                                                      char const* data, int length, long long entryBegin) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    SafePointer<LastRecordFileInfo> entry = findDevice(*file);
    if (entry.isNull()) {
        entry = SafePointer<LastRecordFileInfo>(new LastRecordFileInfo());
        if (!entry->setLastRecordFileInfo(file, version, data, length, entryBegin)) return;
        m_entries.push_back(entry);
        return;
    }
    // A head that does not fit leaves no entry: the next miss reads the disk.
    if (!entry->setLastRecordFileInfo(file, version, data, length, entryBegin)) eraseDevice(*file);
}

void LastRecordFileInfoManager::addLastRecordFileInfo(SafePointer<RecordFileInfo> const& file,
                                                      char const* data, int length) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    SafePointer<LastRecordFileInfo> entry = findEqual(*file);
    if (entry.isNull()) return;
    if (!entry->addLastRecordFileInfo(data, length)) eraseDevice(*file);
}

void LastRecordFileInfoManager::eraseLastRecordFileInfo(SafePointer<RecordFileInfo> const& file) {
    if (file.isNull()) return;
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    eraseDevice(*file);
    char text[256];
    std::snprintf(text, sizeof(text), "eraseLastRecordFileInfo, Device[%s]", file->getDeviceDirName().c_str());
    NS_LastRecordFileInfoManager::writeLog(kTag, text);
}

void LastRecordFileInfoManager::eraseLastRecordFileInfo(RecordDirInfoEx const& dir) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [&](SafePointer<LastRecordFileInfo> const& entry) {
                                       return entry->isSameRecordDir(dir);
                                   }),
                    m_entries.end());
    char text[512];
    std::snprintf(text, sizeof(text), "eraseLastRecordFileInfo, RecordDir[%s]", dir.getRecordRootDir().c_str());
    NS_LastRecordFileInfoManager::writeLog(kTag, text);
}

void LastRecordFileInfoManager::eraseLastRecordFileInfo(SafePointer<LastRecordFileInfo> const& entry) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_entries.erase(std::remove(m_entries.begin(), m_entries.end(), entry), m_entries.end());
}

void LastRecordFileInfoManager::insertLastRecordFileInfo(SafePointer<LastRecordFileInfo> const& entry) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    eraseDevice(*entry);
    m_entries.push_back(entry);
}

void LastRecordFileInfoManager::clear() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_entries.clear();
}

size_t LastRecordFileInfoManager::size() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_entries.size();
}
