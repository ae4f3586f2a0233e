#ifndef DIRECTORY_IRECORDFILEWITHOUTINDEXHANDLER_H
#define DIRECTORY_IRECORDFILEWITHOUTINDEXHANDLER_H

#include <string>

#include "directory/RecordFileCheckerWithoutIndex.h"
#include "foundation/RecordDirInfoEx.h"

// What a walk of a directory without index does with each record file whose
// name reads. Called on the walking thread, once per file, date folders in
// ascending order and files in name order within one.
class IRecordFileWithoutIndexHandler {
public:
    virtual ~IRecordFileWithoutIndexHandler() = default;
    // `checker` holds the parsed name; `dateDir` is the whole path of the
    // date folder `date`. `camera` is the walk's camera argument, -1 for any.
    virtual void handleFile(RecordDirInfoEx const& dir, RecordFileCheckerWithoutIndex const& checker,
                            std::string const& date, std::string const& dateDir, std::string const& fileName,
                            int camera) = 0;
};

#endif
