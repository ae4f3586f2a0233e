#ifndef TESTS_SUPPORT_FAULTPLAN_H
#define TESTS_SUPPORT_FAULTPLAN_H

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/PosixFile.h"

// The faults of one test, shared by every FaultInjectingFile and
// FaultInjectingDiskManager made for it. Thread-safe.
//
// Counted faults are armed relative to now: failWriteAt(1) makes the next
// write call fail, whichever file of the plan makes it. Each counted fault
// fires once.
class FaultPlan {
public:
    enum class WriteFault { kNone, kFail, kShort, kThrow };

    FaultPlan() = default;

    // Writes: the n-th write call from now answers -1 / writes only `bytes`
    // and answers that / raises OVRuntimeError. Nothing is written for -1 or
    // a throw.
    void failWriteAt(int n);
    void shortWriteAt(int n, int bytes);
    void throwOnWriteAt(int n);
    // A slow disk: every write sleeps this long first.
    void setWriteDelay(int milliseconds);
    // A hung disk: writes block (before writing) until release().
    void hang();
    void release();
    // Number of writes blocked in hang() right now.
    int hungWriters();
    // A full disk: writes answer -1, createSizedFile fails, getDiskSpace
    // reports no free space.
    void setDiskFull(bool full);
    // A disk that fills up: sized and filled files may take `bytes` more in
    // all (-1: no limit). The file that does not fit gets the bytes left and
    // its call fails, the file left behind as by a manager whose clean-up
    // failed on the full disk; the disk is full from then on.
    void setDiskFullAfter(long long bytes);
    // The disk reports this size and free space (MiB) instead of its own,
    // so a test can stand for a disk of any size; a negative total stops it.
    void setReportedSpace(long long totalMiB, long long freeMiB);
    // The reported space as getDiskSpace gives it; false when none is set.
    bool getReportedSpace(long long& totalMiB, long long& usedMiB);
    // How much of a file of `size` bytes fits; size itself while no limit is
    // set. Used by the injecting disk manager.
    long long takeSpace(long long size);

    // The n-th flush call from now answers false (nothing is made durable).
    void failFlushAt(int n) { failDiskOpAt("flush", n); }
    // The n-th open call from now answers false.
    void failOpenAt(int n) { failDiskOpAt("open", n); }

    // Disk-manager operations: the n-th call from now of that operation fails.
    void failCreateSizedFileAt(int n) { failDiskOpAt("createSizedFile", n); }
    void failRenameAt(int n) { failDiskOpAt("rename", n); }
    void failCreateDirAt(int n) { failDiskOpAt("createDir", n); }
    void failCreateEmptyFileAt(int n) { failDiskOpAt("createEmptyFile", n); }
    void failSyncDirAt(int n) { failDiskOpAt("syncDir", n); }
    // The n-th deleteFile from now fails; not a call a power cut counts.
    void failDeleteAt(int n) { failDiskOpAt("deleteFile", n); }

    // The disk is gone: open false, read/write -1, seek/flush false, length
    // -1, and every disk-manager operation fails or answers "missing".
    void vanish();
    void restore();
    bool isVanished();

    // Power cut: every file written through the plan gets back the bytes and
    // length it had at its last successful flush (or when the plan first
    // opened it), except files whose path holds a spared text, whose unsynced
    // bytes all happened to reach the disk. A file renamed into a folder
    // after that folder's last sync through the plan is renamed back; files
    // and folders made are durable, as the host syncs them into their
    // parents. Deletions are taken as durable. Open files stay open.
    void powerCut();
    // A plan for long runs that never cut the power: no undo log is kept,
    // so memory stays flat however much is written.
    void keepNoUndo() { m_bNoUndo = true; }
    void spareUnsyncedBytesOf(std::string const& pathPart);
    // The n-th call from now among writes, flushes, syncDir and the disk
    // operations that create or rename cuts the power before it takes effect;
    // the disk is gone from then on (vanish). Tells whether it has fired.
    void powerCutAtCall(int n);
    bool hasPowerCutFired();

    int writeCalls();
    int flushCalls();

    // Used by the injecting file and disk manager.
    // Applies delay and hang, counts the call and answers the fault to inject
    // (with the byte count for kShort).
    WriteFault beforeWrite(int& shortBytes);
    bool beforeFlush() { return !diskOpFails("flush"); }  // false: inject a flush failure
    bool beforeOpen();                                      // false: inject an open failure
    bool diskOpFails(char const* op);  // "createSizedFile", "rename", "createDir", "syncDir", ...
    bool isDiskFull();
    bool deleteFails();

    // Folder entries, for the power cut: a rename stays until its folder is
    // synced (the host syncs every file and folder it makes at once).
    void noteRenamed(std::string const& from, std::string const& to);
    void noteFolderSynced(std::string const& folder);

    // Undo log of one file, kept per inode across the objects that open it,
    // so a rename after the writes does not lose it. The three note calls
    // need the shadow lock (lockShadows); a writer holds it across capture
    // and write so that undo order is write order for the whole plan.
    using FileKey = std::pair<unsigned long long, unsigned long long>;  // device, inode
    std::unique_lock<std::mutex> lockShadows() { return std::unique_lock<std::mutex>(m_shadowMutex); }
    // Registers a file opened for writing; its current contents count as
    // durable if the plan has not seen it before. Shadow lock held.
    bool noteOpened(std::string const& path, FileKey& key);
    // Saves the bytes at [offset, offset + length) that a write is about to
    // replace. Shadow lock held.
    void noteWrite(FileKey const& key, long long offset, int length);
    // The file's current contents are durable. Shadow lock held.
    void noteFlushed(FileKey const& key);
    // Nothing of the file is durable yet (made without a sync): a power cut
    // leaves it empty. Shadow lock held.
    void noteNothingDurable(FileKey const& key);

private:
    void failDiskOpAt(char const* op, int n);

    struct Shadow {
        std::shared_ptr<PosixFile> m_pFile;  // own descriptor: follows renames
        std::string m_strPath;               // as first opened
        long long m_nDurableLength = 0;
        std::vector<std::pair<long long, std::string>> m_undo;  // oldest first
    };

    std::mutex m_mutex;  // guards the counters and faults below
    std::condition_variable m_released;
    int m_nWriteCalls = 0;
    std::map<int, std::pair<WriteFault, int>> m_writeFaults;  // call number -> fault, bytes
    std::map<std::string, int> m_diskOpCalls;  // also "flush" and "open"
    std::map<std::string, std::map<int, bool>> m_diskOpFaults;
    int m_nWriteDelayMs = 0;
    bool m_bHung = false;
    int m_nHungWriters = 0;
    bool m_bVanished = false;
    bool m_bDiskFull = false;
    long long m_nSpaceLeft = -1;  // -1: no limit
    long long m_nReportedTotalMiB = -1;  // -1: the real disk's
    long long m_nReportedFreeMiB = 0;

    // A rename since the folder's last sync.
    struct Entry {
        std::string strPath;  // renamed to
        std::string strFrom;  // renamed from
    };

    // Counts a call that may cut the power; true if the disk is gone.
    // m_mutex held.
    bool cutsPowerHere();
    void powerCutLocked();  // m_shadowMutex held

    std::atomic<bool> m_bNoUndo{false};
    int m_nCutCalls = 0;
    int m_nCutAt = 0;  // 0: no cut armed
    bool m_bCutFired = false;

    std::mutex m_shadowMutex;  // guards the members below; taken after m_mutex, never before
    std::map<FileKey, Shadow> m_shadows;
    std::vector<std::string> m_spared;
    std::vector<Entry> m_entries;  // oldest first
};

#endif
