#include "host/DiskManagerFactory.h"

#include <map>
#include <mutex>
#include <utility>

#include "host/DiskManager.h"

namespace NS_DiskManagerFactory {

struct State {
    std::mutex m_mutex;
    // Real managers live until process end, as callers keep raw pointers.
    std::map<std::pair<int, int>, IDiskManager*> m_managers;  // guarded by m_mutex
    std::map<int, IDiskManager*> m_overrides;                  // guarded by m_mutex; not owned
};

State& state() {
    static State* instance = new State();
    return *instance;
}

}  // namespace NS_DiskManagerFactory

IDiskManager* DiskManagerFactory::getDiskManager(int nDiskType, int nFormat) {
    NS_DiskManagerFactory::State& state = NS_DiskManagerFactory::state();
    std::lock_guard<std::mutex> lock(state.m_mutex);
    auto found = state.m_overrides.find(nDiskType);
    if (found != state.m_overrides.end()) return found->second;
    found = state.m_overrides.find(-1);
    if (found != state.m_overrides.end()) return found->second;
    IDiskManager*& manager = state.m_managers[std::make_pair(nDiskType, nFormat)];
    if (manager == nullptr) manager = new DiskManager();
    return manager;
}

void DiskManagerFactory::setDiskManager(int nDiskType, IDiskManager* manager) {
    NS_DiskManagerFactory::State& state = NS_DiskManagerFactory::state();
    std::lock_guard<std::mutex> lock(state.m_mutex);
    if (manager == nullptr)
        state.m_overrides.erase(nDiskType);
    else
        state.m_overrides[nDiskType] = manager;
}

void DiskManagerFactory::resetDiskManagers() {
    NS_DiskManagerFactory::State& state = NS_DiskManagerFactory::state();
    std::lock_guard<std::mutex> lock(state.m_mutex);
    state.m_overrides.clear();
}
