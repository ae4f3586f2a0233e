#ifndef DIRECTORY_EMPTYDIRMANAGER_H
#define DIRECTORY_EMPTYDIRMANAGER_H

#include <atomic>
#include <functional>
#include <map>
#include <string>

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IDiskManager.h"
#include "host/OVMutex.h"

// The pool of preallocated record files of one local disk or SD card,
// record/empty. A file is made once at full size and leaves the pool by a
// rename that keeps its number; it never comes back. The folder is the truth:
// the map is rebuilt from its names by init.
//
// Pool names are <prefix>_<number>: "%05d" for this recorder's own device
// id, "%d" for any other prefix. The file with the highest number (the top
// file) is never handed out: its name is how a restart finds how far the
// numbering went.
//
// Threads: init and allocRecordSpace run on the directory's status thread;
// createFileEx/createFile on recording sessions, beside a running fill; the
// stop flag is set from any thread.
class EmptyDirManager {
public:
    // The last argument is not used. `fileSize` is 64-bit: segments may pass
    // 2 GiB on a 32-bit recorder.
    EmptyDirManager(long long fileSize, int diskType, std::string const& recordPath,
                    std::string const& deviceId, int recordType, int);

    // Reads what a previous run left (on an SD card, files of another
    // recorder are deleted first); 1 on success, 0 if the folder can't be
    // made or listed.
    int init(int fileSystemFormat);

    // Map sizes; the first two 0 while not ready. The device argument is not
    // used.
    int getEmptyFileNumber();
    int getEmptyFileNumberByDeviceId();
    int getValidEmptyFileNumber();
    int getCurrentDeviceFileNumber(std::string const&);
    bool isExistEmptyFile();
    // More than one file: the top file is kept, so one file means none to give.
    bool hasFreeSpace();

    int getMaxFileId();
    int getMaxFileNumber() const { return m_nMaxFileNumber.load(); }
    void setMaxFileNumber(int number) { m_nMaxFileNumber.store(number); }
    // Stored for the directory; the pool itself does not consult it.
    void setMaxEmptyFileNumber(unsigned int number) { m_nMaxEmptyFileNumber.store(number); }
    unsigned int getMaxEmptyFileNumber() const { return m_nMaxEmptyFileNumber.load(); }
    void stopEmptyFileCreate() { m_bStopFlag.store(true); }
    void startEmptyFileCreate() { m_bStopFlag.store(false); }
    // True until a fill has run to its end (or failed); a stopped fill
    // leaves it set.
    bool isCreatingEmptyFile() const { return m_bCreating.load(); }

    // Files this disk has made so far; 0 while not ready.
    int getTotalFileNumber();
    long long getTotalFileSize();
    // Deletes nothing here.
    int cleanSpace(int) { return 0; }
    bool isNVRVersionEmptyFile(std::string const& prefix) const { return prefix == m_strDeviceId; }
    std::string createEmptyFileName(std::string const& prefix, int id) const;
    // A pool name <prefix>_<number>; false for any other name.
    static bool splitDevice(std::string const& name, std::string& prefix, int& id);

    // Makes the files numbered above max file id up to max file number.
    // Answers the number of files it can give (the top one not counted), 0
    // when stopped. A full or failing disk ends it at what fits; the next
    // init + allocRecordSpace go on from there.
    int allocRecordSpace();
    // 0 while not ready or below max file id (holes are not filled), else
    // as fillEmptyFile.
    int createEmptyFile(int id);
    // One pool file of full size; 1 on success, 0 with nothing left behind.
    int fillEmptyFile(int id);

    // Moves a pool file to the file's date folder (made by the caller) under
    // the file's name, numbered with its pool number (-1 for a foreign
    // prefix). 1 when done, 0 when the pool has none to give.
    int createFileEx(SafePointer<RecordFileInfo>& file);
    // The same to a given path; no RecordFileInfo.
    int createFile(std::string const& target);

private:
    // Makes pool files from..to and their names durable; false if any sync failed.
    bool syncFilled(int from, int to);
    int deleteOtherEmptyFile();
    int getTotalFileNumber_Privite();
    static int calcMaxFileId(std::map<int, std::string> const& files);
    static int getRandomIndexFromMap(std::map<int, std::string>& files);
    // Moves pool file `key` to `target` and makes it durable there; m_mutex held.
    bool moveOut(int key, std::string const& target);
    // Hands out the first pool file from `entry` on that moves to the target
    // `targetOf` names for it (number, prefix); the top file ends the walk.
    // m_mutex held.
    int handOut(std::map<int, std::string>::iterator entry,
                std::function<std::string(int, std::string const&)> const& targetOf);

    IDiskManager* diskManager() const { return m_pDiskManager.load(); }

    // Process-lived, not owned; set by init, which a failed disk repeats
    // while other threads read it.
    std::atomic<IDiskManager*> m_pDiskManager{nullptr};
    long long m_nFileSize;
    std::string m_strEmptyPath;
    OVMutex m_mutex;
    std::atomic<unsigned int> m_nMaxEmptyFileNumber{100};
    int m_nMaxFileId = 0;  // guarded by m_mutex
    std::atomic<int> m_nMaxFileNumber{0};
    std::atomic<bool> m_bStopFlag{true};
    std::atomic<bool> m_bCreating{true};
    std::string m_strDeviceId;
    int m_nRecordType;
    int m_nDiskType;
    std::map<int, std::string> m_files;  // number -> prefix; guarded by m_mutex
    std::atomic<bool> m_bReady{false};
    int m_nUseMode = 0;  // guarded by m_mutex
};

#endif
