#ifndef DIRECTORY_EMPTYDIRSTAT_H
#define DIRECTORY_EMPTYDIRSTAT_H

#include <string>
#include <vector>

#include "host/IDiskManager.h"

// Reads and renumbers a pool folder of empty record files (names
// <prefix>_<number>, see EmptyDirManager) without holding a map of it: for
// the network-attached pool and the directory operator. Every member answers
// 0 (or false) until init. Not thread-safe: one caller at a time.
class EmptyDirStat {
public:
    EmptyDirStat(int diskType, std::string const& poolPath);

    // Takes the disk manager; 1.
    int init(int format);

    // Names of the prefix's files in ascending number; the count, negative
    // on a failed listing.
    int getEmptyFileList(std::string const& deviceId, std::vector<std::string>& out);
    int getEmptyFileNumber(std::string const& deviceId);
    // Every entry of the folder.
    int getTotalEmptyFileNumber();
    // The prefix's highest number; 0 without files, -1 on a failed listing.
    int getMaxFileId(std::string const& deviceId);
    // Renames <deviceId>_<fromId> to <deviceId>_<toId> in the spelling the
    // source has ("%05d" or "%d"); false when the source isn't there.
    bool moveFile(std::string const& deviceId, int fromId, int toId);
    // Moves the prefix's files down, order kept, so that none is numbered
    // above maxId; false if that can't be done (more files than numbers, a
    // failed listing or move).
    bool updateMaxFileId(std::string const& deviceId, int maxId);
    // The prefix's files (every prefix for "") but each prefix's top file,
    // which a pool keeps; `p_TotalNumber` gets the count with the top files.
    // 1, or 0 on a failed listing.
    int getValidEmptyFileList(std::vector<std::string>& out, std::string const& deviceId,
                              int& p_TotalNumber);
    // Sum over prefixes of each prefix's highest number; -1 on a failed listing.
    int getTotalFileNumber();

private:
    IDiskManager* m_pDiskManager = nullptr;  // process-lived, not owned
    std::string m_strPoolPath;
    int m_nDiskType;
};

#endif
