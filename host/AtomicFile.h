#ifndef HOST_ATOMICFILE_H
#define HOST_ATOMICFILE_H

#include <string>

// Whole-file reads and crash-safe whole-file writes for small files
// (configuration). A reader sees the old or the new contents, never a mix.
class AtomicFile {
public:
    // Writes `bytes` to path + ".tmp", syncs it, renames it over `path` and
    // syncs the folder. The folder must exist. false on any failure (the
    // temporary file is removed then).
    static bool write(std::string const& path, std::string const& bytes);
    // false if the file cannot be read.
    static bool read(std::string const& path, std::string& bytes);
};

#endif
