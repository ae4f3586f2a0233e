#ifndef DIRECTORY_RECORDDIRHANDLER_H
#define DIRECTORY_RECORDDIRHANDLER_H

#include <set>
#include <string>
#include <vector>

#include "directory/IndexDirManager.h"
#include "directory/RecordOutDateFileHandler.h"
#include "directory/RecordRecycleBin.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IDiskManager.h"
#include "host/OVMutex.h"
#include "index/RecordFileIndexCreator.h"

class DeviceRecordDiskStatReport;
class EarliestFileDeleteHandler;
class EarliestFileInfoList;

// Knows the tree under <root>/record: device folders "<id>_<ip>_<camera>",
// their date folders, the day's ".index" and ".bakindex", and the reclaiming
// of whole dates. Record files leave service only into the recycle bin; the
// index of a date goes back to the index pool.
//
// No thread and no lock of its own: the directory, its storage policy and
// the reclaiming thread call it, and the policy layer keeps two passes on one
// directory apart. Per-file work runs under the index parser and the bin.
class RecordDirHandler {
public:
    RecordDirHandler(RecordDirInfoEx const& info, std::string const& recordPath);

    // Makes the record folder if needed (a fresh one gets the disk's data
    // version file); 1, or 0 when it can't be made.
    int init(int fileSystemFormat);
    void setIndexDirManager(SafePointer<IndexDirManager> const& pool);

    // Index creation, forwarded to the directory's index creator.
    int createIndexFile(SafePointer<RecordFileInfo>& file);
    int togetherRecordFile(SafePointer<RecordFileInfo>& file);
    int createNewFileIndexSegment(SafePointer<RecordFileInfo>& file);
    int createFileIndex(SafePointer<RecordFileInfo>& file, bool forceNew, bool& isNew);

    // The disk's data version (30 to 35), from the version file in the root,
    // else under the record folder; a disk without one is of the first
    // layout. -1 when a file is there but can't be read.
    int checkDataVersion();
    int checkDataVersion(char const* path);

    // Lists every device and date folder once, so that the first query finds
    // the entries cached; 1, or 0 when the record folder can't be listed.
    int initDirCache();
    // Names matching "*.ts*" in every date folder of every device folder.
    int getTotalRecordFileNumber();

    // Takes the file's entry out of its day's index.
    int deleteFile(SafePointer<RecordFileInfo> const& file);
    // Whether a recording is writing this file right now.
    bool isRecordingFile(RecordFileInfo const& file);
    // Marks the file's date as recorded into before the file is handed out:
    // a writer marks it only once it opens the file, and until then a sweep
    // would move the file and the writer make a new one of its number. True
    // when this call set the mark, for releaseRecordingDate after a failed
    // hand-out. Any thread.
    bool claimRecordingDate(RecordFileInfo const& file);
    // Moves the file to the bin unless a recording writes it, as one step
    // against claimRecordingDate: 1 moved, 0 the move failed, -1 recording.
    int moveToBinUnlessRecording(SafePointer<RecordRecycleBin>& bin, RecordFileInfo const& file);
    void releaseRecordingDate(RecordFileInfo const& file);
    // The report's device and camera: its dates and indexed files. 0, or -1
    // when the record folder can't be listed.
    int scanDeviceRecordDisk(DeviceRecordDiskStatReport& report);

    // ---- policies of the devices that record here ----
    static bool isInDeviceList(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies);
    bool isInCleanRecordingMarkCondition(std::string const& deviceDir,
                                         std::vector<RecordDeviceDirPolicy> const& policies) const;
    // An empty list takes every device.
    static bool isInContion(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies);
    // The device keeps by days and is never cut by earliest-date deletion.
    static bool isSaveDayRecordPolicy(std::string const& deviceDir,
                                      std::vector<RecordDeviceDirPolicy> const& policies);
    // -1 when the device has no policy.
    static int getDeviceMaxSaveDays(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies);
    // The end of that day (its midnight + 86400), in seconds.
    static long long getFileDeleteTime(std::string const& date);
    // The dates up to (and with) the one `days` ago.
    static void getOutdueDateList(int days, std::vector<std::string>& dates);

