#ifndef DISK_DATAVERSIONCONFIGUREPARSER_H
#define DISK_DATAVERSIONCONFIGUREPARSER_H

#include <string>
#include <vector>

#include "disk/DataVersionInfo.h"

// Reads and writes a table of data versions: the system's own
// (DataVersionInfoConfigure.xml) and the one a disk was written with
// (DiskDataVersionInfo.xml in its root). No state.
class DataVersionConfigureParser {
public:
    // false, with a log line, when the file is missing, does not parse or has
    // no usable current version. Known versions without a Value are skipped.
    bool parser(std::string const& file, DataVersionInfo& current, std::vector<DataVersionInfo>& versions) const;
    // Replaces the file as a whole. Its folder must exist: a disk's root is
    // never made here, lest a file land on the mount point of a missing disk.
    bool update(std::string const& file, DataVersionInfo const& current,
                std::vector<DataVersionInfo> const& versions) const;

    // A line on standard output (when printing is on) and in "DataVersion.log".
    static void report(char const* text, int line);
};

#endif
