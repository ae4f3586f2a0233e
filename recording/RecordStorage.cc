#include "recording/RecordStorage.h"

#include "recording/RecordStorageTSImpl.h"

RecordStorage::RecordStorage() : m_pImpl(new RecordStorageTSImpl()) {}

// The implementation closes itself on destruction.
RecordStorage::~RecordStorage() { delete m_pImpl; }

int RecordStorage::open(RecordInfo const& info, bool condition) { return m_pImpl->open(info, condition); }

int RecordStorage::write(int, AVData const*) { return -1; }

int RecordStorage::write(int nParam, TSAVData const* data) { return m_pImpl->write(nParam, data); }

int RecordStorage::close() { return m_pImpl->close(); }

void RecordStorage::setLockFlag(bool lock) { m_pImpl->setLockFlag(lock); }

long long RecordStorage::getDeviceTimeStamp() { return m_pImpl->getDeviceTimeStamp(); }

int RecordStorage::getWriteResult(int) { return -1; }

void RecordStorage::setTSFrameQueue(TSFrameQueue* queue) { m_pImpl->setTSFrameQueue(queue); }

bool RecordStorage::isClosed() const { return m_pImpl->isClosed(); }
