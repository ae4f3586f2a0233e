#ifndef TESTS_SUPPORT_FAULTINJECTION_H
#define TESTS_SUPPORT_FAULTINJECTION_H

#include <memory>

#include "tests/support/FaultInjectingDiskManager.h"
#include "tests/support/FaultPlan.h"

// Puts a plan behind FileFactory and DiskManagerFactory (every disk type) for
// its lifetime, then restores the real factories:
//   auto plan = std::make_shared<FaultPlan>();
//   FaultInjection faults(plan);
class FaultInjection {
public:
    explicit FaultInjection(std::shared_ptr<FaultPlan> plan);
    ~FaultInjection();

    FaultInjection(FaultInjection const&) = delete;
    FaultInjection& operator=(FaultInjection const&) = delete;

private:
    std::shared_ptr<FaultPlan> m_pPlan;
    FaultInjectingDiskManager m_manager;
};

#endif
