#ifndef DIRECTORY_INDEXDIRMANAGER_H
#define DIRECTORY_INDEXDIRMANAGER_H

#include <string>

#include "foundation/RecordDirInfoEx.h"

// Supplies empty index files to a directory. This form makes each one where
// it is wanted; a directory with a pool of preallocated files hands out one
// of those instead.
class IndexDirManager {
public:
    explicit IndexDirManager(RecordDirInfoEx const& dir) : m_dirInfo(dir) {}
    virtual ~IndexDirManager() = default;

    // 1 when an empty index file stands at `target`, 0 when none could be had.
    virtual int createIndexFile(std::string const& target);

    static constexpr long long kIndexFileSize = 0x80000;
    // Every byte of a fresh index file. A run that a power cut left without
    // its closing CRC item then ends in FF, which readers tell from a closed
    // run; a zero tail would pass for closed, and the run would be continued.
    static constexpr unsigned char kIndexFileFill = 0xFF;

private:
    RecordDirInfoEx m_dirInfo;
};

#endif
