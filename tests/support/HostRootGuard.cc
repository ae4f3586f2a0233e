#include "tests/support/HostRootGuard.h"

#include "host/HostPaths.h"

HostRootGuard::HostRootGuard(std::string const& root)
    : m_pTemp(root.empty() ? new TempDir() : nullptr), m_strRoot(m_pTemp ? m_pTemp->root() : root) {
    m_strPrevious = HostPaths::getRoot();
    HostPaths::setRoot(m_strRoot);
}

HostRootGuard::~HostRootGuard() { HostPaths::setRoot(m_strPrevious); }
