#include "tests/support/FaultInjection.h"

#include <utility>

#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "tests/support/FaultInjectingFile.h"

FaultInjection::FaultInjection(std::shared_ptr<FaultPlan> plan)
    : m_pPlan(std::move(plan)), m_manager(m_pPlan) {
    std::shared_ptr<FaultPlan> shared = m_pPlan;
    FileFactory::setFileCreator(
        [shared](int, int, int) -> IFile* { return new FaultInjectingFile(shared); });
    DiskManagerFactory::setDiskManager(-1, &m_manager);
}

FaultInjection::~FaultInjection() {
    FileFactory::resetFileCreator();
    DiskManagerFactory::resetDiskManagers();
}
