#ifndef SNAPSHOT_SNAPSHOTUSEABLEFILEDIR_H
#define SNAPSHOT_SNAPSHOTUSEABLEFILEDIR_H

#include <atomic>
#include <string>
#include <vector>

#include "host/IDiskManager.h"
#include "host/IFileScanAction.h"
#include "host/OVMutex.h"

// Counts the names that hold ".mjpeg".
class SnapshotFileNumSta : public IFileScanAction {
public:
    void doAction(char const* fileName) override;
    int getCount() const { return m_nCount; }
    std::vector<std::string> const& getNames() const { return m_names; }

private:
    int m_nCount = 0;
    std::vector<std::string> m_names;
};

// The pool of preallocated snapshot data files of one directory,
// <root>/useableDir: files of full size named by their creation time,
// "YYYYMMDDhhmmssmmm.mjpeg". A data file leaves by a rename into its date
// folder and comes back by a rename when its pictures are no longer wanted.
// The folder is the truth; the list is rebuilt from it by init.
//
// Any thread; the list is guarded by m_mutex, held across one rename.
class SnapshotUseableFileDir {
public:
    static constexpr long long kDefaultFileSize = 0x4000000;  // 64 MiB
    static constexpr char const* kDirName = "useableDir";

    // fileSize other than the default is for tests, which need small files.
    SnapshotUseableFileDir(std::string const& root, int diskType, long long fileSize = kDefaultFileSize);

    // Makes the folder if needed and reads it: 1, or 0 when it can't be
    // made or listed.
    int init(int fileSystemFormat);
    // Only finds the disk, for a caller that gives files back (deleteFile)
    // beside the directory's own pool: neither reads nor tidies the folder,
    // where the directory may be filling a file. False without a disk.
    bool attach(int fileSystemFormat);
    int getFileNumber();
    // One more pool file, made under a scratch name, synced, then renamed
    // durably: a power cut never leaves a short file under a pool name.
    // 1, or 0 with nothing left behind.
    int createEmptyFile();
    // Moves a pool file to path (whose folder exists) durably: 1, or 0 when
    // the pool has none to give.
    int createFile(std::string const& path);
    // Deletes up to n pool files; the number deleted.
    int cleanSpace(int n);
    // Takes the data file at path back under a fresh pool name; true when
    // it is durably in the pool.
    bool deleteFile(std::string const& path);
    // Data files in the device's date folders under root/snapshot.
    int getCurrentDeviceFileNumber(std::string const& deviceDir);
    std::string const& getPath() const { return m_strPath; }

private:
    // Reads the folder into the list; m_mutex held.
    bool readFolder();
    // Drops pool files shorter than the pool size: only a file cut short
    // outside this pool's own making can be one, and it would not hold
    // what the writer's size limit lets it take.
    void initFileLength();
    // A pool name of the current time that no pool file holds yet; m_mutex held.
    std::string freshName();

    std::string m_strRoot;
    std::string m_strPath;
    int m_nDiskType;
    long long m_nFileSize;
    std::atomic<IDiskManager*> m_pDisk{nullptr};  // process-lived; set by init
    OVMutex m_mutex;
    std::vector<std::string> m_files;  // guarded by m_mutex
};

#endif
