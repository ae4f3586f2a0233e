#include "host/DiskStateManager.h"

#include <algorithm>

#include "host/DiskManagerFactory.h"

DiskStateManager* DiskStateManager::getInstance() {
    // Lives until process end: directories' threads may ask during exit.
    static DiskStateManager* instance = new DiskStateManager();
    return instance;
}

int DiskStateManager::start() { return 0; }

void DiskStateManager::stop() {}

void DiskStateManager::addDiskDir(std::string const& root, int diskType, int format) {
    std::lock_guard<std::mutex> lock(m_mutex);
    Root& entry = m_roots[root];
    entry.nDiskType = diskType;
    entry.nFormat = format;
}

void DiskStateManager::removeDiskDir(std::string const& root) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_roots.erase(root);
}

int DiskStateManager::getDiskDirList(std::string const& diskPath, int diskType, std::vector<std::string>& dirs) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int found = 0;
    for (auto const& root : m_roots) {
        bool under = root.first == diskPath || root.first.compare(0, diskPath.size() + 1, diskPath + "/") == 0;
        if (!under || root.second.nDiskType != diskType) continue;
        dirs.push_back(root.first);
        ++found;
    }
    return found;
}

void DiskStateManager::installDevice(std::string const& root, int diskType) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_roots[root].nDiskType = diskType;
}

void DiskStateManager::removeDevice(std::string const& root) { removeDiskDir(root); }

bool DiskStateManager::getDiskStateInfo(std::string const& root, int& state, int& format) {
    if (root.empty()) return false;
    int diskType = 1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto found = m_roots.find(root);
        if (found != m_roots.end()) {
            diskType = found->second.nDiskType;
            if (found->second.nFormat >= 0) format = found->second.nFormat;
        }
    }
    IDiskManager* disk = DiskManagerFactory::getDiskManager(diskType, format);
    long long total = 0;
    long long used = 0;
    bool usable = disk != nullptr && disk->isDirExist(root.c_str()) != 0 &&
                  disk->getDiskSpace(root.c_str(), total, used) == 0 && total > 0;
    state = usable ? kStateOk : kStateMissing;
    return true;
}

bool DiskStateManager::getDiskFileSystem(std::string const& root, int& format) {
    int state = 0;
    return getDiskStateInfo(root, state, format) && state == kStateOk;
}

void DiskStateManager::preallocateFinishNotify(std::string const& path) {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_preallocateCounts[path];
}

int DiskStateManager::getPreallocateFinishCount(std::string const& path) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_preallocateCounts.find(path);
    return found == m_preallocateCounts.end() ? 0 : found->second;
}

void DiskStateManager::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_roots.clear();
    m_preallocateCounts.clear();
}

void DiskStateManager::addDiskStateListener(IDiskStateListener* listener) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (listener != nullptr && std::find(m_listeners.begin(), m_listeners.end(), listener) == m_listeners.end())
        m_listeners.push_back(listener);
}

void DiskStateManager::removeDiskStateListener(IDiskStateListener* listener) {
    std::lock_guard<std::mutex> delivery(m_deliveryMutex);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), listener), m_listeners.end());
}

void DiskStateManager::reportDiskState(std::string const& diskName, int diskState) {
    std::lock_guard<std::mutex> delivery(m_deliveryMutex);
    std::vector<IDiskStateListener*> listeners;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        listeners = m_listeners;
    }
    for (IDiskStateListener* listener : listeners) listener->handleDiskStateMessage(diskName, diskState);
}
