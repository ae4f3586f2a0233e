#ifndef FOUNDATION_OVMUTEXMANAGER_H
#define FOUNDATION_OVMUTEXMANAGER_H

#include "host/OVMutex.h"

// Scope guard: every lock in the library is taken through it.
class OVMutexManager {
public:
    OVMutexManager(OVMutex* mutex, char const* file, int line)
        : m_pMutex(mutex), m_pszFile(file), m_nLine(line) {
        m_pMutex->Lock(m_pszFile, m_nLine);
    }
    ~OVMutexManager() { m_pMutex->Unlock(m_pszFile, m_nLine); }

    OVMutexManager(OVMutexManager const&) = delete;
    OVMutexManager& operator=(OVMutexManager const&) = delete;

private:
    OVMutex* m_pMutex;
    char const* m_pszFile;
    int m_nLine;
};

#define OV_LOCK_GUARD(name, mutex) OVMutexManager name(&(mutex), __FILE__, __LINE__)

#endif
