#ifndef SNAPSHOT_SNAPSHOTINDEXFILEPARSEREX_H
#define SNAPSHOT_SNAPSHOTINDEXFILEPARSEREX_H

#include <functional>
#include <string>
#include <vector>

#include "foundation/DeviceDirParser.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "snapshot/SnapshotFile.h"
#include "snapshot/SnapshotImageDataInfo.h"
#include "snapshot/SnapshotIndexFileItemParserEx.h"
#include "snapshot/SnapshotQueryCondition.h"

class EarliestFileInfoList;
class SnapshotUseableFileDir;

// The data-file snapshot index of one device dir and date,
// <root>/snapshot/<device dir>/<date>/<device dir>_<date>.index, read
// whole into memory by open. Changes are made in the image and written back
// as the byte range they touch, then synced; a deleted picture is one mask
// byte, a deleted entry is painted FF; nothing is ever compacted.
//
// A local object of one thread. Damage ends no walk: an entry whose head
// does not read is passed over, and what was read stands.
class SnapshotIndexFileParserEx {
public:
    SnapshotIndexFileParserEx() = default;
    ~SnapshotIndexFileParserEx() { close(); }
    SnapshotIndexFileParserEx(SnapshotIndexFileParserEx const&) = delete;
    SnapshotIndexFileParserEx& operator=(SnapshotIndexFileParserEx const&) = delete;

    // 1, or 0 when the index is missing or cannot be read.
    int open(RecordDirInfoEx const& dirInfo, std::string const& date, std::string const& deviceDir);
    void close();

    // Pictures of the entries overlapping [begin, end) of the condition.
    int query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list, int nPolicyType);
    // The first picture at exactly nTime (ms), marked deleted or not; 1
    // either way (info's length stays as it was when none is found).
    int getImageDataInfo(long long nTime, SafePointer<SnapshotImageDataInfo>& info);
    // Marks the first not yet deleted picture at exactly nTime (ms): 1
    // done, 0 none, -1 not written.
    int deleteImage(long long nTime);
    // Marks every picture whose whole second lies in the condition's range,
    // bounds included. Data files of entries left with nothing valid are
    // appended to emptied. 1, or -1 when a mark was not written.
    int deleteFile(SnapshotQueryCondition const& condition, std::vector<std::string>* emptied = nullptr);
    // Paints the entry of the data file FF: 1, 0 unknown name, -1 not
    // written. bEmpty: no entry is left.
    int deleteFile(std::string const& fileName, bool& bEmpty);
    // Entries that ended before nTime (ms): each data file goes back to the
    // pool (or was gone already), then its entry is painted. The number of
    // entries removed, or -1 when the index could not be written.
    int deleteOutDateFile(SafePointer<SnapshotUseableFileDir>& pool, long long nTime, bool& bEmpty);
    // Deletes the data file of this date by name; true when it is gone.
    bool deleteSnapshotFile(char const* fileName);
    // Offers every entry to the list as a file of its begin time; with
    // bSkipLast all but the last, which a session may still be writing.
    int getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount, bool bSkipLast);
    // The same with every entry but the one of the data file skipName.
    int getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount, std::string const& skipName);
    // The last entry: its data file name, begin time, end time, length,
    // last burst mode, date and directory;
    // 0, or -1 without entries.
    int getLastestFileInfo(RecordFileInfo& file);
    long long getTotalFileSize();
    int getFileNum();
    // Begin time (s) of the last entry, -1 without entries.
    long long getSnapshotFileBeginTime();
    // Of the last entry: data size, image offset of its start code, entry
    // length. 0, or -1 without entries.
    int getFileLenAndIndexInfo(int& nSize, int& nOffset, int& nLength);
    // The entry of the data file: 0, or -1 when none names it.
    int getIndexPosByFileName(char const* fileName, int& nBegin, int& nHeadEnd, int& nEnd);
    // The same for any name, also one that a damaged head gave with a 00 in it.
    int getIndexPosByFileName(std::string const& fileName, int& nBegin, int& nHeadEnd, int& nEnd);
    std::string getIndexFileName() const;
    std::string getDateDir() const;

    static std::string getIndexFileName(RecordDirInfoEx const& dirInfo, std::string const& date,
                                        std::string const& deviceDir);
    // The image from offset 0 for a check of its bytes.
    std::vector<char> const& getImage() const { return m_image; }

    // Calls fn for each entry that reads, with its start code's offset;
    // fn answers false to stop.
    void forEachEntry(std::function<bool(SnapshotIndexFileItemParserEx&, int nBegin)> const& fn);

private:
    bool writeRange(int nOffset, int nLength);

    std::vector<char> m_image;
    RecordDirInfoEx m_dirInfo;
    std::string m_strDate;
    std::string m_strDeviceDir;
    DeviceDirParser m_deviceParser;  // reads m_strDeviceDir
    SafePointer<IFile> m_file;
};

#endif
