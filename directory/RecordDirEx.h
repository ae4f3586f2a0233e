#ifndef DIRECTORY_RECORDDIREX_H
#define DIRECTORY_RECORDDIREX_H

#include "directory/IRecordDir.h"
#include "foundation/SafePointer.h"

// A directory with the disk and partition it lies on, as a group sorts its
// directories: by disk, then by partition. Only local disks have numbers.
class RecordDirEx {
public:
    RecordDirEx() = default;

    // Keeps the directory and reads its numbers; false when either can't be read.
    bool initRecordDir(SafePointer<IRecordDir>& dir);
    // The digit behind the first "@" of the disk name; -1 when there is none.
    static int getDiskNum(SafePointer<IRecordDir>& dir);
    // The last character of the root as a number (a letter reads 0); -1 for an empty root.
    static int getPartitionNum(SafePointer<IRecordDir>& dir);

    int getDiskNum() const { return m_nDiskNum; }
    int getPartitionNum() const { return m_nPartitionNum; }
    SafePointer<IRecordDir> getRecordDir() const { return m_dir; }
    bool isSameRecordDir(SafePointer<IRecordDir>& dir) const { return m_dir.get() == dir.get(); }

    bool operator<(RecordDirEx const& other) const;
    // Larger disk first, but within one disk the smaller partition counts as
    // greater: a walk in descending order still takes a disk's partitions in
    // ascending order.
    bool operator>(RecordDirEx const& other) const;

private:
    SafePointer<IRecordDir> m_dir;
    int m_nDiskNum = 0;
    int m_nPartitionNum = 0;
};

#endif
