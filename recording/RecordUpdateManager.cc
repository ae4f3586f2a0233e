#include "recording/RecordUpdateManager.h"

#include <algorithm>

#include "foundation/OVMutexManager.h"

void RecordUpdateManager::insertRecordWriter(SafePointer<IRecordWriter> writer) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_writers.push_back(writer);
}

void RecordUpdateManager::deleteRecordWriter(SafePointer<IRecordWriter> writer) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    auto found = std::find(m_writers.begin(), m_writers.end(), writer);
    if (found != m_writers.end()) m_writers.erase(found);
}

void RecordUpdateManager::notifyUpdateRecord(std::string const& diskName) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (SafePointer<IRecordWriter>& writer : m_writers) {
        if (writer->isSameDisk(diskName)) writer->setUpdateFlag();
    }
}

void RecordUpdateManager::closeRecordWrite(std::string const& diskName) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (SafePointer<IRecordWriter>& writer : m_writers) {
        if (writer->isSameDisk(diskName)) writer->close();
    }
}

size_t RecordUpdateManager::getWriterCount() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_writers.size();
}

bool RecordUpdateManager::hasWriter(SafePointer<IRecordWriter> const& writer) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return std::find(m_writers.begin(), m_writers.end(), writer) != m_writers.end();
}
