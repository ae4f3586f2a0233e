#ifndef DIRECTORY_NASEMPTYDIRMANAGER_H
#define DIRECTORY_NASEMPTYDIRMANAGER_H

#include <atomic>
#include <functional>
#include <set>
#include <string>

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IDiskManager.h"
#include "host/OVMutex.h"

// The pool of empty record files of one recorder on a network-attached
// share, record/empty. Unlike a local disk's pool it is not filled at once:
// the share belongs to every recorder that uses it, so the pool grows a few
// files at a time, in the background, up to the max empty file number
// (10 per channel + 1), while the share holds fewer record files than its
// useable space allows and its free space stays above the reserve.
//
// Several recorders keep their pools in the same folder, each under its own
// device id as prefix ("NVR_00012"); this pool reads, makes and hands out
// only its own. As on a local disk, the highest numbered file is kept, so
// that a restart knows where numbering goes on.
//
// Threads: init, allocRecordSpace and deleteOtherEmptyFile on the
// directory's status thread; createFileEx on recording sessions; the stop
// flag from any thread. m_mutex guards the numbers and is held across a
// hand-out's rename, never across a fill.
class NasEmptyDirManager {
public:
    NasEmptyDirManager(long long fileSize, int diskType, std::string const& recordPath, std::string const& deviceId);

    // Makes the folder if needed, drops a fill a crash cut short, reads this
    // recorder's files; 1, or 0 when the folder can't be made or listed.
    int init(int fileSystemFormat);

    // Bytes kept free on the disk: on a share 1 % of it, at least 1 GiB and
    // at most 100 GiB; elsewhere three files.
    static long long getDiskReserve(int diskType, long long totalBytes, long long fileSize);
    // 1 while the free space is above the reserve; 0 when it is not, or the
    // space can't be read.
    int isDiskSpaceFull();
    // Grows the pool towards the max empty file number; the files made.
    int allocRecordSpace();
    // Deletes up to `count` of this recorder's empty files for good, the
    // top file kept: room given back to the share. The number deleted.
    int deleteOtherEmptyFile(int count);

    // This recorder's empty files; -1 while not ready.
    int getEmptyFileNumberByDeviceId();
    // One file can be given: the top file is kept.
    bool hasFreeSpace();
    // Moves the lowest of this recorder's files to the record file the
    // request names (its folders made by the caller), numbered as in the
    // pool. 1 when given, 0 when none is left.
    int createFileEx(SafePointer<RecordFileInfo>& file);

    // Record files on the share, counted by the owner's counter (all of
    // them, every recorder's); -1 when they can't be counted.
    int getTotalFileNumber();
    void setTotalFileCounter(std::function<int()> counter) { m_totalCounter = std::move(counter); }
    int getMaxFileId();
    int getMaxFileNumber() const { return m_nMaxFileNumber.load(); }
    void setMaxFileNumber(int number) { m_nMaxFileNumber.store(number); }
    // Files of the max file number this pool leaves for other recorders.
    void setKeptForOthers(int number) { m_nKeptForOthers.store(number); }
    void setMaxEmptyFileNumber(unsigned int number) { m_nMaxEmptyFileNumber.store(number); }
    unsigned int getMaxEmptyFileNumber() const { return m_nMaxEmptyFileNumber.load(); }
    void stopEmptyFileCreate() { m_bStopFlag.store(true); }
    void startEmptyFileCreate() { m_bStopFlag.store(false); }
    std::string createEmptyFileName(int id) const;

    // A line of the share's log, "naslog.log" in the log folder, tag
    // "NasEmptyDir". Any thread.
    static void writeLog(char const* text, int line);

    static constexpr long long kGiB = 1073741824LL;

private:
    // Writes the line unless the last one written was of the same state.
    void logOnce(int state, char const* text, int line);
    bool fillEmptyFile(int id);
    IDiskManager* diskManager() const { return m_pDiskManager.load(); }

    std::atomic<IDiskManager*> m_pDiskManager{nullptr};  // process-lived, not owned; set by init
    long long m_nFileSize;
    std::string m_strEmptyPath;
    std::string m_strFillingPath;
    std::string m_strDeviceId;
    int m_nDiskType;
    std::atomic<int> m_nMaxFileNumber{0};
    std::atomic<int> m_nKeptForOthers{0};
    std::atomic<unsigned int> m_nMaxEmptyFileNumber{100};  // until the channels are known
    std::atomic<bool> m_bStopFlag{true};
    std::atomic<bool> m_bReady{false};
    std::atomic<int> m_nLastLogState{0};
    std::function<int()> m_totalCounter;  // set before the directory is shared
    OVMutex m_mutex;
    std::set<int> m_files;  // this recorder's numbers; guarded by m_mutex
};

#endif
