#ifndef DIRECTORY_RECORDRECYCLEBIN_H
#define DIRECTORY_RECORDRECYCLEBIN_H

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IDiskManager.h"
#include "host/OVMutex.h"

// The folder record/recycleBin of a directory: record files taken out of
// service wait here, whole and at full size, until a session needs a file
// and the empty pool has none. A file goes in and out by rename only, so it
// keeps its number (the digits before the first "-") and its size for life.
//
// The folder is the ground truth; the map is a cache of it, rebuilt by init
// and whenever a request finds nothing. The style of the names (numbered or
// not) is fixed by the first name the bin sees; names of the other style are
// left out of the map.
//
// Sessions call createFileEx, reclaiming threads deleteFile, the status
// thread init and setUsableFlag. m_binMutex guards the map and the listing
// buffer and is held across each rename.
class RecordRecycleBin {
public:
    // recordPath is <root>/record.
    RecordRecycleBin(int nDiskType, std::string const& recordPath);

    // Makes the folder if needed and counts it afresh; 0 only when the
    // folder cannot be made. A failed listing leaves the bin empty.
    int init(int nFileSystemFormat, long long nFileLength);
    int getFileNumber();
    int getCurrentDeviceFileNumber(std::string const&) { return getFileNumber(); }
    // A fresh count of the folder (nLimit as the listing's limit); -1 on failure.
    int getFileNumber(int nLimit);
    // Without the mutex: a hint, asked again under the lock.
    bool hasFreeFile() const { return m_nMapSize.load() > 0; }
    void setUsableFlag(bool bFlag) { m_bUsable = bFlag; }
    int initFileLength() { return 1; }
    static bool isNumberedFile(std::string const& name);

    // Moves the file at sourcePath (named name) into the bin; true when it
    // is there, durable in the bin's folder.
    bool deleteFile(std::string const& sourcePath, std::string const& name);
    // Moves the named files of dir in; true when all went.
    bool deleteFile(std::string const& dir, std::vector<std::string> const& names);
    // Hands out a file as the one the request describes: its name and whole
    // path are set, under the old number when the bin's names are numbered.
    // The target's folders must exist. false when none could be had.
    bool createFileEx(SafePointer<RecordFileInfo>& file);
    // The lowest file, renamed to target.
    bool createFile(std::string const& target);
    // Deletes up to nCount files for good, lowest first; how many went.
    int cleanSpace(int nCount);

    std::string const& getBinPath() const { return m_strBinPath; }

private:
    // Renames the bin's file `name` to target and makes it durable there.
    bool moveOut(std::string const& name, std::string const& target);
    bool createFileImp(SafePointer<RecordFileInfo>& file);  // m_binMutex held
    void fillFileMapByFileVector(std::vector<std::string> const& list, std::map<int, std::string>& map);
    void fillFileMapByNumberedFileList(std::vector<std::string> const& list, std::map<int, std::string>& map);
    void fillFileMapByNoNumberedFileList(std::vector<std::string> const& list,
                                         std::map<int, std::string>& map);
    void insertFileToMap(std::string const& name);  // m_binMutex held
    int getRandomIndexFromMap() const;              // m_binMutex held
    void countMap() { m_nMapSize.store(m_fileMap.size()); }  // m_binMutex held
    static bool getNumberOf(std::string const& name, int& number);

    std::atomic<IDiskManager*> m_pDiskManager{nullptr};  // process-lived, not owned; set by init
    std::string m_strBinPath;
    int m_nDiskType;
    long long m_nFileLength = 0;
    std::map<int, std::string> m_fileMap;  // number (or position) -> name; guarded by m_binMutex
    std::vector<std::string> m_listBuffer;  // guarded by m_binMutex
    OVMutex m_binMutex;
    bool m_bNumbered = true;     // guarded by m_binMutex
    bool m_bStyleKnown = false;  // guarded by m_binMutex
    int m_nUseMode = 1;          // -1: random pick
    std::atomic<bool> m_bUsable{false};
    // The map's size for readers without the lock: the map itself is
    // changed under it at any time.
    std::atomic<size_t> m_nMapSize{0};
};

#endif