    // ---- reclaiming ----
    // The overdue pass: every device that keeps by days loses the files past
    // its days. 1, or 0 when the record folder can't be listed.
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies,
                          SafePointer<RecordOutDateFileHandler>& handler);
    // Moves every record file of a folder into the bin: for dates whose
    // index is lost. The number moved, -1 when the folder can't be listed.
    int mvFile2Recyclebin(SafePointer<RecordRecycleBin>& bin, std::string const& dir);
    // The full-disk pass over one date of every cycle-writing device: all
    // its files go to the bin, except locked ones. The number of date
    // folders touched.
    int deleteEarliestDateFile(SafePointer<RecordRecycleBin>& bin, std::vector<RecordDeviceDirPolicy> const& policies,
                               std::string const& date, int);
    // The same, taking only the index entries; the files stay for a later pass.
    int deleteEarliestDateIndexFile(SafePointer<RecordRecycleBin>& bin,
                                    std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date);
    // Cuts one date of every cycle-writing device up to a time.
    int deleteSpecialTimeSegmentFile(SafePointer<RecordRecycleBin>& bin,
                                     std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                                     long long time);
    // The same for one device; 1 when the date folder went as a whole.
    int deleteSpecialTimeSegmentFile(SafePointer<RecordOutDateFileHandler>& handler, std::string const& deviceDir,
                                     std::string const& date);
    // Adds to `begins` the begin times of the date's oldest files that a cut
    // may take (unlocked, older than the file being recorded), at most
    // `wanted` per device that may be cut by date. False when the record
    // folder can't be listed.
    bool getDeletableBeginTimes(std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                                int wanted, std::vector<long long>& begins);
    // Record files of a date that the day's index doesn't hold locked.
    int getUnlockFileList(std::string const& deviceDir, std::string const& date, std::vector<std::string>& files);

    // Every date of the devices that may be cut by earliest-date deletion.
    int getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies, std::set<std::string>& dates);
    // The policies' device folders and their dates, oldest first; non-zero
    // when the record folder can't be listed.
    int getEarliestInfo(std::vector<RecordDeviceDirPolicy> const& policies, std::vector<std::string>& dates,
                        std::vector<std::string>& deviceDirs);
    // Feeds `list` with the oldest files, date by date, until it holds
    // `wanted`; 0, or -1 when the folders can't be listed.
    int getEarliestFileList(EarliestFileInfoList& list, std::vector<RecordDeviceDirPolicy> const& policies,
                            bool includeLocked, int wanted);
    int getEarliestFileList(std::string const& date, std::vector<std::string> const& deviceDirs,
                            EarliestFileInfoList& list, bool includeLocked, int wanted);
    // Runs the earliest-file walk over the oldest date of each device.
    int deleteEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies,
                               SafePointer<EarliestFileDeleteHandler>& handler);

    std::string const& getRecordPath() const { return m_strRecordPath; }

private:
    enum class DatePass { kFiles, kIndexOnly };
    int deleteEarliestDate(SafePointer<RecordRecycleBin>& bin, std::vector<RecordDeviceDirPolicy> const& policies,
                           std::string const& date, DatePass pass);
    // The date's index back to the pool (or deleted), its backup deleted.
    void removeDateIndex(std::string const& deviceDir, std::string const& date);
    // The index gone and the folder removed, if nothing else is left in it.
    void removeDateDir(std::string const& deviceDir, std::string const& date);
    void removeDeviceDirIfEmpty(std::string const& deviceDir);
    bool listDeviceDirs(std::vector<std::string>& deviceDirs);
    bool listDates(std::string const& deviceDir, std::vector<std::string>& dates);
    // The device folders that hold `date` and may be cut by date (not kept by days).
    bool listCycledDeviceDirs(std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                              std::vector<std::string>& deviceDirs);
    bool listRecordFiles(std::string const& dir, std::vector<std::string>& files);
    std::string dateDirOf(std::string const& deviceDir, std::string const& date) const;
    // How many files the date's index of that storage type still names after
    // `handler` walked it; -1 when it could not be opened.
    int cutIndex(std::string const& deviceDir, std::string const& date, int storageType,
                 SafePointer<RecordOutDateFileHandler>& handler);
    void deleteLog(char const* text);
    // Begin time of the file a recording of that device and date is writing;
    // false when none is being recorded there.
    bool getRecordingFileBegin(std::string const& deviceDir, std::string const& date, long long& begin);

    std::string m_strRecordPath;
    IDiskManager* m_pDiskManager = nullptr;  // process-lived, not owned
    RecordDirInfoEx m_dirInfo;
    SafePointer<RecordFileIndexCreator> m_indexCreator;
    SafePointer<IndexDirManager> m_indexPool;
    // Held by a sweep from its mark test to its last move of a device's date,
    // and by claimRecordingDate: a file is handed out either after a sweep or
    // with a mark that the next sweep sees. Outer to the bin's mutex.
    OVMutex m_sweepMutex;
};

#endif
