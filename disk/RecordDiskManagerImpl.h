#ifndef DISK_RECORDDISKMANAGERIMPL_H
#define DISK_RECORDDISKMANAGERIMPL_H

#include <map>
#include <vector>

#include "directory/IRecordDir.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordDiskInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"
#include "recording/IRecordWriter.h"

// Hands record files and writers to the sessions. It serves the directories
// it was given in their order: the first writable one whose attribute fits
// the session's condition and whose disk has a writer slot left. A session
// holds one reference on its disk from its first file until it closes.
class RecordDiskManagerImpl : public Singlton<RecordDiskManagerImpl> {
public:
    // Replaces the directories in service; each is made ready on its folder.
    void setRecordDirInfoList(std::vector<RecordDirInfoEx> const& dirs);
    std::vector<RecordDirInfoEx> getRecordDirInfoList();
    // The directory in service with this root; null when none.
    SafePointer<IRecordDir> getRecordDir(std::string const& root);

    // Gives the session a file and an opened-to-be writer in a directory.
    // `condition` 1 wants a dedicated directory (attribute 4), 0 any other.
    // A continue or keep request joins the channel's unfinished file of the
    // same day when the directory still holds it. 0 or a failure code.
    int createRecordFile(SafePointer<RecordFileInfo> file, int requestType, int condition,
                         SafePointer<IRecordWriter>& writer, SafePointer<IRecordDir>& dir);

    // Gives back the session's reference on its disk.
    void decreaseRecordDiskReference(SafePointer<RecordFileInfo> file);

    int getDiskReferenceCount(std::string const& diskName);
    // Stops and forgets every directory.
    void clear();

private:
    friend class Singlton<RecordDiskManagerImpl>;
    // The recorder's own id and record type until the host may set others.
    static constexpr char const* kDeviceId = "NVR";
    static constexpr int kRecordType = 1;
    RecordDiskManagerImpl() = default;
    ~RecordDiskManagerImpl() override;

    static std::string diskNameOf(RecordDirInfoEx const& info);
    RecordDiskInfoEx* findDisk(std::string const& diskName);
    void holdDisk(RecordFileInfo const* session, std::string const& diskName);

    struct Dir {
        RecordDirInfoEx info;
        SafePointer<IRecordDir> dir;
    };
    std::vector<Dir> m_dirs;                                // guarded by m_mutex
    std::vector<RecordDiskInfoEx> m_disks;                  // guarded by m_mutex
    std::map<RecordFileInfo const*, std::string> m_holders;  // session -> disk; guarded by m_mutex
    OVMutex m_mutex;
};

#endif
