#ifndef SNAPSHOT_SNAPSHOTINDEXFILEPARSER_H
#define SNAPSHOT_SNAPSHOTINDEXFILEPARSER_H

#include <string>
#include <vector>

#include "foundation/DeviceDirParser.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "snapshot/SnapshotFile.h"
#include "snapshot/SnapshotQueryCondition.h"

class EarliestFileInfoList;

// The old snapshot index of one device dir and date: 10-byte items from
// offset 0, one image file per item in the date folder, named by
// createFileName. Nothing writes this generation any more; reading disks
// that hold it, and deleting from them, is all that is left.
//
// A local object of one thread.
class SnapshotIndexFileParser {
public:
    SnapshotIndexFileParser() = default;
    ~SnapshotIndexFileParser() { close(); }
    SnapshotIndexFileParser(SnapshotIndexFileParser const&) = delete;
    SnapshotIndexFileParser& operator=(SnapshotIndexFileParser const&) = delete;

    // Reads the whole index and the date's midnight: 1, or 0 when the index
    // is missing, unreadable or the date does not read.
    int open(RecordDirInfoEx const& dirInfo, std::string const& date, std::string const& deviceDir);
    void close();
    // Valid items in [begin, end) (ms) whose burst mode matches (type 0:
    // all), in file order.
    int query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list);
    // Marks the item of the image file deleted (its first byte 00), writes
    // the index back and removes the image file: 1, 0 unknown, -1 not written.
    int deleteFile(std::string const& fileName);
    // The same for every valid item before nTime (ms): the number removed,
    // or -1. bEmpty: no valid item is left.
    int deleteOutDateFile(long long nTime, int, bool& bEmpty);
    // Offers every valid item as a file of its second.
    int getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount, bool bSkip);
    long long getTotalFileSize();
    // "YYYYMMDDhhmmssmmm_cc.jpg" of midnight + nOffset ms and the camera.
    std::string createFileName(long long nOffset) const;
    std::string getIndexFileName() const;
    // Seconds of the local midnight of "YYYY-MM-DD"; -1 if it does not read.
    static long long getZeroTimeStamp(std::string const& date);

private:
    int itemCount() const;
    bool writeBack();

    std::vector<unsigned char> m_image;
    RecordDirInfoEx m_dirInfo;
    std::string m_strDate;
    std::string m_strDeviceDir;
    DeviceDirParser m_deviceParser;  // reads m_strDeviceDir
    long long m_nZeroTime = 0;       // seconds
    SafePointer<IFile> m_file;
};

#endif
