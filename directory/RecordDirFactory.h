#ifndef DIRECTORY_RECORDDIRFACTORY_H
#define DIRECTORY_RECORDDIRFACTORY_H

#include <functional>
#include <string>

#include "directory/IRecordDir.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"

// Decides the concrete class of a directory. It neither initialises nor
// starts what it makes: the group gives the directory its mutex and scene
// log first.
class RecordDirFactory {
public:
    // Kind 1 is a record directory, any other a snapshot directory. Disk type
    // 3 has no index, 4 is network-attached, every other value a local disk.
    SafePointer<IRecordDir> create(int dirKind, RecordDirInfoEx const& info, int groupValue,
                                   std::string const& deviceId, int recordType);

    static constexpr int kRecordDirKind = 1;

    // Test hook: what `creator` makes (when not null) is made instead, so a
    // test can serve a directory of its own through the disk manager. An
    // empty function restores the factory. Any thread.
    using Creator = std::function<IRecordDir*(int dirKind, RecordDirInfoEx const& info)>;
    static void setCreator(Creator creator);
};

#endif
