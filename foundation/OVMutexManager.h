#ifndef FOUNDATION_OVMUTEXMANAGER_H
#define FOUNDATION_OVMUTEXMANAGER_H

#include "foundation/LockRank.h"
#include "host/OVMutex.h"

// Scope guard: every lock in the library is taken through it.
class OVMutexManager {
public:
    OVMutexManager(OVMutex* mutex, char const* file, int line)
        : m_pMutex(mutex), m_pszFile(file), m_nLine(line) {
        m_pMutex->Lock(m_pszFile, m_nLine);
    }
    // Takes part in the lock-order check of LockRank; checked before the
    // lock is taken, so an inversion aborts instead of deadlocking.
    OVMutexManager(OVMutex* mutex, int rank, char const* file, int line)
        : m_pMutex(mutex), m_pszFile(file), m_nLine(line), m_nRank(rank) {
        LockRank::acquire(m_pMutex, m_nRank, m_pszFile, m_nLine);
        m_pMutex->Lock(m_pszFile, m_nLine);
    }
    ~OVMutexManager() {
        m_pMutex->Unlock(m_pszFile, m_nLine);
        LockRank::release(m_pMutex, m_nRank);
    }

    OVMutexManager(OVMutexManager const&) = delete;
    OVMutexManager& operator=(OVMutexManager const&) = delete;

private:
    OVMutex* m_pMutex;
    char const* m_pszFile;
    int m_nLine;
    int m_nRank = LockRank::kNone;
};

#define OV_LOCK_GUARD(name, mutex) OVMutexManager name(&(mutex), __FILE__, __LINE__)
#define OV_RANKED_LOCK_GUARD(name, mutex, rank) OVMutexManager name(&(mutex), (rank), __FILE__, __LINE__)

#endif
