#ifndef INDEX_RECORDINDEXFILEPARSEREX_H
#define INDEX_RECORDINDEXFILEPARSEREX_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "index/RecordIndexParserImplEx.h"

class EarliestFileDeleteHandler;
class EarliestFileInfoList;
class RecordOutDateFileHandler;
class SingleDeviceRecordQuery;

// One record index file (".index", ".bakindex", ".reindex" of a device dir
// and date; docs/record-index.md), read whole into memory by one read at
// open. Every reading operation works on that image, so a reader sees the
// file as it was at open. Changes (lock, unlock, delete) are made in the
// image and written back as the one run of bytes they touched, then synced;
// that needs an open for changing (mode 1).
//
// repairIndex makes the image a view that differs from the file. From then
// on the file's own bytes are kept apart: a change is made there and written
// back from there, and the view follows in memory. What repair hid or added
// never reaches the file.
//
// Owns the image and the file. A local object of one caller. Objects that
// change one index file (opened with kModeChange, and the index writer) take
// turns through the file's change mutex: from open to close here, so that a
// write-back never returns bytes another object changed since the read.
class RecordIndexFileParserEx {
public:
    static constexpr int kModeChange = 1;  // open mode for lock, unlock, delete
    static constexpr int kStorageTypeBackup = 1;
    static constexpr int kStorageTypeRebuilt = 3;
    static constexpr int kStorageTypeShortDeviceDir = 4;

    RecordIndexFileParserEx() = default;
    ~RecordIndexFileParserEx();
    RecordIndexFileParserEx(RecordIndexFileParserEx const&) = delete;
    RecordIndexFileParserEx& operator=(RecordIndexFileParserEx const&) = delete;

    // Reads the whole index file of the date and device dir; nMode 1 keeps
    // it open for writing back. A file over 1 MiB, a missing file or a
    // failed read: 0. A file of length 0 opens with no entries.
    int open(RecordDirInfoEx const& dirInfo, std::string const& date,
             std::string const& deviceDir, int nStorageType, int nMode);
    // Frees the image and closes the file.
    void close();
    // Length of the index file without reading it; -1 if it cannot be had.
    static long long getIndexFileLen(RecordDirInfoEx const& dirInfo, std::string const& date,
                                     std::string const& deviceDir, int nStorageType);
    // Folds the undamaged entries of the ".reindex" sibling into the view:
    // main entries of the same names are painted (in the view only) and the
    // rebuilt ones follow the main image. No file changes, now or at a later
    // write-back. Repeated, it folds into the file's image again. 1, or 0
    // when the sibling cannot be read.
    int repairIndex(RecordDirInfoEx const& dirInfo, std::string const& date,
                    std::string const& deviceDir, int nStorageType);

    // Makes what repairIndex folded the file's own: the main entries (with
    // those rebuilt painted), then the rebuilt entries, then 0xFF to the
    // file's length, written over the file and synced. Needs an open for
    // changing and a repair; 1, or 0 when there is nothing to commit, the
    // result would pass 1 MiB, or the write failed.
    int commitRepair();

    char* getIndexInfo(int& nLength) const;
    // <root>/record/<device dir>/<date>/<device dir>_<date><suffix>; empty
    // for storage type 4 when the device dir has fewer than three fields.
    static std::string getIndexFileName(RecordFileInfo const& file);
    static std::string getIndexFileName(std::string const& root, std::string const& date,
                                        std::string const& deviceDir, int nStorageType);

    // ---- reading; see RecordIndexParserImplEx ----
    char* getLastestIndexInfo(int& nLength);
    int getLastestFileInfo(RecordFileInfo& file);
    int getLastestFileInfo(RecordFileInfo& file, int& nVersion);
    int getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount, bool bIncludeLocked);
    int getEarliestRecordFileInfo(RecordFileInfo& file);
    int queryRecordSegmentList(SingleDeviceRecordQuery* query, bool bWithDataLength);
    int getRecordTimeRuns(std::vector<RecordTimeRun>& runs) { return m_parser.getRecordTimeRuns(runs); }
    int getRecordFileInfo(RecordInfo const& info, SafePointer<RecordFileInfo>& file, bool bForward);
    int getRecordFileInfoList(long long nBegin, long long nEnd,
                              RecordIndexParserImplEx::FileList& list);
    int getRecordFileInfoByFileName(char const* name, SafePointer<RecordFileInfo>& file);
    int getRecordFileLenAndTimeLen(int& nDataLength, int& nTimeLength, int& nInterval, int& nEnd,
                                   bool& bClosed);
    int getFileNumber();
    int getIndexDemagedFileList(RecordIndexParserImplEx::FileList& list, bool bAcceptReplacedCrc = false);
    int getLockFileInfo(int& nCount);
    int getLockFileList(std::vector<std::string>& list);

    // ---- changes, written back; 1, or 0 when the write-back failed ----
    // After a repair the change is made to the file's entries and to the
    // view alike; a handler is called for the file's entries only.
    int lockFile(long long nBegin, long long nEnd);
    int unLockFile(long long nBegin, long long nEnd);
    // 0 also when the file has no entry of that name.
    int deleteFile(RecordFileInfo const& file);
    int deleteOutDateFile(SafePointer<RecordOutDateFileHandler>& handler);
    int deleteDeviceFile(SafePointer<RecordOutDateFileHandler>& handler);
    int deleteEarliestRecordFile(SafePointer<EarliestFileDeleteHandler>& handler);

    RecordIndexParserImplEx& getParser() { return m_parser; }

    // The mutex that every change to the index file at `path` holds; one per
    // path while anyone holds it. Any thread.
    static std::shared_ptr<std::recursive_mutex> getChangeMutex(std::string const& path);
    // The parser log (parserIndexLog.log in the log folder). Any thread;
    // never fails its caller.
    static void writeParserLog(char const* text, char const* file, int line);

private:
    // The parser over the file's own bytes: the view's until a repair.
    RecordIndexParserImplEx& fileParser();
    // Writes bytes [nBegin, nEnd] of the file's image to the same offsets
    // and syncs.
    bool writeBack(int nBegin, int nEnd);
    // Paints in the view the entries that a handler's walk took out of the
    // file, given the file's names before it.
    void hideRemovedInView(std::vector<std::string> const& before);
    static std::vector<std::string> entryNames(RecordIndexParserImplEx& parser);
    static SafePointer<IFile> openFile(RecordDirInfoEx const& dirInfo, std::string const& name,
                                       int nFileMode);
    // Reads a whole file of nLength bytes into buffer by one read; the bytes
    // read, negative on failure.
    static int readWhole(SafePointer<IFile>& file, std::string const& name, char* buffer,
                         int nLength);

    SafePointer<IFile> m_pIndexFile;
    std::shared_ptr<std::recursive_mutex> m_pChangeMutex;  // opened for change: held until close
    std::unique_lock<std::recursive_mutex> m_changeGuard;
    char* m_pszIndexCache = nullptr;  // owned, exactly m_nIndexCacheLen bytes: the view
    int m_nIndexCacheLen = 0;
    RecordIndexParserImplEx m_parser;  // over the view
    // Set once a repair made the view differ from the file; the file's bytes
    // are then kept here (null for an empty file).
    bool m_bRepaired = false;
    char* m_pszFileImage = nullptr;  // owned
    int m_nFileImageLen = 0;
    RecordIndexParserImplEx m_fileParser;  // over m_pszFileImage
    std::string m_strFileName;
};

#endif
