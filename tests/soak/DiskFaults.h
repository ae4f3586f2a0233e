#ifndef TESTS_SOAK_DISKFAULTS_H
#define TESTS_SOAK_DISKFAULTS_H

#include <memory>
#include <string>
#include <vector>

#include "host/DiskManager.h"
#include "tests/support/FaultInjectingDiskManager.h"
#include "tests/support/FaultPlan.h"

// One fault plan per disk folder, behind FileFactory and DiskManagerFactory
// for the object's lifetime: a file or disk call goes to the plan of the
// folder its path lies in, anything else to the real host. So one disk can
// vanish, hang or write short while the others keep recording.
class DiskFaults {
public:
    explicit DiskFaults(std::vector<std::string> const& roots);
    ~DiskFaults();
    DiskFaults(DiskFaults const&) = delete;
    DiskFaults& operator=(DiskFaults const&) = delete;

    FaultPlan& plan(size_t disk) { return *m_disks[disk].pPlan; }

    // The plan's manager for a path on one of the disks, else the real one.
    IDiskManager& managerFor(char const* path);
    std::shared_ptr<FaultPlan> planFor(char const* path);

private:
    struct Disk {
        std::string strRoot;  // ends with '/'
        std::shared_ptr<FaultPlan> pPlan;
        std::unique_ptr<FaultInjectingDiskManager> pManager;
    };
    class Router;

    Disk const* diskFor(char const* path) const;

    std::vector<Disk> m_disks;
    DiskManager m_real;
    std::unique_ptr<Router> m_pRouter;
};

#endif
