#ifndef HOST_DISKSTATEMANAGER_H
#define HOST_DISKSTATEMANAGER_H

#include <map>
#include <mutex>
#include <string>
#include <vector>

// Told of every disk state message the host reports for a disk.
class IDiskStateListener {
public:
    virtual ~IDiskStateListener() = default;
    virtual int handleDiskStateMessage(std::string diskName, int diskState) = 0;
};

// The host's watch over disks: which record roots exist and whether each is
// usable. Every answer comes from the disk manager that DiskManagerFactory
// gives for the root's disk type, so a disk made to vanish there vanishes
// here too. One instance per process (getInstance); any thread.
class DiskStateManager {
public:
    static DiskStateManager* getInstance();

    static constexpr int kStateOk = 1;
    // The root is missing or can't be used (the disk is gone).
    static constexpr int kStateMissing = 3;

    // 0 on success (the host's convention).
    int start();
    void stop();

    // Known roots, with the disk type and file system format they were
    // given; a root not added counts as a local disk.
    void addDiskDir(std::string const& root, int diskType, int format);
    void removeDiskDir(std::string const& root);
    // The roots added under diskPath (the path itself or below it).
    int getDiskDirList(std::string const& diskPath, int diskType, std::vector<std::string>& dirs);
    void installDevice(std::string const& root, int diskType);
    void removeDevice(std::string const& root);

    // kStateOk when the root is a folder whose space can be read, else
    // kStateMissing. `format` is the root's format as added; for a root
    // without one it is left as the caller gave it. true unless root is empty.
    bool getDiskStateInfo(std::string const& root, int& state, int& format);
    // The format as getDiskStateInfo gives it; false unless the root is usable.
    bool getDiskFileSystem(std::string const& root, int& format);

    // A directory's preallocation ended; counted per path.
    void preallocateFinishNotify(std::string const& path);
    int getPreallocateFinishCount(std::string const& path);

    // Listeners are not owned; each is told in the order added, on the
    // reporting thread. Removal waits for a delivery under way, so a listener
    // may go once removed, but must not remove itself while being told.
    void addDiskStateListener(IDiskStateListener* listener);
    void removeDiskStateListener(IDiskStateListener* listener);
    // A disk's state changed (the host's message); tells every listener.
    void reportDiskState(std::string const& diskName, int diskState);

    // Forgets every root and count (tests).
    void clear();

private:
    DiskStateManager() = default;

    struct Root {
        int nDiskType = 1;
        int nFormat = -1;  // -1: not told
    };

    std::mutex m_mutex;
    std::map<std::string, Root> m_roots;             // guarded by m_mutex
    std::map<std::string, int> m_preallocateCounts;  // guarded by m_mutex
    std::vector<IDiskStateListener*> m_listeners;    // not owned; guarded by m_mutex
    std::mutex m_deliveryMutex;  // held while listeners are told; before m_mutex
};

#endif
