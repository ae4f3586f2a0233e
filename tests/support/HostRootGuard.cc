#include "tests/support/HostRootGuard.h"

#include "host/HostPaths.h"

HostRootGuard::HostRootGuard() : m_pTemp(new TempDir()) {
    m_strRoot = m_pTemp->root();
    m_strPrevious = HostPaths::getRoot();
    HostPaths::setRoot(m_strRoot);
}

HostRootGuard::HostRootGuard(std::string const& root) : m_strRoot(root) {
    m_strPrevious = HostPaths::getRoot();
    HostPaths::setRoot(m_strRoot);
}

HostRootGuard::~HostRootGuard() { HostPaths::setRoot(m_strPrevious); }
