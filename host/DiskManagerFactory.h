#ifndef HOST_DISKMANAGERFACTORY_H
#define HOST_DISKMANAGERFACTORY_H

#include "host/IDiskManager.h"

// Hands out the disk manager of a disk type and file system format. One
// instance per (type, format), living until process end; callers never
// delete it. Any thread.
class DiskManagerFactory {
public:
    static IDiskManager* getDiskManager(int nDiskType, int nFormat);

    // Test hook: every format of `nDiskType` answers `manager` (not owned;
    // it must outlive its use) until resetDiskManagers. nDiskType -1 covers
    // every type not set on its own.
    static void setDiskManager(int nDiskType, IDiskManager* manager);
    static void resetDiskManagers();
};

#endif
