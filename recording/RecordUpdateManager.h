#ifndef RECORDING_RECORDUPDATEMANAGER_H
#define RECORDING_RECORDUPDATEMANAGER_H

#include <string>
#include <vector>

#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"
#include "recording/IRecordWriter.h"

// Every open writer, so that a disk event can reach the writers of one disk.
// Lock order: this manager's lock, then a writer's own mutex.
class RecordUpdateManager : public Singlton<RecordUpdateManager> {
public:
    void insertRecordWriter(SafePointer<IRecordWriter> writer);
    void deleteRecordWriter(SafePointer<IRecordWriter> writer);
    // Asks every writer on the disk to end its file at the next block.
    void notifyUpdateRecord(std::string const& diskName);
    // Closes every writer on the disk; they stay listed until their session
    // lets go of them.
    void closeRecordWrite(std::string const& diskName);

    size_t getWriterCount();
    bool hasWriter(SafePointer<IRecordWriter> const& writer);

private:
    friend class Singlton<RecordUpdateManager>;
    RecordUpdateManager() = default;

    std::vector<SafePointer<IRecordWriter>> m_writers;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif
