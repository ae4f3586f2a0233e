#ifndef TESTS_SUPPORT_HOSTROOTGUARD_H
#define TESTS_SUPPORT_HOSTROOTGUARD_H

#include <memory>
#include <string>

#include "tests/support/TempDir.h"

// Moves HostPaths' root for its lifetime and puts the old one back. Without
// a root the root is a TempDir of its own.
class HostRootGuard {
public:
    explicit HostRootGuard(std::string const& root = std::string());
    ~HostRootGuard();

    HostRootGuard(HostRootGuard const&) = delete;
    HostRootGuard& operator=(HostRootGuard const&) = delete;

    std::string const& root() const { return m_strRoot; }

private:
    std::unique_ptr<TempDir> m_pTemp;
    std::string m_strRoot;
    std::string m_strPrevious;
};

#endif
