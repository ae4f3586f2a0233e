#ifndef FOUNDATION_RECORDDIRINFOEX_H
#define FOUNDATION_RECORDDIRINFOEX_H

#include <string>
#include <vector>

#include "foundation/Field.h"
#include "foundation/RecordDirInfo.h"

// The engine's view of a record directory; sizes in bytes. Two views are the
// same directory when their roots are equal, whatever their figures say.
class RecordDirInfoEx {
    OV_STRING_FIELD(RecordRootDir)
    OV_STRING_FIELD(RecordDiskName)
    OV_FIELD(long long, UseableSpace, 0)
    OV_FIELD(long long, FreeSpace, 0)
    OV_FIELD(long long, FileSegmentSize, 0)
    OV_FIELD(int, DiskType, 1)
    OV_FIELD(int, Status, 0)
    OV_FIELD(int, GroupId, 1)
    OV_FIELD(int, AlarmThreshold, 0)
    OV_FIELD(int, Attribute, 0)
    OV_FIELD(int, FileSystemFormat, 0)
    OV_FIELD(bool, EnableFlag, false)

public:
    static constexpr int kDiskTypeLocal = 1;
    static constexpr int kDiskTypeSdCard = 2;
    static constexpr int kDiskTypeFtp = 3;
    static constexpr int kDiskTypeNas = 4;

    bool operator==(RecordDirInfoEx const& other) const {
        return m_RecordRootDir == other.m_RecordRootDir;
    }
    bool operator!=(RecordDirInfoEx const& other) const { return !(*this == other); }

    // Sizes convert between bytes and MiB, truncating toward zero.
    static RecordDirInfo changeToRecordDirInfo(RecordDirInfoEx const& info);
    static RecordDirInfoEx changeToRecordDirInfoEx(RecordDirInfo const& info);

    // Index of the physical disk of a local directory (disk type 1), -1 otherwise.
    static int parseDiskIndex(RecordDirInfoEx const& info);
    // Keeps the directories whose disk is present, each with its file system
    // format as the disk state manager reports it: a vanished disk has
    // nothing to give and must not hide the others. False when a root
    // cannot be asked at all (the caller's -741).
    static bool keepPresentDirs(std::vector<RecordDirInfoEx>& dirs);
    // True when both directories lie on the same physical disk.
    static bool isSameDisk(RecordDirInfoEx const& a, RecordDirInfoEx const& b);
};

#endif
