#include "host/OVMutex.h"

void OVMutex::Lock(char const* file, int line) {
    m_mutex.lock();
    m_pszFile = file;
    m_nLine = line;
}

void OVMutex::Unlock(char const*, int) {
    m_pszFile = nullptr;
    m_nLine = 0;
    m_mutex.unlock();
}
