#ifndef RECORDING_RECORDWRITERCLOSETHREAD_H
#define RECORDING_RECORDWRITERCLOSETHREAD_H

#include <memory>
#include <vector>

#include "foundation/SafePointer.h"
#include "host/GThread.h"
#include "host/OVMutex.h"
#include "recording/IRecordWriter.h"

// Closes writers of a failing disk away from the sessions: a close may block
// for as long as the disk does, and only this thread suffers then. One per
// indexed directory.
class RecordWriterCloseThread {
public:
    RecordWriterCloseThread();
    ~RecordWriterCloseThread();

    bool start();
    void stop();

    // Any thread. Marks the directory as having an I/O error until the list
    // has been worked off.
    void addRecordWriter(SafePointer<IRecordWriter> const& writer);
    bool isExistIOError();

private:
    int closeWriter();

    std::vector<SafePointer<IRecordWriter>> m_writers;  // guarded by m_mutex
    OVMutex m_mutex;
    std::unique_ptr<GThread> m_pThread;
    bool m_bIOError = false;  // guarded by m_mutex
};

#endif
