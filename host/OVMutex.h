#ifndef HOST_OVMUTEX_H
#define HOST_OVMUTEX_H

#include <mutex>

// Recursive mutex; file and line are for diagnostics only. Recursive because
// the engine re-enters some objects from their own callbacks under one lock.
// Lock it only through OVMutexManager.
class OVMutex {
public:
    void Lock(char const* file, int line);
    void Unlock(char const* file, int line);

    // Where the current owner took the lock; for hang diagnostics.
    char const* getOwnerFile() const { return m_pszFile; }
    int getOwnerLine() const { return m_nLine; }

private:
    std::recursive_mutex m_mutex;
    char const* m_pszFile = nullptr;  // guarded by m_mutex
    int m_nLine = 0;                  // guarded by m_mutex
};

#endif
