#include "recording/RecordWriterCloseThread.h"

#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "host/Logger.h"

namespace NS_RecordWriterCloseThread {
// Pause between looks at an idle list; stop() cuts it short.
constexpr int kIdleWaitMs = 2000;
}

RecordWriterCloseThread::RecordWriterCloseThread()
    : m_pThread(new GThread(bind_funcobj0(this, &RecordWriterCloseThread::closeWriter),
                            "RecordWriterCloseThread")) {
    m_pThread->setPalpitationTime(NS_RecordWriterCloseThread::kIdleWaitMs);
}

RecordWriterCloseThread::~RecordWriterCloseThread() { stop(); }

bool RecordWriterCloseThread::start() { return m_pThread->start(); }

void RecordWriterCloseThread::stop() { m_pThread->stop(); }

void RecordWriterCloseThread::addRecordWriter(SafePointer<IRecordWriter> const& writer) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_bIOError = true;
    m_writers.push_back(writer);
}

bool RecordWriterCloseThread::isExistIOError() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_bIOError;
}

int RecordWriterCloseThread::closeWriter() {
    std::vector<SafePointer<IRecordWriter>> writers;
    {
        OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
        writers.swap(m_writers);
    }
    for (SafePointer<IRecordWriter>& writer : writers) {
        Logger::writeLog("RecordIOError", "close IOErrorFile.", __FILE__, __LINE__);
        try {
            writer->close();
        } catch (OVRuntimeError const& error) {
            Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
        }
    }
    if (!writers.empty()) {
        OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
        if (m_writers.empty()) m_bIOError = false;
    }
    return 1;
}
