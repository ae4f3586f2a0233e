#ifndef DIRECTORY_EARLIESTFILECOLLECTOR_H
#define DIRECTORY_EARLIESTFILECOLLECTOR_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "directory/EarliestFileInfoList.h"
#include "directory/IRecordDir.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/OVMutex.h"

// Keeps, per directory of a group (by root dir), a small sorted slice of its
// oldest record files, and says which file of the group is now the oldest,
// without a walk of the device folders at each request. Lists are refilled
// in the background by scanEarliestFile once they run under the min count.
//
// scanEarliestFile runs on the storage policy's thread, getEarliestFileInfo
// on the thread that needs space. Lock order: m_mapMutex, then a list's own.
// No lock is held across disk access: a list being rebuilt is private until
// it is stored.
class EarliestFileCollector {
public:
    EarliestFileCollector(int nMaxFileCount, int nMinFileCount);

    // false for a directory whose root dir is already in.
    bool addRecordDir(SafePointer<IRecordDir> const& dir);
    void removeRecordDir(std::string const& rootDir);
    bool getEarliestFileInfoList(std::string const& rootDir, SafePointer<EarliestFileInfoList>& list);
    void setEarliestFileInfoList(std::string const& rootDir, SafePointer<EarliestFileInfoList> const& list);
    // The union of the directories' oldest date folders.
    int getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies, std::set<std::string>& dates);
    // Refills the lists under the min count, each from its directory (10
    // files wanted per walk; bIncludeLocked offers locked files too). 0 at
    // once while another scan runs, else 1.
    int scanEarliestFile(std::vector<RecordDeviceDirPolicy> const& policies, bool bIncludeLocked);
    // The first file (see EarliestFileInfoList::compare) among the lists of
    // the named root dirs; with bRemove it is taken out of its list. false
    // when there is none.
    bool getEarliestFileInfo(std::vector<std::string> const& rootDirs, SafePointer<RecordFileInfo>& file,
                             bool bRemove);
    void clearAll();

private:
    bool isDirAlreadyExist(std::string const& rootDir) const;  // m_mapMutex held

    std::map<std::string, SafePointer<EarliestFileInfoList>> m_listMap;  // guarded by m_mapMutex
    std::vector<SafePointer<IRecordDir>> m_dirList;                      // guarded by m_mapMutex
    OVMutex m_mapMutex;
    OVMutex m_scanMutex;
    bool m_bScanning = false;  // guarded by m_scanMutex
    int const m_nMaxFileCount;
    int const m_nMinFileCount;
};

#endif
