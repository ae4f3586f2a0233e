#include "host/HostPaths.h"

#include <cstdlib>
#include <mutex>

namespace NS_HostPaths {

std::string normalise(std::string root) {
    while (!root.empty() && root.back() == '/') root.pop_back();
    return root;
}

struct State {
    std::mutex m_mutex;
    std::string m_strRoot;  // guarded by m_mutex

    State() {
        char const* env = std::getenv("RECSTORE_ROOT");
        if (env != nullptr) m_strRoot = normalise(env);
    }
};

State& state() {
    // Never destroyed: logs may be written while statics die.
    static State* instance = new State();
    return *instance;
}

}  // namespace NS_HostPaths

void HostPaths::setRoot(std::string const& root) {
    NS_HostPaths::State& state = NS_HostPaths::state();
    std::lock_guard<std::mutex> lock(state.m_mutex);
    state.m_strRoot = NS_HostPaths::normalise(root);
}

std::string HostPaths::getRoot() {
    NS_HostPaths::State& state = NS_HostPaths::state();
    std::lock_guard<std::mutex> lock(state.m_mutex);
    return state.m_strRoot;
}

std::string HostPaths::getConfigDir() { return getRoot() + "/hd1/program/config"; }

std::string HostPaths::getLogDir() { return getRoot() + "/mnt/mtd/log"; }

std::string HostPaths::getCodeConfigDir() { return getRoot() + "/mnt/mtd/code/config_file"; }
