#include "snapshot/SnapshotIndexFileItemParserEx.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "host/TimeConverter.h"
#include "snapshot/SnapshotIndexCodec.h"
#include "snapshot/SnapshotIndexItemEx.h"

void SnapshotIndexFileItemParserEx::setIndexFileInfo(char* entry, int headLength, int totalLength) {
    m_pszEntry = entry;
    m_nHeadLen = headLength;
    m_nTotalLen = totalLength;
}

void SnapshotIndexFileItemParserEx::setDeviceInfo(std::string const& deviceId, std::string const& deviceIP,
                                                  int cameraId) {
    m_strDeviceId = deviceId;
    m_strDeviceIP = deviceIP;
    m_nCameraId = cameraId;
}

int SnapshotIndexFileItemParserEx::parseFileInfo() {
    if (m_pszEntry == nullptr || m_nHeadLen <= 0) return -1;
    m_pszIndexFileHead.reset(new char[m_nHeadLen]);
    std::memcpy(m_pszIndexFileHead.get(), m_pszEntry, m_nHeadLen);
    long long begin = 0;
    if (!SnapshotIndexCodec::decodeHead(m_pszIndexFileHead.get(), m_nHeadLen, m_strFileName, begin)) return -1;
    // Times are unsigned long seconds everywhere else; a head outside that
    // range is damage, and its millisecond sums must not overflow.
    if (begin < 0 || begin > 0xFFFFFFFFLL) return -1;
    m_nBeginTime = begin;
    return 0;
}

unsigned char* SnapshotIndexFileItemParserEx::item(int nIndex) const {
    return reinterpret_cast<unsigned char*>(m_pszEntry + m_nHeadLen + nIndex * kItemSize);
}

long long SnapshotIndexFileItemParserEx::getSnapshotFileEndTime() const {
    int size = 0;
    int interval = 0;
    getFileSizeAndTimeInterval(size, interval);
    return m_nBeginTime * 1000 + static_cast<unsigned int>(interval);
}

int SnapshotIndexFileItemParserEx::getFileSize() const {
    int size = 0;
    int interval = 0;
    getFileSizeAndTimeInterval(size, interval);
    return size;
}

int SnapshotIndexFileItemParserEx::getFileSizeAndTimeInterval(int& nSize, int& nInterval) const {
    nSize = 0;
    nInterval = 0;
    long long size = 0;
    SnapshotIndexItemEx entry;
    for (int i = 0; i < getItemCount(); ++i) {
        if (entry.parse(item(i), kItemSize) == 0) return -1;
        size += entry.getFileSize();
        nInterval = static_cast<int>(entry.getTimeStamp());
    }
    // Only damage sums past what a data file can hold.
    nSize = static_cast<int>(std::min<long long>(size, INT_MAX));
    return 0;
}

int SnapshotIndexFileItemParserEx::getLastBurstMode() const {
    SnapshotIndexItemEx entry;
    if (getItemCount() == 0 || entry.parse(item(getItemCount() - 1), kItemSize) == 0) return -1;
    return entry.getBurstMode();
}

int SnapshotIndexFileItemParserEx::getIndexItemDataLen(long long nTime) const {
    int length = -1;
    int pos = 0;
    return getImageDataLenAndFilePos(nTime, length, pos) == 0 ? length : -1;
}

int SnapshotIndexFileItemParserEx::getImageDataLenAndFilePos(long long nTime, int& nLength, int& nPos) const {
    SnapshotIndexItemEx entry;
    long long pos = 0;
    for (int i = 0; i < getItemCount(); ++i) {
        entry.parse(item(i), kItemSize);
        if (pos > INT_MAX) break;  // damage: no data file reaches there
        if (m_nBeginTime * 1000 + entry.getTimeStamp() == nTime) {
            nLength = entry.getFileSize();
            nPos = static_cast<int>(pos);
            return 0;
        }
        pos += entry.getFileSize();
    }
    return -1;
}

