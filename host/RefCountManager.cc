#include "host/RefCountManager.h"

RefCountManager& RefCountManager::getInstance() {
    // Never destroyed: SafePointers in other singletons may die after it.
    static RefCountManager* instance = new RefCountManager();
    return *instance;
}

ref_count* RefCountManager::retrieveRefCount(void const* address, char const* name) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_counts.find(address);
    if (found != m_counts.end()) return found->second;
    ref_count* count = new ref_count();
    count->m_pAddress = address;
    count->m_strName = name ? name : "";
    m_counts[address] = count;
    return count;
}

void RefCountManager::returnbackRefCount(void const* address) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_counts.find(address);
    if (found == m_counts.end()) return;
    delete found->second;
    m_counts.erase(found);
}

bool RefCountManager::isLive(ref_count const* count) const {
    if (count == nullptr) return false;
    auto found = m_counts.find(count->m_pAddress);
    return found != m_counts.end() && found->second == count;
}

bool RefCountManager::increase(ref_count* count) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!isLive(count)) return false;
    ++count->m_nCount;
    return true;
}

int RefCountManager::decrease(ref_count* count) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!isLive(count) || count->m_nCount <= 0) return -1;
    if (--count->m_nCount == 0) m_counts.erase(count->m_pAddress);
    return count->m_nCount;
}

size_t RefCountManager::size() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_counts.size();
}
