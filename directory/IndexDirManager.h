#ifndef DIRECTORY_INDEXDIRMANAGER_H
#define DIRECTORY_INDEXDIRMANAGER_H

#include <string>
#include <vector>

#include "host/IDiskManager.h"
#include "host/OVMutex.h"

// The pool of ready index files of a directory, record/Index. A day's index
// file is moved out of it into the date folder when the day starts, and
// moved back under its dated name when the day is reclaimed. Pool files are
// named "%05d.index" when made; any "*.index" in the folder is one.
//
// Every file leaves the pool blanked to all 0xFF, made anew, whatever it held
// when it came back. Threads: init, uninit and allocateIndexFile on the
// directory's status thread; createIndexFile and deleteIndexFile on sessions
// and reclaiming threads.
class IndexDirManager {
public:
    // Touches no disk. The directories pass 0x80000 bytes.
    IndexDirManager(int fileSize, int diskType, std::string const& recordPath);

    // Makes the folder if missing, clears a foreign SD card, lists the pool;
    // true when the pool is usable.
    bool init(int fileSystemFormat);
    // Forgets the listed files (a failed disk); 1. init lists them again.
    int uninit();
    // Appends up to kListLimit names of the folder's "*.index" files; false
    // on a failed listing. Pool mutex held.
    bool fillFilelist();
    bool isNeedAllocateEmptyIndex();
    // Fills the pool at its first use: maxFiles/10 files on a hard disk, one
    // per record file on an SD card (disk type 2). Answers the number made;
    // -1 not ready, -2 the pool has files, -3 maxFiles negative.
    int allocateIndexFile(int maxFiles);
    // One pool file, createFileName(n); whether it was made.
    bool fillEmptyIndexFile(int n);
    // A blank index file at `target`, whose folder must exist: 1, or 0 when
    // the pool has none left (after listing the folder again).
    int createIndexFile(std::string const& target);
    // The inner step of createIndexFile; pool mutex held.
    bool createFile(std::string const& target);
    // Moves a reclaimed day's index file back as pool/`name`; whether it moved.
    bool deleteIndexFile(std::string const& sourcePath, std::string const& name);
    // On an SD card only: deletes what is not an index file; 1.
    int deleteOtherFile();

    static bool isIndexFile(std::string const& name);
    static std::string createFileName(int n);

    // For index files made outside a pool (directories without one).
    static constexpr long long kIndexFileSize = 0x80000;
    // Every byte of a fresh index file. A run that a power cut left without
    // its closing CRC item then ends in FF, which readers tell from a closed
    // run; a zero tail would pass for closed, and the run would be continued.
    static constexpr unsigned char kIndexFileFill = 0xFF;
    // Names taken per listing of the folder.
    static constexpr int kListLimit = 100;

private:
    IDiskManager* m_pDiskManager = nullptr;  // process-lived, not owned; set by init
    int m_nFileSize;
    std::string m_strIndexPath;
    bool m_bReady = false;               // guarded by m_mutex
    std::vector<std::string> m_fileList;  // guarded by m_mutex
    int m_nDiskType;
    OVMutex m_mutex;
};

#endif
