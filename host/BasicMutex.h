#ifndef HOST_BASICMUTEX_H
#define HOST_BASICMUTEX_H

#include <mutex>

// Plain mutex, used where no diagnostics are wanted (singleton creation).
class BasicMutex {
public:
    void B_Lock() { m_mutex.lock(); }
    void B_Unlock() { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

#endif
