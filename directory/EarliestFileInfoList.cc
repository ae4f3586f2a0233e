#include "directory/EarliestFileInfoList.h"

#include "foundation/OVMutexManager.h"
#include "host/OrvaneTime.h"

namespace NS_EarliestFileInfoList {
constexpr long long kSecondsPerDay = 86400;
}  // namespace NS_EarliestFileInfoList

EarliestFileInfoList::EarliestFileInfoList(int nMaxCount)
    : m_nMaxCount(nMaxCount), m_nNow(OrvaneTime::currentTime().getSeconds()) {}

void EarliestFileInfoList::setRecordDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) {
    OV_LOCK_GUARD(guard, m_listMutex);
    m_policyList = policies;
    m_nPolicyCursor = 0;
}

bool EarliestFileInfoList::isSameFileInfo(SafePointer<RecordFileInfo> const& a,
                                          SafePointer<RecordFileInfo> const& b) {
    return a.get() != nullptr && b.get() != nullptr && a->isSameRecordSegment(*b);
}

bool EarliestFileInfoList::isInContion(SafePointer<RecordFileInfo> const& file) {
    if (file.get() == nullptr) return false;
    OV_LOCK_GUARD(guard, m_listMutex);
    return isInContionLocked(*file);
}

bool EarliestFileInfoList::isInContionLocked(RecordFileInfo const& file) {
    if (m_policyList.empty()) return true;
    // From the last hit on: one device's files come in runs.
    size_t at = 0;
    RecordDeviceDirPolicy const* policy = RecordDeviceDirPolicy::find(
        m_policyList, file.getDeviceId(), file.getDeviceIP(), file.getCameraId(), m_nPolicyCursor, &at);
    if (policy == nullptr) return false;
    m_nPolicyCursor = at;
    if (policy->isCycleWrite()) return true;
    long long keep = static_cast<long long>(policy->getRecordSaveDays()) * NS_EarliestFileInfoList::kSecondsPerDay;
    return keep < m_nNow - file.getRecordBeginTime();
}

int EarliestFileInfoList::getFileCount() const {
    OV_LOCK_GUARD(guard, m_listMutex);
    return static_cast<int>(m_fileList.size());
}

int EarliestFileInfoList::compare(SafePointer<RecordFileInfo> const& a,
                                  SafePointer<RecordFileInfo> const& b) {
    if (a->getLockFlag() != b->getLockFlag()) return a->getLockFlag() ? 1 : -1;
    if (a->getRecordBeginTime() < b->getRecordBeginTime()) return -1;
    if (a->getRecordBeginTime() > b->getRecordBeginTime()) return 1;
    return 0;
}

void EarliestFileInfoList::sort() {
    OV_LOCK_GUARD(guard, m_listMutex);
    size_t count = m_fileList.size();
    // Selection of the first smallest: stable for equal files.
    for (size_t i = 0; i + 1 < count; ++i) {
        size_t least = i;
        for (size_t j = i + 1; j < count; ++j) {
            if (compare(m_fileList[j], m_fileList[least]) < 0) least = j;
        }
        if (least == i) continue;
        SafePointer<RecordFileInfo> moved = m_fileList[least];
        for (size_t k = least; k > i; --k) m_fileList[k] = m_fileList[k - 1];
        m_fileList[i] = moved;
    }
}

void EarliestFileInfoList::update(SafePointer<RecordFileInfo> const& file) {
    if (file.get() == nullptr) return;
    OV_LOCK_GUARD(guard, m_listMutex);
    if (!isInContionLocked(*file)) return;
    long long begin = file->getRecordBeginTime();
    if (static_cast<int>(m_fileList.size()) < m_nMaxCount) {
        m_fileList.push_back(file);
        increase(begin);
        return;
    }
    long long latest = getLatestTime();
    if (m_fileList.empty() || begin >= latest) return;
    for (size_t i = m_fileList.size(); i-- > 0;) {
        if (m_fileList[i]->getRecordBeginTime() != latest) continue;
        decrease(latest);
        m_fileList[i] = file;
        increase(begin);
        return;
    }
}

void EarliestFileInfoList::increase(long long nTime) {
    OV_LOCK_GUARD(guard, m_timeMutex);
    ++m_timeMap[nTime];
}

void EarliestFileInfoList::decrease(long long nTime) {
    OV_LOCK_GUARD(guard, m_timeMutex);
    auto it = m_timeMap.find(nTime);
    if (it == m_timeMap.end()) return;
    if (--it->second <= 0) m_timeMap.erase(it);
}

long long EarliestFileInfoList::getEarliestTime() const {
    OV_LOCK_GUARD(guard, m_timeMutex);
    return m_timeMap.empty() ? 0 : m_timeMap.begin()->first;
}

long long EarliestFileInfoList::getLatestTime() const {
    OV_LOCK_GUARD(guard, m_timeMutex);
    return m_timeMap.empty() ? 0 : m_timeMap.rbegin()->first;
}

bool EarliestFileInfoList::getEaliestFileInfo(SafePointer<RecordFileInfo>& file) const {
    OV_LOCK_GUARD(guard, m_listMutex);
    if (m_fileList.empty()) return false;
    file = m_fileList.front();
    return true;
}

bool EarliestFileInfoList::removeEaliestFileInfo(SafePointer<RecordFileInfo>& file) {
    OV_LOCK_GUARD(guard, m_listMutex);
    if (m_fileList.empty()) return false;
    file = m_fileList.front();
    m_fileList.erase(m_fileList.begin());
    decrease(file->getRecordBeginTime());
    return true;
}

std::vector<SafePointer<RecordFileInfo>> EarliestFileInfoList::getFileInfoList() const {
    OV_LOCK_GUARD(guard, m_listMutex);
    return m_fileList;
}