void SnapshotIndexFileItemParserEx::deleteIndexFileInfo() {
    if (m_pszEntry != nullptr) std::memset(m_pszEntry, 0xFF, m_nTotalLen);
}

int SnapshotIndexFileItemParserEx::deleteIndexItem(int nIndex) {
    item(nIndex)[SnapshotIndexItemEx::getMaskPos()] = SnapshotIndexItemEx::kDeleted;
    return m_nHeadLen + nIndex * kItemSize + SnapshotIndexItemEx::getMaskPos();
}

int SnapshotIndexFileItemParserEx::deleteIndexItem(long long nTime, bool& bAllDeleted) {
    int offset = -1;
    SnapshotIndexItemEx entry;
    for (int i = 0; i < getItemCount() && offset < 0; ++i) {
        entry.parse(item(i), kItemSize);
        if (entry.getMask() != SnapshotIndexItemEx::kDeleted && m_nBeginTime * 1000 + entry.getTimeStamp() == nTime)
            offset = deleteIndexItem(i);
    }
    bAllDeleted = isAllDeleted();
    return offset;
}

void SnapshotIndexFileItemParserEx::deleteIndexItemInSegment(long long nBegin, long long nEnd,
                                                             std::vector<int>& offsets, bool& bAllDeleted) {
    SnapshotIndexItemEx entry;
    for (int i = 0; i < getItemCount(); ++i) {
        entry.parse(item(i), kItemSize);
        long long second = m_nBeginTime + entry.getTimeStamp() / 1000;
        if (entry.getMask() == SnapshotIndexItemEx::kDeleted || second < nBegin || second > nEnd) continue;
        offsets.push_back(deleteIndexItem(i));
    }
    bAllDeleted = isAllDeleted();
}

bool SnapshotIndexFileItemParserEx::isAllDeleted() const {
    for (int i = 0; i < getItemCount(); ++i)
        if (item(i)[SnapshotIndexItemEx::getMaskPos()] != SnapshotIndexItemEx::kDeleted) return false;
    return true;
}

void SnapshotIndexFileItemParserEx::getSnapshotList(SnapshotQueryCondition const& condition,
                                                    std::vector<SnapshotFile>& list, int nPolicyType) {
    SnapshotIndexItemEx entry;
    for (int i = 0; i < getItemCount(); ++i) {
        if (entry.parse(item(i), kItemSize) == 0 || entry.getMask() == SnapshotIndexItemEx::kDeleted) continue;
        long long time = m_nBeginTime * 1000 + entry.getTimeStamp();
        if (time < condition.getBeginTime() || time >= condition.getEndTime()) continue;
        if (condition.getSnapshotType() != 0 && (entry.getBurstMode() & condition.getSnapshotType()) == 0) continue;
        SnapshotFile file;
        file.setCameraId(m_nCameraId);
        file.setDeviceId(m_strDeviceId);
        file.setDeviceIP(m_strDeviceIP);
        file.setFileName(createFileName(entry.getTimeStamp(), entry.getBurstMode()));
        file.setTime(time);
        file.setLength(entry.getFileSize());
        file.setPolicyType(nPolicyType);
        list.push_back(file);
    }
}

std::string SnapshotIndexFileItemParserEx::createFileName(long long nOffset, int nType) const {
    long long time = m_nBeginTime * 1000 + nOffset;
    OVDateTime date;
    TimeConverter::longToStruct(static_cast<unsigned long>(time / 1000), date);
    char name[256];
    std::snprintf(name, sizeof name, "%s_%s_%d_%04d%02d%02d%02d%02d%02d%03d_%d%s", m_strDeviceId.c_str(),
                  m_strDeviceIP.c_str(), m_nCameraId, date.year, date.month, date.day, date.hour, date.minute,
                  date.second, static_cast<int>(time % 1000), nType, ".jpg");
    return name;
}
