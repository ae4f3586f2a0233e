#include "host/ISinglton.h"

#include <mutex>
#include <vector>

namespace {

class SingltonRegistry {
public:
    ~SingltonRegistry() {
        // Newest first: a later singleton may use an earlier one while it dies.
        while (!m_instances.empty()) {
            ISinglton* instance = m_instances.back();
            m_instances.pop_back();
            delete instance;
        }
    }

    void add(ISinglton* instance) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_instances.push_back(instance);
    }

private:
    std::mutex m_mutex;
    std::vector<ISinglton*> m_instances;  // guarded by m_mutex
};

SingltonRegistry& registry() {
    static SingltonRegistry instance;
    return instance;
}

}  // namespace

void addSingltonInstance(ISinglton* instance) {
    if (instance != nullptr) registry().add(instance);
}
